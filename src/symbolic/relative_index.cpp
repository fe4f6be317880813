#include "symbolic/steps.h"

#include <algorithm>

namespace vyr {

namespace {

constexpr std::int32_t PANEL_WIDTH = 16;
constexpr std::int32_t NODES_AT_ONCE = 512; ///< taken by a thread

/// Relative indices and flags of `node`. Its update rows are rows of the parent, both ascending.
void mf_snode_relind(mf_snode& node, const mf_snode& parent) noexcept {
    node.flags &= ~std::uint32_t{NODE_PARENT_RUN | NODE_BELOW_RUN | NODE_ALL_IN_PARENT | NODE_NONE_IN_PARENT};
    const std::int32_t* update = node.update_rows();
    const std::int32_t* const parent_end = parent.rows + parent.n_rows();
    std::int32_t* position = node.rel_index + node.npiv;
    std::int32_t n_inside = 0; // update rows that fall into the parent's columns
    for (; n_inside < node.nupd && update[n_inside] < parent.first() + parent.npiv; ++n_inside)
        position[n_inside] = update[n_inside] - parent.first();
    const std::int32_t* place = parent.update_rows();
    for (std::int32_t t = n_inside; t < node.nupd; ++t, ++place) {
        if (*place != update[t]) place = std::lower_bound(place + 1, parent_end, update[t]);
        position[t] = static_cast<std::int32_t>(place - parent.rows);
    }
    const std::int32_t n_below = node.nupd - n_inside;
    if (n_inside == 0) node.flags |= NODE_NONE_IN_PARENT;
    if (n_below == 0) node.flags |= NODE_ALL_IN_PARENT;
    if (n_inside > 0 && update[n_inside - 1] == update[0] + n_inside - 1) node.flags |= NODE_PARENT_RUN;
    if (n_below > 0 && position[node.nupd - 1] == position[n_inside] + n_below - 1)
        node.flags |= NODE_BELOW_RUN;
}

/// Counts the update rows of s that each of its ancestors owns, up to the one that owns the last.
void fill_segments(const Analysis& analysis, std::int32_t s) noexcept {
    const mf_snode& node = analysis.snodes[s];
    const std::int32_t* update = node.update_rows();
    std::int32_t counted = 0;
    for (std::int32_t k = 0, a = analysis.snode_parent[s]; k < node.anc_count;
         ++k, a = analysis.snode_parent[a]) {
        const std::int32_t end = analysis.snodes[a].first() + analysis.snodes[a].npiv;
        const std::int32_t before = counted;
        while (counted < node.nupd && update[counted] < end) ++counted;
        node.anc_rows[k] = counted - before;
    }
}

/// The depths of a node and of the ancestor that owns its last row tell how many segments there are.
Status place_segments(Context& context, std::int32_t n_threads, Analysis& analysis) noexcept {
    Buffer<std::int32_t> depth(context.memory, analysis.n_snodes, 0);
    if (!depth) return out_of_memory(context, Status::FACTOR_STORAGE);
    std::int64_t n_segments = 0;
    for (std::int32_t s = analysis.n_snodes - 1; s >= 0; --s) {
        mf_snode& node = analysis.snodes[s];
        if (node.nupd == 0) continue;
        depth[s] = depth[analysis.snode_parent[s]] + 1;
        node.anc_count = depth[s] - depth[analysis.column_map[node.rows[node.n_rows() - 1]]];
        n_segments += node.anc_count;
    }
    analysis.anc_slab = Buffer<std::int32_t>(context.memory, n_segments);
    if (!analysis.anc_slab) return out_of_memory(context, Status::FACTOR_STORAGE);
    std::int32_t* place = analysis.anc_slab.get();
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
        analysis.snodes[s].anc_rows = place;
        place += analysis.snodes[s].anc_count;
    }
#pragma omp parallel for schedule(dynamic, NODES_AT_ONCE) num_threads(n_threads) if (n_threads > 1)
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) fill_segments(analysis, s);
    return Status::OK;
}

Status place_relative_indices(Context& context, std::int32_t n_threads, Analysis& analysis) noexcept {
    analysis.rel_slab = Buffer<std::int32_t>(context.memory, analysis.row_slab.count());
    if (!analysis.rel_slab) return out_of_memory(context, Status::FACTOR_STORAGE);
#pragma omp parallel for schedule(dynamic, NODES_AT_ONCE) num_threads(n_threads) if (n_threads > 1)
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
        mf_snode& node = analysis.snodes[s];
        node.rel_index = analysis.rel_slab.get() + (node.rows - analysis.row_slab.get());
        std::fill_n(node.rel_index, node.npiv, 0);
        const std::int32_t parent = analysis.snode_parent[s];
        if (parent != -1) mf_snode_relind(node, analysis.snodes[parent]);
    }
    return Status::OK;
}

} // namespace

Status mf_snode_finish(Context& context, std::int32_t n_threads, Analysis& analysis) noexcept {
    const bool in_core = context.settings.core_mode == CORE_IN;
    Statistics& statistics = context.statistics;
    std::int64_t largest_panel = 0;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
        const mf_snode& node = analysis.snodes[s];
        const std::int64_t n_columns = in_core ? node.npiv : PANEL_WIDTH;
        analysis.largest_front = std::max(analysis.largest_front, n_columns * node.n_rows());
        largest_panel = std::max(largest_panel, std::int64_t{PANEL_WIDTH} * node.npiv);
        statistics.max_width = std::max(statistics.max_width, static_cast<double>(node.npiv));
    }
    const std::int64_t square = std::int64_t{analysis.largest_update} * analysis.largest_update;
    statistics.memory_estimate += 8.0 * static_cast<double>(std::max<std::int64_t>(square, analysis.n) +
                                                            4 * largest_panel + analysis.largest_front);
    const Status status = place_relative_indices(context, n_threads, analysis);
    return status == Status::OK ? place_segments(context, n_threads, analysis) : status;
}

} // namespace vyr
