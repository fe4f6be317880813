// The update stack of the mapped core mode: update matrices travel from child to parent in packed form, so
// that a node's block is needed only while the node itself is eliminated.
//
// A stacked update is its upper triangle, column by column, column c with its c + 1 entries. Its children's
// updates are on top of the stack when a node's turn comes, the last child uppermost.
#pragma once

#include "core/factor.h"

namespace vyr {

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
