// The whole symbolic analysis, literally, for an ordering that is handed in.
#pragma once

#include "reference/tasks.h"

namespace vyr::reference {

struct ReferenceAnalysis {
    std::int32_t root_count = 0;
    Ints perm, parent, child_count, column_count;
    AssemblyTree tree;
    Longs value_map; ///< per entry of the lower triangle
    Tasks tasks;
};

/// lower      lower triangle, rows ascending
/// ordering   perm[new] = old of the fill-reducing ordering, before the postorder
ReferenceAnalysis analyse(const Pattern& lower, const Ints& ordering, std::int32_t core_mode = 0,
                          std::int32_t threads = 1, bool blocked = false);

} // namespace vyr::reference
