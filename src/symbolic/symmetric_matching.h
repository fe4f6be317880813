// Large entries of a symmetric matrix, on the diagonal or in pairs, and the scaling that makes them 1.
#pragma once

#include "core/analysis.h"
#include "core/context.h"

#include <cstdint>

namespace vyr {

/// Which equations are to be eliminated together, and a scaling S such that the entries of S A S are below 2,
/// and those of singles and pairs at least 1/2.
struct SymmetricMatching {
    Buffer<std::int32_t> partner; ///< n: the equation paired with each one; itself for a single one
    Buffer<double> scale;         ///< n: powers of two, which change no digit of the matrix
    std::int32_t n_pairs = 0;
    std::int32_t structural_rank = 0; ///< largest rank of a matrix with these nonzeros; -1: not known
};

/// Matches equations such that the product of the magnitudes chosen is the largest, each of them taken for
/// the power of two below it.
///
/// a          lower triangle by columns, rows strictly ascending; stored zeros count as absent
/// matching   out: fresh; of no use after a failure
///
/// Returns OK, FACTOR_STORAGE without memory, or CANCELLED. Cost: where no a[i,j]^2 exceeds |a[i,i] a[j,j]|,
/// a pass over the entries; otherwise that of mf_weighted_matching over those that do.
[[nodiscard]] Status mf_symmetric_matching(Context& context, const Matrix& a,
                                           SymmetricMatching& matching) noexcept;

/// True when a given scaling still suits the values: every row of S A S has its largest entry near 1, but for
/// rows without any. Cost: a pass over the entries.
///
/// largest   scratch, n
[[nodiscard]] bool mf_scaling_fits(const Matrix& a, const double* scale, double* largest) noexcept;

} // namespace vyr
