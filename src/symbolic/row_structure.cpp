#include "symbolic/steps.h"

namespace vyr {

namespace {

/// Points every record at its part of the slab and writes its own columns there.
Status place_row_lists(Context& context, Analysis& analysis) noexcept {
    std::int64_t n_rows = 0;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) n_rows += analysis.snodes[s].n_rows();
    analysis.row_slab = Buffer<std::int32_t>(context.memory, n_rows);
    if (!analysis.row_slab) return out_of_memory(context, Status::FACTOR_STORAGE);
    std::int32_t* place = analysis.row_slab.get();
    std::int32_t column = 0;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
        mf_snode& node = analysis.snodes[s];
        node.rows = place;
        place += node.n_rows();
        for (std::int32_t c = 0; c < node.npiv; ++c) node.rows[c] = column++;
    }
    return Status::OK;
}

} // namespace

// Row i of the factor is the subtree of the assembly tree spanned by the row's entries and rooted at the
// supernode of i (Liu, "The role of elimination trees in sparse factorization", SIAM J. Matrix Anal. Appl.
// 11, 1990). Taking the rows in ascending order makes every row list come out sorted, and the place of row i
// in a list is known at the moment it is appended: it gives the entry's factor position at once.
Status mf_factor_positions(Context& context, const FullPattern& full, const std::int32_t* inverse,
                           Analysis& analysis) noexcept {
    if (const Status status = place_row_lists(context, analysis); status != Status::OK) return status;
    Buffer<std::int32_t> n_placed(context.memory, analysis.n_snodes);
    if (!n_placed) return out_of_memory(context, Status::FACTOR_STORAGE);
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) n_placed[s] = analysis.snodes[s].npiv;

    for (std::int32_t i = 0; i < analysis.n; ++i) {
        if (i % COLUMNS_PER_LOOK == 0 && mf_stop(context)) return Status::CANCELLED;
        const std::int32_t home = analysis.column_map[i];
        const std::int32_t column = analysis.perm[i];
        for (std::int32_t e = full.col_ptr[column]; e < full.col_ptr[column + 1]; ++e) {
            const std::int32_t j = inverse[full.row_ind[e]];
            if (j > i) continue;
            const std::int32_t owner = analysis.column_map[j];
            for (std::int32_t s = owner; s != home; s = analysis.snode_parent[s]) {
                mf_snode& node = analysis.snodes[s];
                if (node.rows[n_placed[s] - 1] == i) break;
                node.rows[n_placed[s]++] = i;
            }
            const mf_snode& node = analysis.snodes[owner];
            const std::int32_t place = owner == home ? i - node.first() : n_placed[owner] - 1;
            analysis.value_map[full.origin[e]] =
                node.start + static_cast<std::int64_t>(place) * node.npiv + (j - node.first());
        }
    }
    return Status::OK;
}

} // namespace vyr
