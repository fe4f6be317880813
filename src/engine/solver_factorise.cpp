#include "core/tuning.h"
#include "engine/engine.h"
#include "engine/matrix_scaling.h"
#include "engine/memory_share.h"
#include "engine/residual.h"
#include "engine/solver.h"
#include "memory/factor_storage.h"
#include "memory/memory_plan.h"
#include "platform/platform.h"

#include <algorithm>

namespace vyr {

namespace {

bool failed_pivot(Status status) noexcept {
    return status == Status::NOT_SPD || status == Status::SMALL_PIVOT;
}

/// The values to factorise: those of S A S, S by the settings, or of A itself. Begins with the scaling that
/// served the values before, or those of the analysis.
Status scale(Context& context, const Matrix& a, SolverFactor& solver, const double*& values) noexcept {
    Buffer<double>& scale = solver.factor.scale;
    const Buffer<double>& analysed = solver.analysis.scale;
    const bool by_matching = context.settings.matrix_scaling != SCALING_NORM;
    const bool regular = solver.analysis.structural_rank == a.n; // an excess is to be counted anew
    if (!scale && analysed && by_matching && regular) {
        scale = Buffer<double>(context.memory, a.n);
        if (!scale) return out_of_memory(context);
        std::copy_n(analysed.get(), a.n, scale.get());
    }
    if (const Status status = mf_choose_scaling(context, a, scale, solver.structural_rank);
        status != Status::OK)
        return status;
    values = a.values;
    if (!scale) return Status::OK;
    Buffer<double>& scaled = solver.scaled_values;
    if (!scaled) scaled = Buffer<double>(context.memory, a.col_ptr[a.n]);
    if (!scaled) return out_of_memory(context);
    mf_scaled_values(a, scale.get(), scaled.get());
    values = scaled.get();
    return Status::OK;
}

/// Divides a limit on the process between the blocks of the factor and all the rest.
void share_limit(Context& context, const SolverFactor& factor, const Analysis& analysis) noexcept {
    Settings& settings = context.settings;
    if (factor.process_limit_bytes <= 0) return;
    // Several subtrees at a time would hold the blocks of as many paths.
    if (analysis.schedule.n_tasks > 2) settings.n_threads = 1;
    mf_heap_compact(context); // what nobody needs any more must not count
    const double beside = mf_bytes_beside_blocks(analysis, settings.type, settings.n_threads);
    settings.block_limit_bytes = std::max(factor.process_limit_bytes - beside, 1.0);
}

Status run(Context& context, int type, const double* values, SolverFactor& solver) noexcept {
    solver.type = context.settings.type = type;
    context.settings.delay_pivots = type == TYPE_LDLT;
    context.settings.tree_schedule = true;
    if (!solver.factor.blocks)
        if (const Status status = mf_reserve(context, solver.factor); status != Status::OK) return status;
    share_limit(context, solver, solver.analysis.analysis);
    context.reason[0] = '\0';
    return mf_factorise(context, values, solver.factor);
}

/// Says how many equations are too many by structure alone, where that is so.
Status explain_excess(Context& context, const SolverFactor& solver) noexcept {
    const std::int32_t excess = solver.analysis.canonical.n - solver.structural_rank;
    return fail(context, Status::ILL_CONDITIONED,
                "the matrix is singular whatever its nonzeros are: %d of its %d equations are in excess",
                excess, solver.analysis.canonical.n);
}

Status factorise_indefinite(Context& context, const Matrix& canonical, SolverFactor& solver) noexcept {
    const double* values = nullptr;
    if (const Status status = scale(context, canonical, solver, values); status != Status::OK) return status;
    const bool excess = solver.structural_rank >= 0 && solver.structural_rank < canonical.n;
    if (excess && !context.settings.zero_pivots) {
        solver.factor.scale.reset(); // the next values are matched anew
        return explain_excess(context, solver);
    }
    const Status status = run(context, TYPE_LDLT, values, solver);
    const bool complete = status == Status::OK || status == Status::ILL_CONDITIONED;
    if (complete) solver.rank = canonical.n - solver.factor.pivoted.n_zero;
    return status;
}

Status factorise(Context& context, const Matrix& canonical, SolverFactor& solver) noexcept {
    const SolverAnalysis& analysis = solver.analysis;
    solver.structural_rank = -1;
    if (analysis.type == TYPE_LDLT) return factorise_indefinite(context, canonical, solver);
    solver.factor.scale.reset();
    const Status status = run(context, TYPE_SPD, canonical.values, solver);
    if (status == Status::OK) solver.rank = canonical.n;
    if (analysis.kind != Kind::AUTOMATIC || !failed_pivot(status)) return status;
    return factorise_indefinite(context, canonical, solver);
}

/// The equation, in the caller's numbering, whose pivot was the first in the order of elimination to fail.
void find_failed_equation(const Context& context, SolverFactor& solver) noexcept {
    const Factor& factor = solver.factor;
    const auto column = static_cast<std::int32_t>(context.statistics.failed_column);
    solver.failed_equation = factor.analysis->perm[column] + 1;
    solver.failed_pivot = factor.diag_values[column];
}

/// Says which limit would do.
Status explain_limit(Context& context, const SolverFactor& solver, Status status) noexcept {
    MemoryNeed need;
    if (mf_solver_memory(context, solver.analysis, need) != Status::OK) return status;
    const double bytes = need.least + static_cast<double>(platform::resident_bytes());
    return fail(context, status, "out of core this matrix needs about %.0f MB", bytes / MEGABYTE);
}

} // namespace

Status mf_solver_factorise(Context& context, const InputMatrix& input, SolverFactor& solver) noexcept {
    const double start_ms = platform::clock_ms();
    const CanonicalPattern& pattern = solver.analysis.canonical;
    solver.failed_equation = 0;
    solver.failed_pivot = 0;
    solver.rank = -1;
    if (!solver.values) solver.values = Buffer<double>(context.memory, pattern.col_ptr[pattern.n]);
    if (!solver.values) return out_of_memory(context);
    Status status = mf_canonical_values(context, input, pattern, solver.values.get());
    if (status != Status::OK) return status;
    if (solver.keep_matrix) status = mf_norm_inf(context, solver.matrix(), solver.norm);
    if (status == Status::OK) status = factorise(context, solver.matrix(), solver);
    if (failed_pivot(status)) find_failed_equation(context, solver);
    const bool refused = status == Status::FACTOR_STORAGE || status == Status::MEMORY;
    const FactorFiles& files = solver.factor.files;
    if (refused && (files.status == Status::FACTOR_FILE || files.status == Status::EMPTY_FILE))
        status = fail(context, Status::FACTOR_FILE, "a factor file cannot be written, and memory is full: %s",
                      files.trouble);
    else if (refused && solver.process_limit_bytes > 0)
        status = explain_limit(context, solver, status);
    if (!solver.keep_matrix) solver.values.reset();
    solver.n_threads = context.settings.n_threads;
    solver.flops = context.statistics.flops;
    solver.seconds_files = context.statistics.t_file_write / 1000;
    solver.seconds = (platform::clock_ms() - start_ms) / 1000;
    return status;
}

} // namespace vyr
