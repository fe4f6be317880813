// Preparation of an indefinite matrix, so that every equation meets a pivot in its own node.
//
// The factorization looks for pivots inside a node only. An equation with a zero on the diagonal that comes
// first in the elimination, alone in its node, has none. Tying it to a partner by a large off-diagonal entry
// and giving both the same row structure keeps the two together in the ordering and in one node, where the
// pair serves as a 2 x 2 pivot. (Duff and Pralet, "Strategies for scaling and pivoting for sparse symmetric
// indefinite problems", SIAM J. Matrix Anal. Appl. 27, 2005.)
#pragma once

#include "tools/vyr/sparse_matrix.h"

namespace vyr::tool {

/// Diagonal entries below this share of the largest entry of their column need a partner.
inline constexpr double WEAK_DIAGONAL = 0.01;

/// The same matrix with zeros stored in addition: each equation with a weak diagonal entry and its partner
/// get the union of their patterns, the diagonal included. Equations for which no partner is left stay alone.
/// Analyse the result with VYR_PARAM_BLOCKED = 1: that ordering never separates equations of equal structure.
///
/// A matrix without weak diagonal entries comes back as it is. Cost: about that of reading the matrix a few
/// times.
SparseMatrix pair_weak_diagonals(const SparseMatrix& a);

} // namespace vyr::tool
