#include "core/tuning.h"
#include "symbolic/steps.h"
#include "symbolic/tree_sums.h"

namespace vyr {

Status mf_solve_cut(Context& context, Analysis& analysis) noexcept {
    SolveCut& cut = analysis.solve_cut;
    const bool shared = analysis.factor_entries >= tuning::SHARED_SOLVE_ENTRIES;
    const TreeSums<std::int64_t> entries(context.memory, analysis,
                                         [&](std::int32_t s) { return analysis.snodes[s].n_entries(); });
    if (!entries) return out_of_memory(context, Status::FACTOR_STORAGE);
    const std::int64_t most = shared ? analysis.factor_entries / tuning::SOLVE_SUBTREES : -1;
    std::int64_t owed = 0;
    for_each_part(
        analysis, entries, most,
        [&](std::int32_t, std::int32_t root) {
            ++cut.n_subtrees;
            owed += analysis.snodes[root].nupd;
        },
        [&](std::int32_t) { ++cut.n_top; });
    if (owed > INT32_MAX - analysis.n) { // places are 32 bits wide
        cut.n_subtrees = 0;
        cut.n_top = analysis.n_snodes;
    }
    cut.first = Buffer<std::int32_t>(context.memory, cut.n_subtrees);
    cut.root = Buffer<std::int32_t>(context.memory, cut.n_subtrees);
    cut.top = Buffer<std::int32_t>(context.memory, cut.n_top);
    cut.owed = Buffer<std::int64_t>(context.memory, std::int64_t{cut.n_subtrees} + 1, std::int64_t{0});
    if (!cut.first || !cut.root || !cut.top || !cut.owed)
        return out_of_memory(context, Status::FACTOR_STORAGE);
    std::int32_t t = 0, k = 0;
    for_each_part(
        analysis, entries, cut.n_subtrees > 0 ? most : -1,
        [&](std::int32_t first_node, std::int32_t root) {
            cut.first[t] = first_node;
            cut.root[t] = root;
            cut.owed[t + 1] = cut.owed[t] + analysis.snodes[root].nupd;
            ++t;
        },
        [&](std::int32_t s) { cut.top[k++] = s; });
    return Status::OK;
}

} // namespace vyr
