// Iterative refinement, for factorizations that may lose digits.
#pragma once

#include "tools/vyr/sparse_matrix.h"
#include "vyr.h"

namespace vyr::tool {

/// Solutions with a backward error up to this one are left as they are.
inline constexpr double GOOD_BACKWARD_ERROR = 1e-14;

/// Improves solutions of A x = b with the factorization of `a` in `h`, for as long as each step at least
/// halves the largest backward error of all columns and it is above GOOD_BACKWARD_ERROR.
///
/// x   in: the solutions as the library gave them; out: the improved ones
///
/// Returns the steps taken. A step costs a solve and two products with A for each column.
int refine(const SparseMatrix& a, VYR_handle h, const DenseMatrix& b, DenseMatrix& x);

} // namespace vyr::tool
