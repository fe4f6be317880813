// A diagnostic dump of the factor.
#pragma once

#include "symbolic/solver.h"

namespace vyr {

/// Writes what there is of the factor U to the file "mf_lu_0.mtx" in the current directory: a Matrix Market
/// coordinate file in pivot order, upper triangle, without the nodes that have no block in memory. A file
/// that cannot be written is left as it is.
void mf_dump_factor(const mf_solver& solver) noexcept;

} // namespace vyr
