// Dense Cholesky factorization and triangular solve of a front.
#pragma once

#include "numeric/product_kernel.h"
#include "numeric/vector_loops.h"

#include <cstdint>

namespace vyr {

/// Factors the n x n block `a` (upper triangle, column-major) as U^T U in place.
///
/// `shared`: in strips that idle threads of the team may take. Returns 0, or k > 0 when pivot k (1-based) is
/// not positive or not a number; that pivot is left in place and what follows is unfinished. Allocates
/// nothing.
[[nodiscard]] std::int32_t mf_dense_cholesky(const VectorLoops& loops, const ProductKernel& kernel,
                                             std::int32_t n, double* a, std::int32_t ld,
                                             bool shared) noexcept;

/// Solves U^T X = C in place for the m columns of C; U is n x n upper. Allocates nothing.
void mf_dense_solve(const VectorLoops& loops, const ProductKernel& kernel, std::int32_t n, const double* u,
                    std::int32_t ld, std::int32_t m, double* c, std::int32_t ldc) noexcept;

} // namespace vyr
