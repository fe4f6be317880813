#include "symbolic/analyse.h"

#include "core/tuning.h"
#include "core/workforce.h"
#include "platform/platform.h"
#include "symbolic/ordering.h"
#include "symbolic/pattern.h"
#include "symbolic/steps.h"

#include <algorithm>
#include <utility>

namespace vyr {

namespace {

/// More entries than this would overflow 32-bit positions in the full pattern.
constexpr std::int32_t MAX_ENTRIES = 1 << 30;

Status check_limits(Context& context, const InputPattern& input) noexcept {
    if (input.n_caller_entries <= MAX_ENTRIES && mf_full_entries(input.lower) <= INT32_MAX) return Status::OK;
    return fail(context, Status::FACTOR_STORAGE, "a pattern of %d entries is too large to analyse",
                input.n_caller_entries);
}

/// The arrays whose size the pattern alone gives; `nonzeros` is for the column counts, which no later phase
/// needs.
Status allocate_columns(Context& context, const InputPattern& input, Analysis& analysis,
                        Buffer<std::int32_t>& nonzeros) noexcept {
    const std::int32_t n = input.lower.n;
    analysis.n = n;
    analysis.n_input = input.n_caller_entries;
    analysis.parent = Buffer<std::int32_t>(context.memory, n);
    nonzeros = Buffer<std::int32_t>(context.memory, n);
    analysis.value_map = Buffer<std::int64_t>(context.memory, input.lower.col_ptr[n]);
    analysis.perm = Buffer<std::int32_t>(context.memory, n);
    if (!analysis.parent || !nonzeros || !analysis.value_map || !analysis.perm) return out_of_memory(context);
    return Status::OK;
}

Status order(Context& context, const FullPattern& full, Analysis& analysis, double& ordering_ms) noexcept {
    const double start_ms = platform::clock_ms();
    OrderingMade made;
    const Status status = mf_order(context, full.pattern(), analysis.perm.get(), &made);
    analysis.ordering = made.ordering;
    analysis.compressed = made.compressed;
    ordering_ms = platform::clock_ms() - start_ms;
    return status;
}

/// Threads for the steps that can have several.
std::int32_t threads_of(Context& context, const FullPattern& full) noexcept {
    const bool shared =
        context.settings.tree_schedule && full.col_ptr[full.n] >= tuning::SHARED_ANALYSIS_ENTRIES;
    return shared ? mf_team(context, std::max(context.settings.n_threads, 1)) : 1;
}

/// Trees and supernodes of the ordered pattern, up to the value map of the input pattern's entries.
Status build_structure(Context& context, const FullPattern& full, std::int32_t* nonzeros,
                       Analysis& analysis) noexcept {
    const std::int32_t n = analysis.n;
    Buffer<std::int32_t> inverse(context.memory, n), scratch(context.memory, n);
    if (!inverse || !scratch) return out_of_memory(context, Status::FACTOR_STORAGE);
    const auto invert = [&] {
        for (std::int32_t k = 0; k < n; ++k) inverse[analysis.perm[k]] = k;
    };

    invert();
    analysis.root_count =
        mf_etree(full.pattern(), analysis.perm.get(), inverse.get(), analysis.parent.get(), scratch.get());
    Status status = Status::OK;
    const auto goes_on = [&] { // asked between the steps; the longest ones ask on the way
        if (status == Status::OK && mf_stop(context)) status = Status::CANCELLED;
        return status == Status::OK;
    };
    if (goes_on()) status = mf_postorder(context, analysis);
    invert();
    if (goes_on()) status = mf_colcount(context, full.pattern(), inverse.get(), nonzeros, analysis);
    if (goes_on()) status = mf_supernodes(context, nonzeros, analysis);
    const std::int32_t n_threads = threads_of(context, full);
    if (goes_on()) status = mf_factor_positions(context, full, inverse.get(), n_threads, analysis);
    if (goes_on()) status = mf_snode_finish(context, n_threads, analysis);
    if (goes_on()) status = mf_update_stack(context, analysis);
    return status;
}

/// Turns the value map of the canonical pattern into one of the caller's entries.
Status map_caller_entries(Context& context, const InputPattern& input, Analysis& analysis) noexcept {
    if (!input.entry_of) return Status::OK;
    Buffer<std::int64_t> caller_map(context.memory, input.n_caller_entries);
    if (!caller_map) return out_of_memory(context, Status::FACTOR_STORAGE);
    for (std::int32_t e = 0; e < input.n_caller_entries; ++e)
        caller_map[e] = analysis.value_map[input.entry_of[e]];
    analysis.value_map = std::move(caller_map);
    analysis.repeated_entries = true;
    return Status::OK;
}

/// Everything between the caller's pattern and the schedule. The full pattern is gone before the schedule.
Status analyse_pattern(Context& context, const InputPattern& input, Analysis& analysis,
                       double& ordering_ms) noexcept {
    FullPattern full;
    Buffer<std::int32_t> nonzeros;
    Status status = mf_sym_full(context, input.lower, full);
    if (status == Status::OK) status = allocate_columns(context, input, analysis, nonzeros);
    if (status == Status::OK) status = order(context, full, analysis, ordering_ms);
    if (status == Status::OK) status = build_structure(context, full, nonzeros.get(), analysis);
    if (status == Status::OK) status = map_caller_entries(context, input, analysis);
    return status;
}

} // namespace

Status mf_analyse(Context& context, const Pattern& pattern, Analysis& analysis,
                  double& ordering_ms) noexcept {
    ordering_ms = 0;
    // 1. The caller's pattern: checked, and in canonical form.
    InputPattern input;
    Status status = mf_check_structure(pattern);
    if (status == Status::OK) status = mf_input_pattern(context, pattern, input);
    if (status == Status::OK) status = check_limits(context, input);
    // 2. Ordering, trees, supernodes, row lists, value map.
    if (status == Status::OK) status = analyse_pattern(context, input, analysis, ordering_ms);
    // 3. Parallel schedule.
    if (status == Status::OK) status = mf_task_partition(context, analysis);
    if (status == Status::OK) status = mf_waiting_updates(context, analysis);
    if (status == Status::OK) status = mf_elimination_graph(context, analysis);
    // 4. Cut of the tree for solves.
    if (status == Status::OK) status = mf_solve_cut(context, analysis);
    return status;
}

} // namespace vyr
