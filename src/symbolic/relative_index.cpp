#include "symbolic/steps.h"

#include <algorithm>

namespace vyr {

namespace {

constexpr std::int32_t PANEL_WIDTH = 16;

/// Relative indices and flags of `node`; place[row] is the row's position in the parent's row list.
void mf_snode_relind(mf_snode& node, const mf_snode& parent, const std::int32_t* place) noexcept {
    node.flags &= ~std::uint32_t{NODE_PARENT_RUN | NODE_BELOW_RUN | NODE_ALL_IN_PARENT | NODE_NONE_IN_PARENT};
    const std::int32_t* update = node.update_rows();
    std::int32_t* position = node.rel_index + node.npiv;
    std::int32_t n_inside = 0; // update rows that fall into the parent's columns
    for (std::int32_t t = 0; t < node.nupd; ++t) {
        position[t] = place[update[t]];
        n_inside += position[t] < parent.npiv;
    }
    const std::int32_t n_below = node.nupd - n_inside;
    if (n_inside == 0) node.flags |= NODE_NONE_IN_PARENT;
    if (n_below == 0) node.flags |= NODE_ALL_IN_PARENT;
    if (n_inside > 0 && update[n_inside - 1] == update[0] + n_inside - 1) node.flags |= NODE_PARENT_RUN;
    if (n_below > 0 && position[node.nupd - 1] == position[n_inside] + n_below - 1)
        node.flags |= NODE_BELOW_RUN;
}

/// Walks the ancestors of s over which its update rows are spread. Writes how many rows each one owns when
/// `counts` is given; returns the number of ancestors. Every update row is a column of some ancestor.
std::int32_t ancestor_segments(const Analysis& analysis, std::int32_t s, std::int32_t* counts) noexcept {
    const mf_snode& node = analysis.snodes[s];
    const std::int32_t* update = node.update_rows();
    std::int32_t n_ancestors = 0;
    std::int32_t counted = 0;
    for (std::int32_t a = analysis.snode_parent[s]; counted < node.nupd; a = analysis.snode_parent[a]) {
        const mf_snode& ancestor = analysis.snodes[a];
        const std::int32_t end = ancestor.first() + ancestor.npiv;
        const std::int32_t before = counted;
        while (counted < node.nupd && update[counted] < end) ++counted;
        if (counts != nullptr) counts[n_ancestors] = counted - before;
        ++n_ancestors;
    }
    return n_ancestors;
}

Status place_segments(Context& context, Analysis& analysis) noexcept {
    std::int64_t n_segments = 0;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
        analysis.snodes[s].anc_count = ancestor_segments(analysis, s, nullptr);
        n_segments += analysis.snodes[s].anc_count;
    }
    analysis.anc_slab = Buffer<std::int32_t>(context.memory, n_segments);
    if (!analysis.anc_slab) return out_of_memory(context, Status::FACTOR_STORAGE);
    std::int32_t* place = analysis.anc_slab.get();
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
        mf_snode& node = analysis.snodes[s];
        node.anc_rows = place;
        place += ancestor_segments(analysis, s, place);
    }
    return Status::OK;
}

/// Relative indices of all children, parent by parent, so that each parent's rows are marked once.
Status place_relative_indices(Context& context, Analysis& analysis) noexcept {
    const std::int32_t n_snodes = analysis.n_snodes;
    std::int64_t n_rows = 0;
    for (std::int32_t s = 0; s < n_snodes; ++s) n_rows += analysis.snodes[s].n_rows();
    analysis.rel_slab = Buffer<std::int32_t>(context.memory, n_rows);
    Buffer<std::int32_t> head(context.memory, n_snodes, -1), next(context.memory, n_snodes),
        place(context.memory, analysis.n);
    if (!analysis.rel_slab || !head || !next || !place) return out_of_memory(context, Status::FACTOR_STORAGE);
    std::int32_t* slab = analysis.rel_slab.get();
    for (std::int32_t s = 0; s < n_snodes; ++s) {
        analysis.snodes[s].rel_index = slab;
        slab += analysis.snodes[s].n_rows();
        std::fill_n(analysis.snodes[s].rel_index, analysis.snodes[s].npiv, 0);
        const std::int32_t p = analysis.snode_parent[s];
        if (p == -1) continue;
        next[s] = head[p];
        head[p] = s;
    }
    for (std::int32_t p = 0; p < n_snodes; ++p) {
        if (head[p] == -1) continue;
        const mf_snode& parent = analysis.snodes[p];
        for (std::int32_t k = 0; k < parent.n_rows(); ++k) place[parent.rows[k]] = k;
        for (std::int32_t s = head[p]; s != -1; s = next[s])
            mf_snode_relind(analysis.snodes[s], parent, place.get());
    }
    return Status::OK;
}

} // namespace

Status mf_snode_finish(Context& context, Analysis& analysis) noexcept {
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
    const Status status = place_relative_indices(context, analysis);
    return status == Status::OK ? place_segments(context, analysis) : status;
}

} // namespace vyr
