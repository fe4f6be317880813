// Row lists of the supernodes and the place of every input entry in the factor storage.
#pragma once

#include "symbolic/full_pattern.h"
#include "symbolic/solver.h"

namespace vyr {

/// Fills the row list of every supernode (row_slab) and solver.value_map for the entries of the input
/// pattern.
///
/// inverse   n: inverse[old] = new
///
/// False without memory. Cost: one step per row index of a supernode and per entry of the pattern.
[[nodiscard]] bool mf_factor_positions(const FullPattern& full, const std::int32_t* inverse,
                                       mf_solver& solver) noexcept;

} // namespace vyr
