// Preparation of an indefinite matrix, so that every equation meets a pivot in its own node.
//
// The factorization looks for pivots inside a node only. An equation with a zero on the diagonal that comes
// first in the elimination, alone in its node, has none. Tying it to a partner by a large off-diagonal entry
// and giving both the same row structure keeps the two together in the ordering, where the partner goes first
// or the pair serves as a 2 x 2 pivot. (Duff and Pralet, "Strategies for scaling and pivoting for sparse
// symmetric indefinite problems", SIAM J. Matrix Anal. Appl. 27, 2005.)
#pragma once

#include "tools/vyr/sparse_matrix.h"

#include <cstdint>
#include <vector>

namespace vyr::tool {

/// Diagonal entries up to this share of the largest entry of their column need a partner.
inline constexpr double WEAK_DIAGONAL = 0.01;

/// A matrix with more stored zeros and another numbering.
struct PairedMatrix {
    SparseMatrix matrix;
    std::vector<std::int32_t> order; ///< order[k]: the equation of the given matrix that is equation k here
};

/// Numbers the equations with a weak diagonal entry first, ties each to a partner, and stores zeros such that
/// tied equations have one pattern, the diagonal included. Equations for which no partner is left stay alone.
/// Analyse the result with VYR_PARAM_BLOCKED = 1: that ordering never separates equations of one pattern, and
/// takes those with the higher number first.
///
/// Without weak diagonal entries matrix and numbering stay the same. Cost: about that of reading the matrix a
/// few times. Throws std::length_error when the pattern would outgrow 32-bit indices.
PairedMatrix pair_weak_diagonals(const SparseMatrix& a);

} // namespace vyr::tool
