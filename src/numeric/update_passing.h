// How a finished node's update reaches the ancestors that own its rows.
//
// Extend-add: straight into their blocks (update_passing.cpp).
//
// The mapped core mode: by a stack (update_stack.cpp), from child to parent in packed form, so that a node's
// block is needed only while the node itself is eliminated. A stacked update is its upper triangle, column by
// column, column c with its c + 1 entries. Its children's updates are on top of the stack when a node's turn
// comes, the last child uppermost.
#pragma once

#include "core/factor.h"

#include <algorithm>
#include <cstdint>

namespace vyr {

/// What one ancestor receives of columns [begin, end) of a node's update: rows [first_row, last_row), which
/// are columns of the ancestor.
struct Share {
    const mf_snode& ancestor;
    double* block; ///< of the ancestor
    std::int32_t first_row, last_row;
    const std::int32_t* place; ///< place[j - begin], j >= first_row: column j in the ancestor's row list
};

/// Calls body(share) for every ancestor below node `limit` that owns rows of [0, end), from the parent up.
///
/// place  end - begin integers, scratch; afterwards the places of the other columns in the row list of the
///        last ancestor below the limit, or of the node itself
///
/// Returns OK, or FACTOR_STORAGE when an ancestor has no block. Cost: a mapping per column and ancestor.
template <typename Body>
Status mf_walk_ancestors(const Factor& factor, std::int32_t node, std::int32_t limit, std::int32_t begin,
                         std::int32_t end, std::int32_t* place, const Body& body) noexcept {
    const Analysis& analysis = *factor.analysis;
    const mf_snode& sender = analysis.snodes[node];
    for (std::int32_t j = begin; j < end; ++j) place[j - begin] = sender.npiv + j;
    const mf_snode* below = &sender;
    std::int32_t first_row = 0;
    std::int32_t a = analysis.snode_parent[node];
    for (std::int32_t k = 0; k < sender.anc_count && first_row < end && a < limit; ++k) {
        const mf_snode& ancestor = analysis.snodes[a];
        for (std::int32_t j = std::max(begin, first_row) - begin; j < end - begin; ++j)
            place[j] = below->rel_index[place[j]];
        const std::int32_t last_row = first_row + sender.anc_rows[k];
        if (last_row > first_row) {
            if (factor.block(a) == nullptr) return Status::FACTOR_STORAGE;
            body(Share{ancestor, factor.block(a), first_row, last_row, place});
        }
        first_row = last_row;
        below = &ancestor;
        a = analysis.snode_parent[a];
    }
    return Status::OK;
}

/// Adds columns [begin, end) of a node's update, upper triangle, into its ancestors from `from` on and below
/// node `limit`.
///
/// update   column j at update + (j - begin) * ld, rows 0 .. j
/// scratch  end - begin integers
///
/// Distinct column ranges of one node touch distinct places: they may run at the same time. Returns OK, or
/// FACTOR_STORAGE when an ancestor has no block. Cost: one addition per entry and one mapping per column and
/// ancestor.
Status mf_pass_columns(const Factor& factor, std::int32_t node, std::int32_t from, std::int32_t limit,
                       const double* update, std::int32_t ld, std::int32_t begin, std::int32_t end,
                       std::int32_t* scratch) noexcept;

/// Zeroes the upper triangle of an update matrix.
void mf_clear_update(double* update, std::int64_t order) noexcept;

/// Adds one ancestor's piece, formed with the remaining rows first, into that ancestor's block.
///
/// piece       n_rows x n_owned, leading dimension ld: entry (i, j), i >= j, belongs to the j-th owned row
/// and
///             the i-th remaining row; the caller's range of i starts at `first_row`
/// owned_rows  row indices of the remaining rows, the first n_owned are columns of `ancestor`
/// place       per i of the range, position of that row in the ancestor's row list
///
/// The caller holds the lock when others reach the block.
void mf_add_piece(const mf_snode& ancestor, double* block, const double* piece, std::int32_t ld,
                  std::int32_t first_row, std::int32_t n_rows, std::int32_t n_owned,
                  const std::int32_t* owned_rows, const std::int32_t* place) noexcept;

/// Passes a node's whole update on and marks the node finished.
///
/// update   nupd x nupd, upper triangle read, leading dimension nupd
/// scratch  nupd integers
Status mf_pass_update(Factor& factor, std::int32_t node, const double* update,
                      std::int32_t* scratch) noexcept;

/// Empties the stack.
void mf_stack_clear(Factor& factor) noexcept;

/// Adds the rows of the children's updates that are pivots of `node` into its block. Before its elimination.
void mf_stack_add_pivots(Factor& factor, std::int32_t node) noexcept;

/// Adds the other rows of the children's updates into the update matrix of `node` (work_block, leading
/// dimension ldw) and takes the children off the stack. After its elimination.
void mf_stack_add_rest(Factor& factor, std::int32_t node) noexcept;

/// Puts the update matrix of `node` on the stack; nothing for a node without update rows.
void mf_stack_push(Factor& factor, std::int32_t node) noexcept;

} // namespace vyr
