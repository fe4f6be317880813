// Elimination tree, postorder and column counts, one step per entry of L.
#pragma once

#include "reference/pattern.h"

namespace vyr::reference {

struct EliminationTree {
    Ints parent;
    std::int32_t root_count = 0;
};

/// Tree of the full pattern taken in the order perm[new] = old.
EliminationTree etree(const Pattern& full, const Ints& perm);

/// Renumbers parent and perm to a postorder and returns the child counts in the new numbering.
Ints postorder(Ints& parent, Ints& perm);

/// Entries of every column of L, diagonal included, for a pattern already in its final order.
Ints colcount(const Pattern& permuted, const Ints& parent);

} // namespace vyr::reference
