// Which pivots the last factorization found, and which of them explain its failure.
#pragma once

#include "symbolic/solver.h"

namespace vyr {

/// Reads the diagonal of the factor, the status of the last operation and CTRL_PIVOT_MIN.
///
/// pivots   n doubles, out: in the caller's numbering; -DBL_MAX where no pivot was computed
/// marks    n ints, out: 0; -1 where no pivot was computed; 1 at every pivot <= CTRL_PIVOT_MIN after
///          VYR_ERR_SMALL_PIVOT, and at the smallest and the largest magnitude after VYR_ERR_GROWTH
///
/// Allocates nothing. Cost: two passes over n entries.
void mf_pivot_report(const mf_solver& solver, double* pivots, int* marks) noexcept;

} // namespace vyr
