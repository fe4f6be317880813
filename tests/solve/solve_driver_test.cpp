// The solve drivers: blocks of right-hand sides, scaling, refinement and its stopping rules.
#include "memory/buffer.h"
#include "solve/full_storage.h"
#include "support/capture.h"
#include "support/session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>

using namespace vyr;
using namespace vyr::test;

namespace {

constexpr double ERROR_BAR = 1e-14;

/// A factorised diagonal matrix, and solves with another one, so that refinement has something to do.
class Refinement : public ::testing::Test {
protected:
    Session session;
    Csc factored = diagonal({1, 4, 16});
    Csc given = factored;
    std::vector<double> b = {1, -12, 32};
    std::vector<double> direct = {1, -3, 2}; // b / factored

    void SetUp() override {
        ASSERT_EQ(session.factorize(factored), 0);
        mf_ctrl[CTRL_FLAGS] = 1;
        mf_ctrl[CTRL_REFINEMENT_LIMIT] = 2;
    }
    void TearDown() override { mf_ctrl[CTRL_FLAGS] = 0; }

    void scale_given(double factor) {
        for (double& value : given.values) value *= factor;
    }
    /// Solves with `given`, compares with direct * factor and returns what was printed.
    std::string expect_solution(double factor) {
        std::vector<double> x;
        const std::string text = output_of([&] { x = session.solve(given, b); });
        for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(x[i], factor * direct[i], 1e-14) << "entry " << i;
        return text;
    }
};

} // namespace

TEST(Solve, BlocksOfRightHandSidesAgreeWithSingleOnes) {
    const Csc a = spd(25 * 20, grid_edges(25, 20));
    Session session;
    ASSERT_EQ(session.factorize(a), 0);
    for (const int n_rhs : {1, 2, 7, 64}) {
        std::vector<double> block = random_vector(a.n * n_rhs, 11);
        const std::vector<double> original = block;
        block.push_back(1234.5);
        block = session.solve_n(a, block, n_rhs);
        EXPECT_EQ(block.back(), 1234.5);
        for (int k = 0; k < n_rhs; ++k) {
            const auto* b = original.data() + k * a.n;
            EXPECT_LE(backward_error(a, block.data() + k * a.n, b), ERROR_BAR) << "column " << k;
            const std::vector<double> single = session.solve(a, {b, b + a.n});
            for (int i = 0; i < a.n; ++i) ASSERT_NEAR(block[k * a.n + i], single[i], 1e-12);
        }
    }
    const std::vector<double> b = random_vector(a.n, 2);
    EXPECT_EQ(session.solve_n(a, b, 0), b);
    EXPECT_EQ(session.solve_n(a, b, -3), b);
}

TEST(Solve, TypesWithoutASubstitutionLeaveTheRightHandSide) {
    const Csc a = spd(10, band_edges(10, 1));
    Session session;
    ASSERT_EQ(session.factorize(a), 0);
    const std::vector<double> b = random_vector(10, 2);
    for (const int type : {14, 2, 99}) {
        mf_ctrl[CTRL_TYPE] = type;
        const std::uint64_t held = mem_current;
        EXPECT_EQ(session.solve(a, b), b) << type;
        EXPECT_EQ(session.solve_n(a, b, 1), b) << type;
        EXPECT_EQ(mem_current, held);
    }
    mf_ctrl[CTRL_TYPE] = TYPE_SPD;
    EXPECT_LE(solve_error(session, a, a), ERROR_BAR);
}

TEST(Solve, WithoutMemoryTheRightHandSideStaysAndTheStatusTells) {
    HookGuard hooks;
    const Csc a = spd(10, band_edges(10, 1));
    Session session;
    ASSERT_EQ(session.factorize(a), 0);
    const std::vector<double> b = random_vector(20, 2);
    for (const int limit : {1, 2})
        for (const int n_rhs : {1, 2}) {
            mf_ctrl[CTRL_REFINEMENT_LIMIT] = limit;
            set_info_status(0);
            mf_test_hooks.fail_allocation_at = 1;
            EXPECT_EQ(n_rhs == 1 ? session.solve(a, b) : session.solve_n(a, b, 2), b);
            EXPECT_EQ(mf_test_hooks.fail_allocation_at, 0);
            EXPECT_EQ(info_status(), VYR_ERR_MEMORY);
        }
}

TEST_F(Refinement, LimitOneSolvesOnceAndTouchesNothingElse) {
    scale_given(1.05);
    for (const int limit : {1, 0, -4}) {
        mf_ctrl[CTRL_REFINEMENT_LIMIT] = limit;
        mf_info[INFO_CONDITION] = 321;
        EXPECT_EQ(expect_solution(1), "");
        EXPECT_EQ(mf_info[INFO_CONDITION], 321);
    }
}

TEST_F(Refinement, AnExactSolutionStopsAfterTheFirstPass) {
    EXPECT_EQ(expect_solution(1), "\r\n\t\tcond=0,iter=1,w_0=0");
    EXPECT_EQ(mf_info[INFO_CONDITION], 0);
    mf_ctrl[CTRL_FLAGS] = 0x100;
    EXPECT_EQ(expect_solution(1), "");
}

