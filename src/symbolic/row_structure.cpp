#include "symbolic/row_structure.h"

#include "memory/buffer.h"

namespace vyr {

namespace {

/// Points every record at its part of the slab and writes its own columns there.
bool place_row_lists(mf_solver& solver) noexcept {
    std::int64_t n_rows = 0;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) n_rows += solver.snodes[s].n_rows();
    solver.row_slab = mf_array<std::int32_t>(n_rows);
    if (solver.row_slab == nullptr) return false;
    std::int32_t* place = solver.row_slab;
    std::int32_t column = 0;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        mf_snode& node = solver.snodes[s];
        node.rows = place;
        place += node.n_rows();
        for (std::int32_t c = 0; c < node.npiv; ++c) node.rows[c] = column++;
    }
    return true;
}

} // namespace

// Row i of the factor is the subtree of the assembly tree spanned by the row's entries and rooted at the
// supernode of i (Liu, "The role of elimination trees in sparse factorization", SIAM J. Matrix Anal. Appl.
// 11, 1990). Taking the rows in ascending order makes every row list come out sorted, and the place of row i
// in a list is known at the moment it is appended: it gives the entry's factor position at once.
bool mf_factor_positions(const FullPattern& full, const std::int32_t* inverse, mf_solver& solver) noexcept {
    if (!place_row_lists(solver)) return false;
    Buffer<std::int32_t> n_placed(solver.n_snodes);
    if (!n_placed) return false;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) n_placed[s] = solver.snodes[s].npiv;

    for (std::int32_t i = 0; i < solver.n; ++i) {
        const std::int32_t home = solver.column_map[i];
        const std::int32_t column = solver.perm[i];
        for (std::int32_t e = full.col_ptr[column]; e < full.col_ptr[column + 1]; ++e) {
            const std::int32_t j = inverse[full.row_ind[e]];
            if (j > i) continue;
            const std::int32_t owner = solver.column_map[j];
            for (std::int32_t s = owner; s != home; s = solver.snode_parent[s]) {
                mf_snode& node = solver.snodes[s];
                if (node.rows[n_placed[s] - 1] == i) break;
                node.rows[n_placed[s]++] = i;
            }
            const mf_snode& node = solver.snodes[owner];
            const std::int32_t place = owner == home ? i - node.first() : n_placed[owner] - 1;
            solver.value_map[full.origin[e]] =
                node.start + static_cast<std::int64_t>(place) * node.npiv + (j - node.first());
        }
    }
    return true;
}

} // namespace vyr
