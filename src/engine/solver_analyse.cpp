#include "engine/memory_share.h"
#include "engine/solver.h"
#include "platform/platform.h"
#include "symbolic/analyse.h"
#include "symbolic/symmetric_matching.h"

#include <omp.h>

#include <algorithm>
#include <utility>

namespace vyr {

namespace {

/// True when L L^T cannot succeed: a diagonal entry is missing or not positive.
bool plainly_indefinite(const Matrix& a) noexcept {
    for (std::int32_t j = 0; j < a.n; ++j) {
        const std::int32_t first = a.col_ptr[j];
        if (first == a.col_ptr[j + 1] || a.row_ind[first] != j || !(a.values[first] > 0)) return true;
    }
    return false;
}

/// Looks at the values for the kinds that want them: which type to begin with, and which equations to keep
/// together, unless the ordering is given.
///
/// partner   out: n, or empty
Status choose_type(Context& context, const InputMatrix& input, SolverAnalysis& made,
                   Buffer<std::int32_t>& partner) noexcept {
    made.type = made.kind == Kind::INDEFINITE ? TYPE_LDLT : TYPE_SPD;
    if (made.kind == Kind::POSITIVE || input.values == nullptr) return Status::OK;
    const CanonicalPattern& pattern = made.canonical;
    Buffer<double> values(context.memory, pattern.col_ptr[pattern.n]);
    if (!values) return out_of_memory(context);
    if (const Status status = mf_canonical_values(context, input, pattern, values.get());
        status != Status::OK)
        return status;
    const Matrix matrix{{pattern.n, pattern.col_ptr.get(), pattern.row_ind.get()}, values.get()};
    if (made.kind == Kind::AUTOMATIC && plainly_indefinite(matrix)) made.type = TYPE_LDLT;
    const Settings& settings = context.settings;
    const bool given = settings.ordering == ORDERING_NATURAL || settings.ordering == ORDERING_USER;
    if (made.type == TYPE_SPD || given || settings.matching == MATCHING_OFF) return Status::OK;
    SymmetricMatching matching;
    if (const Status status = mf_symmetric_matching(context, matrix, matching); status != Status::OK)
        return status;
    made.structural_rank = matching.structural_rank;
    made.n_pairs = matching.n_pairs;
    made.scale = std::move(matching.scale);
    if (made.n_pairs > 0) partner = std::move(matching.partner);
    return Status::OK;
}

} // namespace

std::int32_t mf_host_threads() noexcept {
    return omp_in_parallel() != 0 ? 1 : std::max(omp_get_max_threads(), 1);
}

Status mf_solver_analyse(Context& context, const InputMatrix& input, Kind kind, bool refuse_duplicates,
                         SolverAnalysis& made) noexcept {
    const double start_ms = platform::clock_ms();
    mf_begin_phase(context, PHASE_ANALYSE, 1);
    Settings& settings = context.settings;
    made.kind = kind;
    if (settings.n_threads <= 0) settings.n_threads = mf_host_threads();
    if (const Status status = mf_canonical_pattern(context, input, refuse_duplicates, made.canonical);
        status != Status::OK)
        return status;
    Buffer<std::int32_t> partner;
    if (const Status status = choose_type(context, input, made, partner); status != Status::OK) return status;

    settings.compress_when_it_pays = true;
    settings.type = made.type;
    settings.partner = partner.get();
    double ordering_ms = 0;
    if (const Status status = mf_analyse(context, made.canonical.pattern(), made.analysis, ordering_ms);
        status != Status::OK)
        return status;
    settings.partner = nullptr;
    made.settings = settings;
    made.work_bytes = context.statistics.memory_estimate;
    made.seconds_order = ordering_ms / 1000;
    made.seconds_analyse = (platform::clock_ms() - start_ms) / 1000;
    return Status::OK;
}

Status mf_solver_memory(Context& context, const SolverAnalysis& made, MemoryNeed& need) noexcept {
    const Analysis& analysis = made.analysis;
    const Schedule& schedule = analysis.schedule;
    need.factor = 8.0 * static_cast<double>(analysis.factor_entries);
    const double indices = 4.0 * (static_cast<double>(analysis.row_slab.count()) * 2 +
                                  2.0 * std::max(schedule.n_tasks, 1) * analysis.n);
    const double work =
        made.type == TYPE_SPD ? static_cast<double>(schedule.work_entries[0]) : schedule.waiting_entries;
    need.in_core = need.factor + indices + 8.0 * (work + 2.0 * analysis.n);
    double path_bytes = 0;
    if (const Status status = mf_path_bytes(context, analysis, made.type, path_bytes); status != Status::OK)
        return status;
    const double beside = mf_bytes_beside_blocks(analysis, made.type, made.settings.n_threads) -
                          static_cast<double>(platform::resident_bytes());
    need.least = beside + path_bytes + 0.05 * need.factor; // room for finished blocks on their way to files
    return Status::OK;
}

} // namespace vyr
