// The numeric factorization of an analysed matrix.
#pragma once

#include "symbolic/solver.h"

namespace vyr {

/// Factorises the matrix with the given values by the type in force (CTRL_TYPE 11: L L^T in parallel; 12 and
/// 13: L D L^T, node after node).
///
/// values   n_input doubles, in the order of the analysed pattern
///
/// Leaves its status in INFO_STATUS: 0, -10, -29, -30, -31, -33, -35, -36 or -1210.
void mf_numeric_driver(const double* values, mf_solver& solver) noexcept;

} // namespace vyr
