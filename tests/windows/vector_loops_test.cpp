// Every build of the vector loops that this processor can run, from stacks of every alignment Win64 allows.
#include "numeric/vector_loops.h"

#include "numeric/tuning.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <set>
#include <vector>

#include <malloc.h>

// What the compiler's run time found out about the processor; __builtin_cpu_supports reads it.
extern "C" struct { unsigned vendor, type, subtype, features; } __cpu_model;

namespace vyr::test {
namespace {

constexpr unsigned AVX2 = 1U << 10, AVX512F = 1U << 15;

/// Hides features of the processor while it lives.
class Without {
public:
    explicit Without(unsigned features) : before_(__cpu_model.features) { __cpu_model.features &= ~features; }
    ~Without() { __cpu_model.features = before_; }
    Without(const Without&) = delete;
    Without& operator=(const Without&) = delete;

private:
    unsigned before_;
};

/// Factor, solve and update of random blocks against the textbook loops.
[[gnu::noinline]] void check_block(const VectorLoops& loops, int n, int m, unsigned seed) {
    std::srand(seed);
    const auto value = [] { return std::rand() / double{RAND_MAX} - 0.5; };
    const auto at = [](std::vector<double>& a, int ld, int i, int j) -> double& {
        return a[static_cast<std::size_t>(i + j * ld)];
    };
    std::vector<double> a(static_cast<std::size_t>(n * n)), c(static_cast<std::size_t>(n * m));
    for (double& entry : a) entry = value();
    for (double& entry : c) entry = value();
    for (int i = 0; i < n; ++i) at(a, n, i, i) = n + 1;

    std::vector<double> u = a, x = c, w(static_cast<std::size_t>(m * m), 7.0);
    ASSERT_EQ(loops.cholesky(n, u.data(), n), 0);
    loops.solve(n, u.data(), n, m, x.data(), n);
    loops.update(n, m, x.data(), n, w.data(), m);

    const double tolerance = 1e-13 * n;
    for (int j = 0; j < n; ++j)
        for (int i = 0; i <= j; ++i) {
            double sum = 0;
            for (int k = 0; k <= i; ++k) sum += at(u, n, k, i) * at(u, n, k, j);
            ASSERT_NEAR(sum, at(a, n, i, j), tolerance * n) << n << " pivots, entry " << i << ", " << j;
        }
    for (int j = 0; j < m; ++j)
        for (int i = 0; i < n; ++i) {
            double sum = 0;
            for (int k = 0; k <= i; ++k) sum += at(u, n, k, i) * at(x, n, k, j);
            ASSERT_NEAR(sum, at(c, n, i, j), tolerance) << n << " pivots, column " << j;
        }
    for (int j = 0; j < m; ++j)
        for (int i = 0; i <= j; ++i) {
            double sum = 0;
            for (int k = 0; k < n; ++k) sum -= at(x, n, k, i) * at(x, n, k, j);
            ASSERT_NEAR(at(w, m, i, j), sum, tolerance) << m << " rows, entry " << i << ", " << j;
        }
}

/// The same with the stack moved down by a multiple of 16 bytes.
[[gnu::noinline]] void check_shifted(const VectorLoops& loops, int n, int m, int shift) {
    volatile char* room = static_cast<char*>(_alloca(static_cast<std::size_t>(16 * shift + 16)));
    room[0] = 1;
    check_block(loops, n, m, static_cast<unsigned>(n * 100 + m));
}

void check(const VectorLoops& loops) {
    for (int shift = 0; shift < 4; ++shift)
        for (const int n : {1, 2, 7, 8, 9, 16, 31, tuning::BASE_PIVOTS})
            for (const int m : {1, 5, 8, 33, tuning::SMALL_UPDATE_ROWS}) {
                check_shifted(loops, n, m, shift);
                if (testing::Test::HasFatalFailure()) return;
            }
}

} // namespace

TEST(VectorLoops, EveryInstructionSetOfTheProcessorIsRightFromEveryStack) {
    __builtin_cpu_init();
    std::set<const VectorLoops*> seen;
    const auto run = [&](unsigned hidden) {
        const Without features(hidden);
        check(mf_vector_loops());
        seen.insert(&mf_vector_loops());
    };
    const std::size_t expected =
        1U + (__builtin_cpu_supports("avx2") != 0) + (__builtin_cpu_supports("avx512f") != 0);
    run(0);
    run(AVX512F);
    run(AVX512F | AVX2);
    EXPECT_EQ(seen.size(), expected);
    std::cout << seen.size() << " builds of the loops were run\n";
}

} // namespace vyr::test
