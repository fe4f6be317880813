#include "engine/memory_share.h"
#include "engine/solver.h"
#include "numeric/phases.h"
#include "platform/platform.h"
#include "symbolic/analyse.h"
#include "symbolic/symmetric_matching.h"

#include <omp.h>

#include <algorithm>
#include <cmath>
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

/// What the values ask of the ordering, as Settings has it; empty for nothing.
struct Wishes {
    Buffer<std::int32_t> partner;
    Buffer<std::uint8_t> weak;
};

/// Scaled diagonal entries below this are no pivots to count on.
constexpr double WEAK_DIAGONAL = 0.1;

/// Divides pairs of which one has a strong diagonal entry, so that it may go first, and marks as weak those
/// that are on their own then and have none. `n_pairs` follows.
void divide_pairs(const Matrix& a, const double* scale, Wishes& wishes, std::int32_t& n_pairs) noexcept {
    const auto weak = [&](std::int32_t j) noexcept {
        const std::int32_t first = a.col_ptr[j];
        const bool stored = first < a.col_ptr[j + 1] && a.row_ind[first] == j;
        return !stored || !(std::fabs(a.values[first]) * scale[j] * scale[j] >= WEAK_DIAGONAL);
    };
    for (std::int32_t j = 0; j < a.n; ++j) wishes.weak[j] = weak(j) ? 1 : 0;
    n_pairs = 0;
    for (std::int32_t j = 0; j < a.n; ++j) {
        const std::int32_t other = wishes.partner[j];
        if (other <= j) continue;
        if (wishes.weak[j] != 0 && wishes.weak[other] != 0) {
            wishes.weak[j] = wishes.weak[other] = 0;
            ++n_pairs;
        } else {
            wishes.partner[j] = j;
            wishes.partner[other] = other;
        }
    }
}

/// Matches the values' large entries, for the ordering and the scaling.
Status match(Context& context, const Matrix& matrix, SolverAnalysis& made, Wishes& wishes) noexcept {
    SymmetricMatching matching;
    if (const Status status = mf_symmetric_matching(context, matrix, matching); status != Status::OK)
        return status;
    made.structural_rank = matching.structural_rank;
    made.n_pairs = matching.n_pairs;
    made.scale = std::move(matching.scale);
    if (made.n_pairs == 0) return Status::OK;
    wishes.partner = std::move(matching.partner);
    if (context.settings.matching == MATCHING_ON) return Status::OK;
    wishes.weak = Buffer<std::uint8_t>(context.memory, matrix.n);
    if (!wishes.weak) return out_of_memory(context);
    divide_pairs(matrix, made.scale.get(), wishes, made.n_pairs);
    if (made.n_pairs == 0) wishes.partner.reset();
    return Status::OK;
}

/// Looks at the values for the kinds that want them: which type to begin with, and what to ask of the
/// ordering, unless it is given.
Status choose_type(Context& context, const InputMatrix& input, SolverAnalysis& made,
                   Wishes& wishes) noexcept {
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
    return match(context, matrix, made, wishes);
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
    Wishes wishes;
    if (const Status status = choose_type(context, input, made, wishes); status != Status::OK) return status;

    settings.compress_when_it_pays = true;
    settings.merge_nodes = true;
    settings.tree_schedule = true;
    settings.type = made.type;
    settings.partner = wishes.partner.get();
    settings.weak = wishes.weak.get();
    double ordering_ms = 0;
    if (const Status status = mf_analyse(context, made.canonical.pattern(), made.analysis, ordering_ms);
        status != Status::OK)
        return status;
    settings.partner = nullptr;
    settings.weak = nullptr;
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
    double work = 0;
    double a_node = sizeof(FactorBlock), an_equation = 8; // its diagonal
    double an_entry = 8;                                  // its value in canonical order
    if (made.type == TYPE_SPD) {
        work = mf_graph_work_bytes(analysis, std::max(schedule.n_threads, 1));
    } else { // updates, the scaled values, the entries by node, lists of delayed pivots
        a_node += sizeof(PivotedNode) + 16;
        an_equation += 32;
        an_entry += 12;
        work = 8.0 * static_cast<double>(analysis.row_slab.count()) + 8.0 * schedule.waiting_entries;
    }
    need.in_core = need.factor + work + an_equation * analysis.n + an_entry * analysis.n_input +
                   a_node * analysis.n_snodes;
    double path_bytes = 0;
    if (const Status status = mf_path_bytes(context, analysis, made.type, path_bytes); status != Status::OK)
        return status;
    const double beside = mf_bytes_beside_blocks(analysis, made.type, made.settings.n_threads) -
                          static_cast<double>(platform::resident_bytes());
    need.least = beside + path_bytes + 0.05 * need.factor; // room for finished blocks on their way to files
    return Status::OK;
}

} // namespace vyr
