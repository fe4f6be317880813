#include "core/tuning.h"
#include "symbolic/steps.h"
#include "symbolic/tree_sums.h"

#include <algorithm>

namespace vyr {

namespace {

/// Fills the list of node s of subtree t.
void place_rows(Analysis& analysis, std::int32_t t, std::int32_t s) noexcept {
    SolveCut& cut = analysis.solve_cut;
    const mf_snode &node = analysis.snodes[s], &root = analysis.snodes[cut.root[t]];
    const std::int32_t end = root.first() + root.npiv;
    const auto first_place = static_cast<std::int32_t>(analysis.n + cut.owed[t]);
    std::int32_t* const list = cut.rows.get() + cut.list[s];
    // Both lists ascend, and the root's holds every row of its subtree beyond it.
    const std::int32_t* const beyond = root.update_rows();
    const std::int32_t* at = beyond;
    for (std::int32_t k = 0; k < node.n_rows(); ++k) {
        if (node.rows[k] >= end) at = std::lower_bound(at, beyond + root.nupd, node.rows[k]);
        list[k] = node.rows[k] < end ? node.rows[k] : first_place + static_cast<std::int32_t>(at - beyond);
    }
}

Status make_lists(Context& context, Analysis& analysis) noexcept {
    SolveCut& cut = analysis.solve_cut;
    cut.list = Buffer<std::int64_t>(context.memory, analysis.n_snodes, std::int64_t{-1});
    if (!cut.list) return out_of_memory(context, Status::FACTOR_STORAGE);
    std::int64_t n_rows = 0;
    for (std::int32_t t = 0; t < cut.n_subtrees; ++t) {
        const mf_snode& root = analysis.snodes[cut.root[t]];
        for (std::int32_t s = cut.first[t]; s <= cut.root[t]; ++s) {
            const mf_snode& node = analysis.snodes[s];
            if (node.rows[node.n_rows() - 1] < root.first() + root.npiv) continue;
            cut.list[s] = n_rows;
            n_rows += node.n_rows();
        }
    }
    cut.rows = Buffer<std::int32_t>(context.memory, n_rows);
    if (!cut.rows) return out_of_memory(context, Status::FACTOR_STORAGE);
    for (std::int32_t t = 0; t < cut.n_subtrees; ++t)
        for (std::int32_t s = cut.first[t]; s <= cut.root[t]; ++s)
            if (cut.list[s] >= 0) place_rows(analysis, t, s);
    return Status::OK;
}

} // namespace

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
    return make_lists(context, analysis);
}

} // namespace vyr
