// Iterative refinement, for factorizations that may lose digits.
#pragma once

#include "core/context.h"
#include "core/factor.h"

#include <cstdint>

namespace vyr {

/// Solutions with a backward error up to this one are left as they are.
inline constexpr double GOOD_BACKWARD_ERROR = 1e-14;

/// Improves solutions of A x = b, for as long as each step at least halves the largest backward error of all
/// columns and it is above GOOD_BACKWARD_ERROR.
///
/// factor   of `a`
/// a        lower triangle
/// b        n x nrhs, leading dimension n
/// x        n x nrhs, leading dimension n; in: the solutions as the solve gave them; out: the improved ones
/// steps    out: steps taken
///
/// Returns OK, MEMORY without room for n (nrhs + 2) doubles, or what a solve answered; x then holds the best
/// solutions so far. Cost of a step: a solve and two products with A for each column.
[[nodiscard]] Status mf_refine_columns(Context& context, const Factor& factor, const Matrix& a,
                                       const double* b, double* x, std::int32_t nrhs, int& steps) noexcept;

} // namespace vyr