TEST_F(Refinement, StepsAreAcceptedWhileTheResidualFallsTenfoldUpToTheLimit) {
    scale_given(1.05); // each step multiplies the residual by -0.05
    const std::string text = expect_solution(0.95);
    const double condition = 0.05 * 32 / 3 * 4503599627370496.0;
    EXPECT_NEAR(mf_info[INFO_CONDITION], condition, 1e-9 * condition);
    char expected[100];
    std::snprintf(expected, sizeof expected, "\r\n\t\tcond=%g,iter=2,w_0=0.05", condition);
    EXPECT_EQ(text, expected);
    mf_ctrl[CTRL_REFINEMENT_LIMIT] = 3;
    EXPECT_NE(expect_solution(0.9525).find("iter=3,"), std::string::npos);
    mf_ctrl[CTRL_REFINEMENT_LIMIT] = 100;
    const std::string all = expect_solution(1 / 1.05);
    EXPECT_EQ(all.find("iter=100"), std::string::npos);
}

TEST_F(Refinement, AStepThatHelpsLessThanTenfoldIsTakenBack) {
    scale_given(1.2); // the residual falls by a factor of five
    EXPECT_NE(expect_solution(1).find("iter=1,w_0=0.2"), std::string::npos);
}

TEST_F(Refinement, ARuinousFirstPassLeavesZeros) {
    given.values[0] = 1e308;
    b = {0.5, 0.5, 1.0};
    EXPECT_NE(expect_solution(0).find("iter=0,"), std::string::npos);
}

TEST_F(Refinement, RowsWithAZeroRightHandSideDoNotCount) {
    b = {0, -12, 32};
    direct = {0, -3, 2};
    factored = spd(3, {{1, 0}});
    factored.values = {1, 0, 4, 16};
    ASSERT_EQ(session.factorize(factored), 0);
    mf_ctrl[CTRL_FLAGS] = 1;
    mf_ctrl[CTRL_REFINEMENT_LIMIT] = 2;
    given = factored;
    given.values[1] = 0.5; // the residual of row 0 only, whose right-hand side is 0
    EXPECT_NE(expect_solution(1).find("iter=1,w_0=0"), std::string::npos);
    b = {0, 0, 0};
    EXPECT_NE(expect_solution(0).find("iter=1,w_0=0"), std::string::npos);
}

TEST_F(Refinement, TheUnstoredTriangleCountsInTheResidual) {
    const Csc a = spd(40, grid_edges(8, 5));
    ASSERT_EQ(session.factorize(a), 0);
    for (const int limit : {2, 10}) {
        mf_ctrl[CTRL_REFINEMENT_LIMIT] = limit;
        EXPECT_LE(solve_error(session, a, a), 1e-15);
    }
    EXPECT_LT(mf_info[INFO_CONDITION], 100);
}

TEST_F(Refinement, ScalingDividesBeforeAndAfterEveryPass) {
    const double rhs[] = {2, 4, 8}, sol[] = {64, 0.5, 0.25};
    mf_scale_rhs = mf_array<double>(3);
    mf_scale_sol = mf_array<double>(3);
    std::copy_n(rhs, 3, mf_scale_rhs);
    std::copy_n(sol, 3, mf_scale_sol);
    for (const int mode : {0, 1, 2, 3, 4}) {
        mf_ctrl[CTRL_SCALING] = mode;
        for (std::size_t i = 0; i < 3; ++i) {
            const double scale =
                (mode == 1 || mode == 3 ? rhs[i] : 1) * (mode == 2 || mode == 3 ? sol[i] : 1);
            direct[i] = b[i] / factored.values[i] / scale;
            given.values[i] = 1.05 * factored.values[i] * scale;
        }
        mf_ctrl[CTRL_REFINEMENT_LIMIT] = 1;
        expect_solution(1);
        mf_ctrl[CTRL_REFINEMENT_LIMIT] = 2;
        expect_solution(0.95);
    }
    const std::uint64_t held = mem_current;
    session.clear();
    EXPECT_EQ(mf_scale_rhs, nullptr);
    EXPECT_EQ(mf_scale_sol, nullptr);
    EXPECT_LT(mem_current, held);
}

TEST_F(Refinement, OfABlockOnlyTheFirstColumnIsRefined) {
    scale_given(1.05);
    mf_ctrl[CTRL_FLAGS] = 0;
    const std::vector<double> x = session.solve_n(given, {1, -12, 32, 7, 7, 7}, 2);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(x[i], 0.95 * direct[i], 1e-14);
        EXPECT_EQ(x[3 + i], 7);
    }
}

TEST(FullStorage, ExpandsEitherTriangleAndAddsMissingDiagonals) {
    // [. 2 3; 2 5 .; 3 . 7], the first diagonal entry not stored
    const std::vector<std::int32_t> lower_ptr = {0, 2, 3, 4}, lower_rows = {1, 2, 1, 2};
    const std::vector<std::int32_t> upper_ptr = {0, 0, 2, 4}, upper_rows = {0, 1, 0, 2};
    const double lower[] = {2, 3, 5, 7}, upper[] = {2, 5, 3, 7};
    const std::uint64_t held = mem_current;
    for (const bool is_lower : {true, false}) {
        FullStorage full;
        ASSERT_TRUE(mf_sym_expand(3, (is_lower ? lower_ptr : upper_ptr).data(),
                                  (is_lower ? lower_rows : upper_rows).data(), is_lower ? lower : upper,
                                  full));
        std::vector<double> dense(9, -1);
        for (std::int32_t j = 0; j < 3; ++j)
            for (std::int32_t k = full.col_ptr[j]; k < full.col_ptr[j + 1]; ++k) {
                EXPECT_TRUE(!is_lower || k == full.col_ptr[j] || full.row_ind[k] > full.row_ind[k - 1]);
                EXPECT_EQ(std::exchange(dense[full.row_ind[k] + 3 * j], full.values[k]), -1);
            }
        EXPECT_EQ(dense, (std::vector<double>{0, 2, 3, 2, 5, -1, 3, -1, 7}));
    }
    EXPECT_EQ(mem_current, held);
}
