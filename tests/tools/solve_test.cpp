#include "interface/process_state.h"
#include "support/capture.h"
#include "tools/vyr/generators.h"
#include "tools/vyr/norms.h"
#include "tools/vyr/solve_report.h"
#include "tools/vyr/ticker.h"
#include "vyr.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <thread>

namespace vyr::tool {
namespace {

SolveResult solve_known(const SparseMatrix& a, std::int32_t n_rhs, DenseMatrix& x) {
    return solve(a, known_right_hand_sides(a, n_rhs), x, 1, false);
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(Solve, GivesTheKnownSolutionsAndCountsTheFactor) {
    const SparseMatrix a = elasticity3d(4);
    DenseMatrix x;
    const SolveResult result = solve_known(a, 3, x);
    EXPECT_TRUE(accepted(result)) << result.status;
    EXPECT_EQ(failure_sentence(result), "");
    EXPECT_LE(result.backward_error, 1e-14);
    for (std::int32_t k = 0; k < 3; ++k)
        for (std::int32_t i = 0; i < a.n; ++i) ASSERT_NEAR(x.column(k)[i], 1 + i * k % 8 / 8.0, 1e-9);
    // L holds at least the lower triangle of A and at most a full one.
    EXPECT_GE(result.nnz_factor, a.nnz());
    EXPECT_LE(result.nnz_factor, std::int64_t{a.n} * (a.n + 1) / 2);
    EXPECT_GT(result.flops, 1.0 * a.nnz());
    EXPECT_GT(result.peak_bytes, 8U * static_cast<std::uint64_t>(a.nnz()));
    EXPECT_TRUE(contains(result_table(result), "3 right-hand sides"));
}

TEST(Solve, AFullMatrixHasAFullTriangleAsItsFactor) {
    SparseMatrix a{3, {0, 3, 5, 6}, {0, 1, 2, 1, 2, 2}, {4, 1, 1, 4, 1, 4}};
    DenseMatrix x;
    EXPECT_EQ(solve_known(a, 1, x).nnz_factor, 6);
}

TEST(Solve, AMatrixThatIsNotPositiveDefiniteNamesItsEquation) {
    SparseMatrix a = poisson2d(6);
    a.values[static_cast<std::size_t>(a.col_ptr[16])] = -7.5; // equation 17, counted from 1
    DenseMatrix x;
    const SolveResult result = solve_known(a, 1, x);
    EXPECT_FALSE(accepted(result));
    EXPECT_EQ(result.failed_equation, 17);
    const std::string sentence = failure_sentence(result);
    EXPECT_TRUE(contains(sentence, "not positive definite: the pivot of equation 17 is -")) << sentence;
    EXPECT_TRUE(contains(result_json(result), "\"status\": -35")) << result_json(result);
    EXPECT_TRUE(contains(result_json(result), "\"backward_error\": null"));
}

TEST(Solve, RefusedMemorySaysHowMuchWasNeeded) {
    const test::HookGuard guard;
    const test::TempDirectory directory; // the library leaves a report of the failure there
    const platform::MemoryStatus tiny{1000, 1000, 1000};
    mf_test_hooks.memory_status = &tiny;
    DenseMatrix x;
    const SparseMatrix a{2, {0, 2, 3}, {0, 1, 1}, {4, 1, 4}};
    EXPECT_EQ(solve_known(a, 1, x).status, VYR_OK);
    const SolveResult result = solve_known(poisson3d(8), 1, x);
    EXPECT_EQ(result.status, VYR_ERR_FACTOR_STORAGE);
    EXPECT_GT(result.bytes_needed, 8.0 * poisson3d(8).nnz());
    EXPECT_TRUE(contains(failure_sentence(result), "MB was needed")) << failure_sentence(result);
}

TEST(Solve, AnyFailedAllocationEndsInAStatusOrASolution) {
    const test::HookGuard guard;
    const test::TempDirectory directory;
    const SparseMatrix a = poisson2d(5);
    const std::uint64_t held = mem_current;
    for (int k = 1, failures = 1; failures > 0; ++k) {
        ASSERT_LT(k, 10000);
        mf_test_hooks.fail_allocation_at = k;
        DenseMatrix x;
        const SolveResult result = solve_known(a, 2, x);
        failures = mf_test_hooks.fail_allocation_at == 0;
        mf_test_hooks.fail_allocation_at = 0;
        ASSERT_EQ(accepted(result), failure_sentence(result).empty());
        ASSERT_EQ(accepted(result), result.status == VYR_OK) << "allocation " << k;
        ASSERT_EQ(mem_current, held) << "allocation " << k;
    }
}

TEST(Ticker, ShowsThePhaseOnlyWhenEnabledAndWipesItsLine) {
    const auto run = [](bool enabled) {
        return test::output_of([=] {
            const Ticker ticker("factorise", enabled);
            std::this_thread::sleep_for(std::chrono::milliseconds(700));
        });
    };
    const std::string text = run(true);
    EXPECT_EQ(text.find("\r  factorise ... "), 0U) << text;
    EXPECT_EQ(text.back(), '\r');
    EXPECT_EQ(run(false), "");
}

#ifndef _WIN32
TEST(Terminal, IsToldFromAFile) {
    std::FILE* terminal = std::fopen("/dev/ptmx", "r+");
    std::FILE* file = std::fopen("/dev/null", "r");
    ASSERT_NE(terminal, nullptr);
    EXPECT_TRUE(platform::is_terminal(terminal));
    EXPECT_FALSE(platform::is_terminal(file));
    std::fclose(terminal);
    std::fclose(file);
}
#endif

TEST(BackwardError, WrongSolutionsAreNotAccepted) {
    const SparseMatrix a = poisson2d(3);
    const DenseMatrix b = known_right_hand_sides(a, 2);
    DenseMatrix x{9, 2, std::vector<double>(18, 1.0)};
    for (int i = 0; i < 9; ++i) x.column(1)[i] = 1 + i % 8 / 8.0;
    EXPECT_EQ(backward_error(a, x, b), 0);
    // One entry 1 too large: residual 4, |A| = 8, |x| = 2, |b| = 2.
    x.values[4] = 2;
    EXPECT_DOUBLE_EQ(backward_error(a, x, b), 4.0 / (8 * 2 + 2));
    x.values[4] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(std::isnan(backward_error(a, x, b)));
    x.values[4] = std::numeric_limits<double>::infinity();
    EXPECT_TRUE(std::isnan(backward_error(a, x, b)));

    SolveResult result;
    for (const double error : {2e-8, std::numeric_limits<double>::quiet_NaN()}) {
        result.backward_error = error;
        EXPECT_FALSE(accepted(result));
        EXPECT_TRUE(contains(failure_sentence(result), "too close to singular"));
    }
}

TEST(BackwardError, HugeEntriesDoNotOverflowIt) {
    const SparseMatrix a{2, {0, 1, 2}, {0, 1}, {1e308, 1e308}};
    const DenseMatrix b{2, 1, {1e308, 1e308}};
    EXPECT_DOUBLE_EQ(backward_error(a, {2, 1, {0.5, 1.0}}, b), 0.25);
}

} // namespace
} // namespace vyr::tool
