#include "numeric/dense_cholesky.h"

#include "numeric/tuning.h"
#include "numeric/vector_loops.h"
#include "platform/blas.h"

namespace vyr {

namespace {

/// Splits n in two with the first part a multiple of the base block.
std::int32_t half(std::int32_t n) noexcept {
    constexpr std::int32_t base = tuning::BASE_PIVOTS;
    return (n / 2 + base - 1) / base * base;
}

void solve(const VectorLoops& loops, std::int32_t n, const double* u, std::int32_t ld, std::int32_t m,
           double* c, std::int32_t ldc) noexcept {
    if (n <= tuning::BASE_PIVOTS) {
        loops.solve(n, u, ld, m, c, ldc);
        return;
    }
    const std::int32_t n1 = half(n), n2 = n - n1;
    const double* u12 = u + std::int64_t{n1} * ld;
    solve(loops, n1, u, ld, m, c, ldc);
    blas::gemm('T', 'N', n2, m, n1, -1.0, u12, ld, c, ldc, 1.0, c + n1, ldc);
    solve(loops, n2, u12 + n1, ld, m, c + n1, ldc);
}

std::int32_t cholesky(const VectorLoops& loops, std::int32_t n, double* a, std::int32_t ld) noexcept {
    if (n <= tuning::BASE_PIVOTS) return loops.cholesky(n, a, ld);
    const std::int32_t n1 = half(n), n2 = n - n1;
    double* a12 = a + std::int64_t{n1} * ld;
    double* a22 = a12 + n1;
    if (const std::int32_t info = cholesky(loops, n1, a, ld); info != 0) return info;
    solve(loops, n1, a, ld, n2, a12, ld);
    blas::syrk('U', 'T', n2, n1, -1.0, a12, ld, 1.0, a22, ld);
    const std::int32_t info = cholesky(loops, n2, a22, ld);
    return info == 0 ? 0 : n1 + info;
}

} // namespace

// Recursion after F. G. Gustavson, "Recursion leads to automatic variable blocking for dense linear-algebra
// algorithms", IBM J. Res. Dev. 41 (1997): nearly all the work is in large matrix products, which BLAS does
// well, and the small triangles, where it does not, go to our own loops.
std::int32_t mf_dense_cholesky(std::int32_t n, double* a, std::int32_t ld) noexcept {
    return cholesky(mf_vector_loops(), n, a, ld);
}

void mf_dense_solve(std::int32_t n, const double* u, std::int32_t ld, std::int32_t m, double* c,
                    std::int32_t ldc) noexcept {
    solve(mf_vector_loops(), n, u, ld, m, c, ldc);
}

} // namespace vyr
