#include "numeric/dense_cholesky.h"

#include "core/strips.h"
#include "core/tuning.h"

#include <algorithm>
#include <array>

namespace vyr {

namespace {

/// Rows and depth of the left operand that a product packs at a time, 72 KiB of the stack, and its columns.
constexpr std::int32_t PACKED_ROWS = 72, PACKED_DEPTH = 128, MOST_COLUMNS = 256;

constexpr auto FROM_ZERO = [] {
    std::array<std::int32_t, MOST_COLUMNS> numbers{};
    for (std::int32_t k = 0; k < MOST_COLUMNS; ++k) numbers[k] = k;
    return numbers;
}();

/// Splits n in two with the first part a multiple of the vectors.
std::int32_t half(std::int32_t n) noexcept {
    constexpr std::int32_t MOST_LANES = 8;
    return (n / 2 + MOST_LANES - 1) / MOST_LANES * MOST_LANES;
}

/// A block that lies as BLAS would have it.
template <typename Number>
struct Matrix {
    Number* at;
    std::int64_t ld;
    Number* operator()(std::int32_t i, std::int32_t j) const noexcept { return at + i + j * ld; }
};

/// C := C - A^T B, of column j of C the rows 0 .. first_limit + j at most. A has n_rows columns, B and C have
/// n_columns.
void subtract_product(const ProductKernel& kernel, std::int32_t depth, std::int32_t n_rows,
                      std::int32_t n_columns, Matrix<const double> a, Matrix<const double> b,
                      std::int32_t first_limit, Matrix<double> c) noexcept {
    alignas(64) double packed[PACKED_ROWS * PACKED_DEPTH];
    Product product{};
    product.left = packed;
    product.ld_right = b.ld;
    product.ld_target = c.ld;
    product.rows = product.places = FROM_ZERO.data();
    for (std::int32_t k0 = 0; k0 < depth; k0 += PACKED_DEPTH)
        for (std::int32_t i0 = 0; i0 < n_rows; i0 += PACKED_ROWS) {
            product.depth = std::min(PACKED_DEPTH, depth - k0);
            product.n_rows = std::min(PACKED_ROWS, n_rows - i0);
            kernel.pack(product.depth, product.n_rows, a(k0, i0), a.ld, packed);
            for (std::int32_t j0 = 0; j0 < n_columns; j0 += MOST_COLUMNS) {
                product.n_columns = std::min(MOST_COLUMNS, n_columns - j0);
                product.first_limit = first_limit + j0 - i0;
                product.right = b(k0, j0);
                product.target = c(i0, j0);
                kernel.subtract(product);
            }
        }
}

void solve(const VectorLoops& loops, const ProductKernel& kernel, std::int32_t n, const double* u,
           std::int32_t ld, std::int32_t m, double* c, std::int32_t ldc) noexcept {
    if (n <= tuning::BASE_PIVOTS) {
        loops.solve(n, u, ld, m, c, ldc);
        return;
    }
    const std::int32_t n1 = half(n), n2 = n - n1;
    const double* u12 = u + std::int64_t{n1} * ld;
    solve(loops, kernel, n1, u, ld, m, c, ldc);
    subtract_product(kernel, n1, n2, m, {u12, ld}, {c, ldc}, n2, {c + n1, ldc});
    solve(loops, kernel, n2, u12 + n1, ld, m, c + n1, ldc);
}

/// A22 := A22 - A12^T A12, upper triangle.
void reduce(const ProductKernel& kernel, std::int32_t n1, std::int32_t n2, const double* a12, double* a22,
            std::int32_t ld, bool shared) noexcept {
    for_strips(n2, strip_width(n2, shared), shared,
               [=, &kernel](std::int32_t begin, std::int32_t end) noexcept {
                   const std::int64_t offset = std::int64_t{begin} * ld;
                   subtract_product(kernel, n1, end, end - begin, {a12, ld}, {a12 + offset, ld}, begin,
                                    {a22 + offset, ld});
               });
}

std::int32_t cholesky(const VectorLoops& loops, const ProductKernel& kernel, std::int32_t n, double* a,
                      std::int32_t ld, bool may_share) noexcept {
    if (n <= tuning::BASE_PIVOTS) return loops.cholesky(n, a, ld);
    const std::int32_t n1 = half(n), n2 = n - n1;
    const bool shared = may_share && n >= tuning::SHARED_PIVOTS;
    double* a12 = a + std::int64_t{n1} * ld;
    double* a22 = a12 + n1;
    if (const std::int32_t info = cholesky(loops, kernel, n1, a, ld, shared); info != 0) return info;
    for_strips(n2, strip_width(n2, shared), shared, [&](std::int32_t begin, std::int32_t end) noexcept {
        solve(loops, kernel, n1, a, ld, end - begin, a12 + std::int64_t{begin} * ld, ld);
    });
    reduce(kernel, n1, n2, a12, a22, ld, shared);
    const std::int32_t info = cholesky(loops, kernel, n2, a22, ld, shared);
    return info == 0 ? 0 : n1 + info;
}

} // namespace

// Recursion after F. G. Gustavson, "Recursion leads to automatic variable blocking for dense linear-algebra
// algorithms", IBM J. Res. Dev. 41 (1997): nearly all the work is in large matrix products, which the update
// kernel does, and the small triangles go to loops of their own.
std::int32_t mf_dense_cholesky(const VectorLoops& loops, const ProductKernel& kernel, std::int32_t n,
                               double* a, std::int32_t ld, bool shared) noexcept {
    return cholesky(loops, kernel, n, a, ld, shared);
}

void mf_dense_solve(const VectorLoops& loops, const ProductKernel& kernel, std::int32_t n, const double* u,
                    std::int32_t ld, std::int32_t m, double* c, std::int32_t ldc) noexcept {
    solve(loops, kernel, n, u, ld, m, c, ldc);
}

} // namespace vyr
