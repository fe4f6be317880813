#include "interface/handle.h"
#include "interface/process_state.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <limits>
#include <vector>

namespace vyr::test {

namespace {

constexpr double NO_PIVOT = -DBL_MAX;
using Marks = std::vector<int>;

/// The report on pivots given in pivot order; pivot k belongs to equation (2 k + 1) mod n, n odd.
struct Report {
    std::vector<double> pivots;
    Marks marks;

    Report(int status, double threshold, std::vector<double> diagonal) {
        const auto n = static_cast<std::int32_t>(diagonal.size());
        std::vector<std::int32_t> perm;
        for (std::int32_t k = 0; k < n; ++k) perm.push_back((2 * k + 1) % n);
        mf_solver solver{};
        solver.n = n;
        solver.perm = perm.data();
        solver.diag_values = diagonal.data();
        mf_info[INFO_STATUS] = status;
        mf_ctrl[CTRL_PIVOT_MIN] = threshold;
        pivots.assign(diagonal.size(), 99.0);
        marks.assign(diagonal.size(), 99);
        EXPECT_EQ(VYR_pivot_ld(to_handle(&solver), pivots.data(), marks.data()), 0);
        mf_info[INFO_STATUS] = mf_ctrl[CTRL_PIVOT_MIN] = 0.0;
    }
};

} // namespace

TEST(PivotReport, ReturnsPivotsInTheCallersOrderAndMarksTheMissing) {
    for (const int status : {int{VYR_OK}, int{VYR_ERR_NOT_SPD}}) {
        const Report report(status, 100.0, {1.0, -2.0, NO_PIVOT, 4.0, 5.0});
        EXPECT_EQ(report.pivots, (std::vector<double>{NO_PIVOT, 1.0, 4.0, -2.0, 5.0}));
        EXPECT_EQ(report.marks, (Marks{-1, 0, 0, 0, 0}));
    }
}

TEST(PivotReport, MarksEveryPivotNotAboveTheThresholdAfterASmallPivot) {
    EXPECT_EQ(Report(VYR_ERR_SMALL_PIVOT, 0.0, {0.0, -3.0, NO_PIVOT, 1e-300, 5.0}).marks,
              (Marks{-1, 1, 0, 1, 0}));
    EXPECT_EQ(Report(VYR_ERR_SMALL_PIVOT, 4.0, {3.0, 4.0, NO_PIVOT, 5.0, -9.0}).marks,
              (Marks{-1, 1, 0, 1, 1}));
}

TEST(PivotReport, MarksTheExtremeMagnitudesAfterExcessiveGrowth) {
    EXPECT_EQ(Report(VYR_ERR_GROWTH, 9.0, {2.0, -0.5, NO_PIVOT, -7.0, 5.0}).marks, (Marks{-1, 0, 1, 1, 0}));
    // Of equal magnitudes the first equation is named: 1 and 3 are smallest, 2 and 4 are largest.
    EXPECT_EQ(Report(VYR_ERR_GROWTH, 0.0, {1.0, -1.0, 2.0, 7.0, -7.0}).marks, (Marks{0, 1, 1, 0, 0}));
    EXPECT_EQ(Report(VYR_ERR_GROWTH, 0.0, {NO_PIVOT, 3.0, NO_PIVOT}).marks, (Marks{1, -1, -1}));
}

TEST(PivotReport, MarksNothingWhereNoPivotCanBeCompared) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(Report(VYR_ERR_GROWTH, 0.0, {NO_PIVOT, NO_PIVOT, NO_PIVOT}).marks, (Marks{-1, -1, -1}));
    EXPECT_EQ(Report(VYR_ERR_GROWTH, 0.0, {nan, 3.0, -2.0}).marks, (Marks{1, 0, 1}));
}

TEST(PivotReport, LeavesTheCallersArraysAloneWithoutAllItsArguments) {
    std::int32_t perm[] = {0};
    mf_solver solver{};
    solver.n = 1;
    solver.perm = perm;
    double pivot = 9.0;
    int mark = 9;
    EXPECT_EQ(VYR_pivot_ld(nullptr, &pivot, &mark), 0);
    EXPECT_EQ(VYR_pivot_ld(to_handle(&solver), nullptr, &mark), 0);
    EXPECT_EQ(VYR_pivot_ld(to_handle(&solver), &pivot, nullptr), 0);
    EXPECT_EQ(pivot, 9.0);
    EXPECT_EQ(mark, 9);
    EXPECT_EQ(VYR_pivot_ld(to_handle(&solver), &pivot, &mark), 0) << "before the first factorization";
    EXPECT_EQ(pivot, NO_PIVOT);
    EXPECT_EQ(mark, -1);
}

} // namespace vyr::test
