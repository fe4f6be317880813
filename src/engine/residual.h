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

/// One solution of A x = b and what is wrong with it.
struct JudgedColumn {
    const double* x;  ///< n
    const double* b;  ///< n
    double* residual; ///< n, out: b - A x; apart from x and b; null: not wanted
    double error; ///< out: max |b - A x| / (|A| max |x| + max |b|); NaN when it, or the norm, is not finite
};

/// Judges solutions.
///
/// norm   |A|, of mf_norm_inf
///
/// Returns OK, or MEMORY without room for up to 16 n doubles. Cost: a look at every entry of A for every
/// eight columns.
[[nodiscard]] Status mf_judge(Context& context, const Matrix& a, double norm, JudgedColumn* columns,
                              std::int32_t count) noexcept;

} // namespace vyr
