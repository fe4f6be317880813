// Relaxed supernodes, the assembly tree and everything derived from them.
#pragma once

#include "reference/trees.h"

namespace vyr::reference {

struct Snode {
    std::int64_t start = 0;
    std::uint32_t flags = 0;
    std::int32_t level = -1, npiv = 0, nupd = 0, child_count = 0;
    Ints rows, rel_index, anc_rows;
};

struct AssemblyTree {
    std::vector<Snode> snodes;
    Ints snode_parent, column_map;
    std::int64_t factor_entries = 0, largest_front = 0, update_stack_peak = 0;
    std::int32_t largest_update = 0, largest_width = 0, stack_depth = 0, max_level = 0;
    std::int64_t memory_estimate = 0; ///< bytes
};

/// Groups the columns of a postordered, permuted full pattern.
AssemblyTree supernodes(const Pattern& permuted, const Ints& parent, const Ints& column_count,
                        std::int32_t core_mode);

/// Factor position of every entry of the permuted pattern, -1 above the diagonal.
Longs factor_positions(const Pattern& permuted, const AssemblyTree& tree);

} // namespace vyr::reference
