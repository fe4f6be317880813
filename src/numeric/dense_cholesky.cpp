#include "numeric/dense_cholesky.h"

#include "core/strips.h"
#include "core/tuning.h"
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

/// A22 := A22 - A12^T A12, upper triangle.
void reduce(std::int32_t n1, std::int32_t n2, const double* a12, double* a22, std::int32_t ld,
            bool shared) noexcept {
    if (!shared) return blas::syrk('U', 'T', n2, n1, -1.0, a12, ld, 1.0, a22, ld);
    for_strips(n2, strip_width(n2, true), true, [=](std::int32_t begin, std::int32_t end) noexcept {
        const double* columns = a12 + std::int64_t{begin} * ld;
        double* target = a22 + std::int64_t{begin} * ld;
        if (begin > 0)
            blas::gemm('T', 'N', begin, end - begin, n1, -1.0, a12, ld, columns, ld, 1.0, target, ld);
        blas::syrk('U', 'T', end - begin, n1, -1.0, columns, ld, 1.0, target + begin, ld);
    });
}

std::int32_t cholesky(const VectorLoops& loops, std::int32_t n, double* a, std::int32_t ld,
                      bool may_share) noexcept {
    if (n <= tuning::BASE_PIVOTS) return loops.cholesky(n, a, ld);
    const std::int32_t n1 = half(n), n2 = n - n1;
    const bool shared = may_share && n >= tuning::SHARED_PIVOTS;
    double* a12 = a + std::int64_t{n1} * ld;
    double* a22 = a12 + n1;
    if (const std::int32_t info = cholesky(loops, n1, a, ld, shared); info != 0) return info;
    for_strips(n2, strip_width(n2, shared), shared, [&](std::int32_t begin, std::int32_t end) noexcept {
        solve(loops, n1, a, ld, end - begin, a12 + std::int64_t{begin} * ld, ld);
    });
    reduce(n1, n2, a12, a22, ld, shared);
    const std::int32_t info = cholesky(loops, n2, a22, ld, shared);
    return info == 0 ? 0 : n1 + info;
}

} // namespace

// Recursion after F. G. Gustavson, "Recursion leads to automatic variable blocking for dense linear-algebra
// algorithms", IBM J. Res. Dev. 41 (1997): nearly all the work is in large matrix products, which BLAS does
// well, and the small triangles, where it does not, go to our own loops.
std::int32_t mf_dense_cholesky(const VectorLoops& loops, std::int32_t n, double* a, std::int32_t ld,
                               bool shared) noexcept {
    return cholesky(loops, n, a, ld, shared);
}

void mf_dense_solve(const VectorLoops& loops, std::int32_t n, const double* u, std::int32_t ld,
                    std::int32_t m, double* c, std::int32_t ldc) noexcept {
    solve(loops, n, u, ld, m, c, ldc);
}

} // namespace vyr
