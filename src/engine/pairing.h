// Preparation of an indefinite matrix, so that every equation meets a pivot in its own node.
//
// The factorization looks for pivots inside a node only. An equation with a zero on the diagonal that comes
// first in the elimination, alone in its node, has none. Tying it to a partner by a large off-diagonal entry
// and giving both the same row structure keeps the two together in the ordering, where the partner goes first
// or the pair serves as a 2 x 2 pivot. (Duff and Pralet, "Strategies for scaling and pivoting for sparse
// symmetric indefinite problems", SIAM J. Matrix Anal. Appl. 27, 2005.)
#pragma once

#include "core/analysis.h"
#include "core/context.h"

#include <cstdint>

namespace vyr {

/// Diagonal entries up to this share of the largest entry of their column need a partner.
inline constexpr double WEAK_DIAGONAL = 0.01;

/// A pattern in which equations with a weak diagonal entry are tied to partners, and where the values go.
struct Pairing {
    bool ties = false;          ///< false: nothing is weak, all arrays are empty, the matrix serves as it is
    Buffer<std::int32_t> order; ///< n: equation of the given matrix that is equation k of the paired one
    Buffer<std::int32_t> col_ptr; ///< n + 1
    Buffer<std::int32_t> row_ind; ///< col_ptr[n]: lower triangle, ascending, the diagonal included
    Buffer<std::int32_t> place;   ///< per stored entry of the given matrix its entry in the paired one
};

/// Numbers the equations with a weak diagonal entry first, ties each to a partner, and makes room for more
/// entries, such that tied equations have one pattern. Equations for which no partner is left stay alone.
/// Analyse the paired pattern with Settings::blocked: that ordering never separates equations of one pattern,
/// and takes those with the higher number first.
///
/// a         lower triangle with values, rows strictly ascending within a column
/// pairing   out, when OK: its memory from the context's accounting; untouched when nothing is weak
///
/// Returns OK, MEMORY, or FACTOR_STORAGE when the pattern would outgrow 32-bit positions. Cost: about that of
/// reading the matrix a few times.
[[nodiscard]] Status mf_pair_weak_diagonals(Context& context, const Matrix& a, Pairing& pairing) noexcept;

/// Spreads the values of the given matrix over the paired pattern.
///
/// pairing         with ties
/// values          nnz, as the given matrix stores them
/// paired_values   out: pairing.row_ind.count() values, zero where the given matrix has no entry
void mf_paired_values(const Pairing& pairing, const double* values, std::int32_t nnz,
                      double* paired_values) noexcept;

} // namespace vyr
