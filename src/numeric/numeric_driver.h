// The numeric factorization of an analysed matrix.
#pragma once

#include "core/context.h"
#include "core/factor.h"

namespace vyr {

/// Factorises with the given values by the type in force (11: L L^T in parallel; 12 and 13: L D L^T, node
/// after node), again if it must be: nothing of an earlier run is left.
///
/// values   n_input doubles, in the order of the analysed pattern
///
/// Needs the storage that mf_alloc_L reserves. Returns OK, FACTOR_STORAGE, MEMORY, NOT_SPD, ILL_CONDITIONED,
/// BUFFER, SMALL_PIVOT, GROWTH or MAPPING. Threads: as many as the settings say, or the schedule was made
/// for.
Status mf_numeric_driver(Context& context, const double* values, Factor& factor) noexcept;

} // namespace vyr
