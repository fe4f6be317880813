// Products and norms that judge a solution.
#pragma once

#include "tools/vyr/sparse_matrix.h"

#include <vector>

namespace vyr::tool {

/// y = A x for one vector of n entries.
std::vector<double> multiply(const SparseMatrix& a, const double* x);

/// Largest row sum of magnitudes of the whole symmetric matrix.
double norm_inf(const SparseMatrix& a);

/// max |b - A x| / (|A| max |x| + max |b|), the largest over all columns; not finite when the solution is
/// not.
double backward_error(const SparseMatrix& a, const DenseMatrix& x, const DenseMatrix& b);

/// Right-hand sides with known solutions: column k (0-based) of the solution has entries
/// 1 + (i k mod 8) / 8, so that the first column is all ones. Every entry is exact in binary.
DenseMatrix known_right_hand_sides(const SparseMatrix& a, std::int32_t n_rhs);

} // namespace vyr::tool
