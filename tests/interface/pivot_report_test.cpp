// Which pivots VYR_pivot_ld shows and marks.
#include "support/session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>

using namespace vyr;
using namespace vyr::test;

namespace {

constexpr double NO = -DBL_MAX; ///< no pivot
using Pivots = std::vector<double>;
using Marks = std::vector<int>;

/// A handle with pivots given in pivot order; pivot k belongs to equation (2 k + 1) mod n, n odd.
struct Given {
    mf_solver solver{process_state().memory};
    Pivots pivots;
    Marks marks;

    Given(int status, double threshold, const Pivots& diagonal)
        : pivots(diagonal.size(), 99), marks(diagonal.size(), 99) {
        const auto n = static_cast<std::int32_t>(diagonal.size());
        solver.analysis.n = n;
        solver.analysis.perm = Buffer<std::int32_t>(process_state().memory, n);
        solver.factor.diag_values = Buffer<double>(process_state().memory, n);
        for (std::int32_t k = 0; k < n; ++k) {
            solver.analysis.perm[k] = (2 * k + 1) % n;
            solver.factor.diag_values[k] = diagonal[k];
        }
        solver.factor_status = static_cast<Status>(status);
        ctrl(CTRL_PIVOT_MIN) = threshold;
        EXPECT_EQ(VYR_pivot_ld(&solver, nullptr, marks.data()), 0);
        EXPECT_EQ(VYR_pivot_ld(&solver, pivots.data(), nullptr), 0);
        EXPECT_EQ(VYR_pivot_ld(nullptr, pivots.data(), marks.data()), 0);
        EXPECT_TRUE(pivots == Pivots(diagonal.size(), 99) && marks == Marks(diagonal.size(), 99));
        EXPECT_EQ(VYR_pivot_ld(&solver, pivots.data(), marks.data()), 0);
    }
};

} // namespace

TEST(PivotReport, ShowsPivotsInTheCallersOrderAndMarksThoseThatExplainTheStatus) {
    struct Row {
        int status;
        double threshold;
        Pivots diagonal;
        Marks marks;
    };
    const Row rows[] = {{0, 100, {1, -2, NO, 4, 5}, {-1, 0, 0, 0, 0}},
                        {-30, 100, {1, -2, NO, 4, 5}, {-1, 0, 0, 0, 0}},
                        {-35, 0, {0, -3, NO, 1e-300, 5}, {-1, 1, 0, 1, 0}},
                        {-35, 4, {3, 4, NO, 5, -9}, {-1, 1, 0, 1, 1}},
                        {-36, 9, {2, -0.5, NO, -7, 5}, {-1, 0, 1, 1, 0}},
                        {-36, 0, {1, -1, 2, 7, -7}, {0, 1, 1, 0, 0}}, // of equals the first equation
                        {-36, 0, {NO, 3, NO}, {1, -1, -1}},
                        {-36, 0, {0, 3, NO}, {1, 1, -1}},
                        {-36, 0, {NO, NO, NO}, {-1, -1, -1}},
                        {-36, 0, {NAN, 3, -2}, {1, 0, 1}},
                        {-36, 0, {0, 0, 0}, {1, 0, 0}}};
    for (const Row& row : rows) {
        const Given given(row.status, row.threshold, row.diagonal);
        EXPECT_EQ(given.marks, row.marks) << row.status << " " << row.diagonal[0];
        for (std::size_t k = 0, n = row.diagonal.size(); k < n && row.diagonal[0] == row.diagonal[0]; ++k)
            EXPECT_EQ(given.pivots[(2 * k + 1) % n], row.diagonal[k]);
    }
}

TEST(PivotReport, TheHandleKeepsTheStatusOfItsFactorizationWhateverIsCalledAfterwards) {
    const Csc spread = diagonal({4, 1e-10, 9, 1e-10, 1e20, 1}), falls = diagonal({4, -1, 9, 0, 2, 1});
    Session grown, small;
    grown.param[VYR_PARAM_GROWTH] = 1e6;
    EXPECT_EQ(small.factorize(falls), VYR_ERR_SMALL_PIVOT);
    EXPECT_EQ(grown.factorize(spread), VYR_ERR_GROWTH);
    ctrl(CTRL_REFINEMENT_LIMIT) = 2;
    for (Session* session : {&small, &grown}) {
        EXPECT_EQ(VYR_solve_ld(session->handle, nullptr, 5, nullptr, nullptr, nullptr, Pivots(6).data()), 0);
        EXPECT_EQ(info(INFO_STATUS), VYR_ERR_HANDLE);
    }
    Pivots pivots(6);
    Marks marks(6);
    VYR_pivot_ld(grown.handle, pivots.data(), marks.data());
    EXPECT_EQ(marks, (Marks{0, 1, 0, 0, 1, 0}));
    EXPECT_NEAR(pivots[4], 1e10, 1);
    EXPECT_EQ(pivots[0], 2);
    VYR_pivot_ld(small.handle, pivots.data(), marks.data());
    for (int i = 0; i < 6; ++i) EXPECT_EQ(marks[i], pivots[i] == NO ? -1 : falls.values[i] <= 0 ? 1 : 0) << i;
    EXPECT_GE(std::count(marks.begin(), marks.end(), 1), 1);
}
