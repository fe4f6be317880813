#include "engine/engine.h"

#include "core/tuning.h"
#include "core/workforce.h"
#include "engine/full_storage.h"
#include "memory/factor_storage.h"
#include "numeric/phases.h"
#include "platform/platform.h"
#include "solve/solve.h"
#include "symbolic/analyse.h"
#include "symbolic/pattern.h"

#include <omp.h>

namespace vyr {

namespace {

/// Threads for a factorization: one where there is nothing to share, neither in the elimination nor in
/// clearing the factor.
std::int32_t threads_of(const Settings& settings, const Analysis& analysis) noexcept {
    const bool by_graph = settings.type == TYPE_SPD && settings.core_mode == CORE_IN && !settings.blocked;
    const bool shared =
        analysis.graph.n_contributors() > 0 || analysis.factor_entries * 8 > tuning::TOUCH_BYTES;
    if (by_graph && !shared) return 1;
    if (settings.n_threads > 0) return settings.n_threads;
    return settings.type == TYPE_SPD ? analysis.schedule.n_threads : omp_get_max_threads();
}

} // namespace

Status mf_symbol(Context& context, const Pattern& pattern, Analysis& analysis, Factor& factor) noexcept {
    const double start_ms = platform::clock_ms();
    double ordering_ms = 0;
    Status status = mf_analyse(context, pattern, analysis, ordering_ms);
    if (status == Status::OK) status = mf_alloc_L(context, factor);

    Statistics& statistics = context.statistics;
    if (status == Status::OK) {
        statistics.nzlu = statistics.nzlu_sym = static_cast<double>(analysis.factor_entries);
        statistics.n_nodes = analysis.n_snodes;
    }
    const double elapsed_ms = platform::clock_ms() - start_ms;
    statistics.t_sym = elapsed_ms / 1000;
    statistics.t_symfac = (elapsed_ms - ordering_ms) / 1000;
    statistics.n_factorizations = 0;
    return status;
}

Status mf_reserve(Context& context, Factor& factor) noexcept {
    const Status status = mf_alloc_L(context, factor);
    if (status != Status::OK) factor.release(); // half of it must not pass for storage
    return status;
}

Status mf_factorise(Context& context, const double* values, Factor& factor) noexcept {
    Settings& settings = context.settings;
    const std::int32_t n_threads = threads_of(settings, *factor.analysis);
    const Workforce team(context, n_threads);
    if (team.status() != Status::OK) return team.status();
    if (team.n_threads() < n_threads) settings.n_threads = team.n_threads();
    const Status status = mf_numeric_driver(context, values, factor);
    const Analysis& analysis = *factor.analysis;
    if (status == Status::SMALL_PIVOT) {
        const auto column = static_cast<std::int32_t>(context.statistics.failed_column);
        return fail(context, status, "equation %d: pivot %g is not above %g", analysis.perm[column] + 1,
                    factor.diag_values[column], context.settings.pivot_min);
    }
    if (status == Status::OK) context.reason[0] = '\0'; // of a file that could be done without
    if (context.reason[0] == '\0' && status != Status::OK)
        return fail(context, status, "%s", status_text(status));
    return status;
}

Status mf_solve_system(Context& context, const Factor& factor, const Matrix& matrix, double* b,
                       std::int32_t nrhs, bool block) noexcept {
    if (matrix.n != factor.analysis->n) return Status::HANDLE;
    if (context.settings.refinement_limit <= 1) return mf_solve(context, factor, matrix, b, nrhs, block);
    if (matrix.values == nullptr) return Status::NULL_MATRIX;
    if (const Status status = mf_check_structure(matrix); status != Status::OK) return status;
    if (context.settings.type != TYPE_EXPAND) return mf_solve(context, factor, matrix, b, nrhs, block);
    FullStorage full;
    if (const Status status = mf_sym_expand(context, matrix, full); status != Status::OK) return status;
    return mf_solve(context, factor, full.matrix(), b, nrhs, block);
}

} // namespace vyr
