#include "symbolic/relative_index.h"

#include "interface/process_state.h"
#include "memory/buffer.h"

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
std::int32_t ancestor_segments(const mf_solver& solver, std::int32_t s, std::int32_t* counts) noexcept {
    const mf_snode& node = solver.snodes[s];
    const std::int32_t* update = node.update_rows();
    std::int32_t n_ancestors = 0;
    std::int32_t counted = 0;
    for (std::int32_t a = solver.snode_parent[s]; counted < node.nupd; a = solver.snode_parent[a]) {
        const mf_snode& ancestor = solver.snodes[a];
        const std::int32_t end = ancestor.first() + ancestor.npiv;
        const std::int32_t before = counted;
        while (counted < node.nupd && update[counted] < end) ++counted;
        if (counts != nullptr) counts[n_ancestors] = counted - before;
        ++n_ancestors;
    }
    return n_ancestors;
}

bool place_segments(mf_solver& solver) noexcept {
    std::int64_t n_segments = 0;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        solver.snodes[s].anc_count = ancestor_segments(solver, s, nullptr);
        n_segments += solver.snodes[s].anc_count;
    }
    solver.anc_slab = mf_array<std::int32_t>(n_segments);
    if (solver.anc_slab == nullptr) return false;
    std::int32_t* place = solver.anc_slab;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        mf_snode& node = solver.snodes[s];
        node.anc_rows = place;
        place += ancestor_segments(solver, s, place);
    }
    return true;
}

/// Relative indices of all children, parent by parent, so that each parent's rows are marked once.
bool place_relative_indices(mf_solver& solver) noexcept {
    const std::int32_t n_snodes = solver.n_snodes;
    std::int64_t n_rows = 0;
    for (std::int32_t s = 0; s < n_snodes; ++s) n_rows += solver.snodes[s].n_rows();
    solver.rel_slab = mf_array<std::int32_t>(n_rows);
    Buffer<std::int32_t> head(n_snodes, -1), next(n_snodes), place(solver.n);
    if (solver.rel_slab == nullptr || !head || !next || !place) return false;
    std::int32_t* slab = solver.rel_slab;
    for (std::int32_t s = 0; s < n_snodes; ++s) {
        solver.snodes[s].rel_index = slab;
        slab += solver.snodes[s].n_rows();
        std::fill_n(solver.snodes[s].rel_index, solver.snodes[s].npiv, 0);
        const std::int32_t p = solver.snode_parent[s];
        if (p == -1) continue;
        next[s] = head[p];
        head[p] = s;
    }
    for (std::int32_t p = 0; p < n_snodes; ++p) {
        if (head[p] == -1) continue;
        const mf_snode& parent = solver.snodes[p];
        for (std::int32_t k = 0; k < parent.n_rows(); ++k) place[parent.rows[k]] = k;
        for (std::int32_t s = head[p]; s != -1; s = next[s])
            mf_snode_relind(solver.snodes[s], parent, place.get());
    }
    return true;
}

} // namespace

bool mf_snode_finish(mf_solver& solver) noexcept {
    const bool in_core = ctrl_int(CTRL_CORE_MODE) == CORE_IN;
    std::int64_t largest_panel = 0;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        const mf_snode& node = solver.snodes[s];
        const std::int64_t n_columns = in_core ? node.npiv : PANEL_WIDTH;
        solver.largest_front = std::max(solver.largest_front, n_columns * node.n_rows());
        largest_panel = std::max<std::int64_t>(largest_panel, PANEL_WIDTH * node.npiv);
        mf_info[INFO_MAX_WIDTH] = std::max(mf_info[INFO_MAX_WIDTH], static_cast<double>(node.npiv));
    }
    const std::int64_t square = std::int64_t{solver.largest_update} * solver.largest_update;
    mf_ctrl[CTRL_MEMORY_ESTIMATE] += 8.0 * static_cast<double>(std::max<std::int64_t>(square, solver.n) +
                                                               4 * largest_panel + solver.largest_front);
    return place_relative_indices(solver) && place_segments(solver);
}

} // namespace vyr
