// Small integers and powers of two make every intermediate exact: results are compared bit by bit.
#include "core/tuning.h"
#include "numeric/dense_cholesky.h"
#include "numeric/product_kernel.h"
#include "platform/blas_threads.h"
#include "support/matrices.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace vyr;
using namespace vyr::test;

namespace {

constexpr double GUARD = 12345.5;

/// n x m with a leading dimension of `pad` more, guards in between and behind.
struct Block {
    std::int32_t n, m, ld;
    std::vector<double> a;

    Block(std::int32_t rows, std::int32_t columns, std::int32_t pad)
        : n(rows), m(columns), ld(rows + pad), a(static_cast<std::size_t>(ld) * (columns + 1) + 8, GUARD) {}
    double& operator()(std::int32_t i, std::int32_t j) { return a[i + static_cast<std::size_t>(j) * ld]; }
};

/// x^T diag(d) y; of x^T diag(d) x only the upper triangle.
Block product(Block& x, const std::vector<double>& d, Block& y, std::int32_t pad) {
    Block c(x.m, y.m, pad);
    for (std::int32_t j = 0; j < y.m; ++j)
        for (std::int32_t i = 0; i < x.m && (&x != &y || i <= j); ++i) {
            c(i, j) = 0;
            for (std::int32_t k = 0; k < x.n; ++k)
                if (x(k, i) != GUARD && y(k, j) != GUARD) c(i, j) += d[k] * x(k, i) * y(k, j);
        }
    return c;
}

void check_kernels(const VectorLoops& loops, const ProductKernel& kernel, std::int32_t n, std::int32_t m,
                   Rng& rng) {
    SCOPED_TRACE(testing::Message() << n << " pivots, " << m << " columns");
    const auto between = [&](std::int32_t low, std::int32_t high) {
        return std::uniform_int_distribution(low, high)(rng);
    };
    const std::int32_t pad = between(0, 5), other_pad = between(0, 5);
    Block u(n, n, pad), x(n, m, other_pad);
    for (std::int32_t j = 0; j < n; ++j)
        for (std::int32_t i = 0; i <= j; ++i) u(i, j) = i == j ? 1 << between(0, 2) : between(-3, 3);
    for (std::int32_t j = 0; j < m; ++j)
        for (std::int32_t i = 0; i < n; ++i) x(i, j) = between(-9, 9);
    std::vector<double> d(n, 1.0);
    Block factored = product(u, d, u, pad), c = product(u, d, x, other_pad);
    ASSERT_EQ(mf_dense_cholesky(loops, kernel, n, factored.a.data(), u.ld, false), 0);
    ASSERT_EQ(factored.a, u.a);
    mf_dense_solve(loops, kernel, n, u.a.data(), u.ld, m, c.a.data(), x.ld);
    ASSERT_EQ(c.a, x.a);
    // Of pivots that are none the first one is named and stays in its place.
    const std::int32_t bad = between(0, n - 1);
    const double value = std::vector<double>{0.0, -1.0, -INFINITY, NAN}[between(0, 3)];
    for (std::int32_t i = 0; i < n; ++i) u(i, i) = 1;
    d[between(bad, n - 1)] = -1.0;
    d[bad] = std::isfinite(value) ? value : 1.0;
    factored = product(u, d, u, pad);
    if (!std::isfinite(value)) factored(bad, bad) = value;
    ASSERT_EQ(mf_dense_cholesky(loops, kernel, n, factored.a.data(), u.ld, false), bad + 1);
    ASSERT_TRUE(factored(bad, bad) == value || (std::isnan(value) && std::isnan(factored(bad, bad))));
}

/// An update of n pivots, formed, and subtracted where its rows come in runs and gaps, whole or a strip of
/// its columns; every other place of the target must stay as it is.
void check_product(const ProductKernel& kernel, std::int32_t n, std::int32_t m, Rng& rng) {
    SCOPED_TRACE(testing::Message() << n << " pivots, " << m << " rows");
    Block c(n, m, static_cast<std::int32_t>(rng() % 5));
    for (std::int32_t j = 0; j < m; ++j)
        for (std::int32_t i = 0; i < n; ++i) c(i, j) = static_cast<double>(rng() % 19) - 9;
    std::vector<double> packed(static_cast<std::size_t>(kernel.padded(m)) * n + 1, GUARD);
    kernel.pack(n, m, c.a.data(), c.ld, packed.data());
    EXPECT_EQ(packed.back(), GUARD);
    std::vector<double> formed(static_cast<std::size_t>(kernel.padded(m)) * m + 1, GUARD);
    kernel.form(n, m, packed.data(), c.a.data(), c.ld, formed.data());
    EXPECT_EQ(formed.back(), GUARD);
    std::vector<std::int32_t> rows{7}, places{0};
    const auto gap = [&] { return static_cast<std::int32_t>(rng() % 40 == 0 ? 1 + rng() % 3 : 1); };
    while (static_cast<std::int32_t>(rows.size()) < m) rows.push_back(rows.back() + gap());
    while (static_cast<std::int32_t>(places.size()) < m) places.push_back(places.back() + gap());
    Block target(rows.back() - 6, places.back() + 1, 3);
    Block expected = target;
    const auto begin = static_cast<std::int32_t>(rng() % m);
    Block dots = product(c, std::vector<double>(n, 1.0), c, 0);
    for (std::int32_t j = 0; j < m; ++j)
        for (std::int32_t i = 0; i <= j; ++i) {
            if (j >= begin) expected(rows[i] - 7, places[j]) -= dots(i, j);
            ASSERT_EQ(formed[i + static_cast<std::size_t>(kernel.padded(m)) * j], -dots(i, j));
        }
    kernel.subtract(Product{n, m, m - begin, packed.data(), &c(0, begin), c.ld, begin, target.a.data(),
                            target.ld, rows.data(), 7, places.data() + begin});
    ASSERT_EQ(target.a, expected.a);
}

} // namespace

TEST(DenseKernels, AreTheTextbookLoopsInEveryInstructionSetAlsoWhenOthersHelp) {
    const std::uint64_t seed = test_seed();
    for (int set = 0; set <= static_cast<int>(instruction_set()); ++set) {
        const VectorLoops& loops = mf_vector_loops(static_cast<InstructionSet>(set));
        const ProductKernel& kernel = mf_product_kernel(static_cast<InstructionSet>(set));
        EXPECT_TRUE(set == 0 || &loops != &mf_vector_loops(static_cast<InstructionSet>(set - 1)));
        Rng rng(seed);
        for (std::int32_t n = 1; n <= 80; ++n)
            for (const std::int32_t m : {n % 18, 18 + n % 78, n % 2 == 0 ? 96 : 130})
                check_kernels(loops, kernel, n, m, rng), check_product(kernel, n, m / 2 + 1, rng);
        check_product(kernel, 20, 350, rng);
        const blas::ThreadLimit one(1);
#pragma omp parallel num_threads(4)
#pragma omp master
        for (const std::int32_t n : {255, 256, 610}) check_kernels(loops, kernel, n, n == 256 ? 300 : 3, rng);
    }
}
