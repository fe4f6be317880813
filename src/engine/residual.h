// Products and norms that judge a solution.
//
// Matrices here are symmetric and given by their lower triangle.
#pragma once

#include "core/analysis.h"
#include "core/context.h"

#include <cstdint>

namespace vyr {

/// y = A x. x, y: n, apart from each other.
void mf_multiply(const Matrix& a, const double* x, double* y) noexcept;

/// The largest row sum of magnitudes of the whole matrix; NaN when there is one. Returns OK or MEMORY.
[[nodiscard]] Status mf_norm_inf(Context& context, const Matrix& a, double& norm) noexcept;

/// max |b - A x| / (|A| max |x| + max |b|), the largest over all columns.
///
/// norm    |A|, of mf_norm_inf
/// x, b    n x nrhs, column-major, leading dimensions ldx and ldb
/// error   out: NaN when it is not finite for any column, or the norm is not
///
/// Returns OK, or MEMORY without room for n doubles. Cost: a product with A for each column.
[[nodiscard]] Status mf_backward_error(Context& context, const Matrix& a, double norm, const double* x,
                                       const double* b, std::int32_t nrhs, std::int64_t ldx, std::int64_t ldb,
                                       double& error) noexcept;

/// The same for a caller that has no use for the norm.
[[nodiscard]] Status mf_backward_error(Context& context, const Matrix& a, const double* x, const double* b,
                                       std::int32_t nrhs, std::int64_t ldx, std::int64_t ldb,
                                       double& error) noexcept;

} // namespace vyr
