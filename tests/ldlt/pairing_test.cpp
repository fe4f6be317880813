#include "indefinite.h"
#include "paired.h"
#include "support/session.h"
#include "tools/vyr/generators.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

using namespace vyr;
using namespace vyr::test;

namespace {

/// The status of the factorization; `error` gets the backward error of a solve.
int solve_status(const Csc& a, bool keep_pairs_together, double& error) {
    Session session;
    session.param[VYR_PARAM_BLOCKED] = keep_pairs_together ? 1.0 : 0.0;
    EXPECT_EQ(session.init(a), VYR_OK);
    EXPECT_TRUE(session.symbol(a));
    EXPECT_EQ(session.init(a, VYR_TYPE_INDEFINITE), VYR_OK);
    const int status = session.numeric(a);
    if (status == VYR_OK) error = solve_error(session, a, a);
    return status;
}

/// Checks that `paired` is the same matrix in another order.
void expect_same_matrix(const Csc& a, const tool::PairedMatrix& paired) {
    std::vector<std::int32_t> sorted = paired.order;
    std::sort(sorted.begin(), sorted.end());
    for (std::int32_t k = 0; k < a.n; ++k) ASSERT_EQ(sorted[static_cast<std::size_t>(k)], k);
    const std::vector<double> x = random_vector(a.n, 11), y = multiply(a, x);
    std::vector<double> moved(x.size());
    for (std::size_t k = 0; k < x.size(); ++k) moved[k] = x[static_cast<std::size_t>(paired.order[k])];
    const std::vector<double> product = multiply(to_test(paired.matrix), moved);
    for (std::size_t k = 0; k < x.size(); ++k)
        EXPECT_NEAR(product[k], y[static_cast<std::size_t>(paired.order[k])], 1e-12);
}

} // namespace

TEST(PivotPairs, BringSaddlePointsAndZeroDiagonalsIntoReach) {
    Rng rng(test_seed());
    std::vector<Csc> matrices{to_test(tool::kkt(7)), to_test(tool::kkt(40))};
    for (const std::int32_t every : {2, 3, 10, 50}) matrices.push_back(saddle_point(30, 25, every, rng));
    for (const double weak : {0.1, 0.4})
        matrices.push_back(random_indefinite(500, random_edges(500, 2500, rng), weak, rng));
    std::vector<double> errors;
    int out_of_reach_alone = 0;
    for (const Csc& a : matrices) {
        const tool::PairedMatrix paired = tool::pair_weak_diagonals(to_tool(a));
        expect_same_matrix(a, paired);
        double error = 1.0;
        ASSERT_EQ(solve_status(to_test(paired.matrix), true, error), VYR_OK);
        EXPECT_LE(error, 1e-8);
        errors.push_back(error);
        out_of_reach_alone += solve_status(a, false, error) == VYR_ERR_ILL_CONDITIONED ? 1 : 0;
    }
    std::nth_element(errors.begin(), errors.begin() + 4, errors.end());
    EXPECT_LE(errors[4], 1e-13);
    EXPECT_EQ(out_of_reach_alone, 8) << "or these matrices prove nothing";
}

TEST(PivotPairs, GiveTiedEquationsOnePatternAndLeaveStrongMatricesAlone) {
    const Csc strong = shifted_laplacian(6, 6, 1, 0.5);
    const tool::PairedMatrix same = tool::pair_weak_diagonals(to_tool(strong));
    EXPECT_EQ(same.matrix.row_ind, strong.rowind);
    EXPECT_EQ(same.matrix.values, strong.values);
    EXPECT_EQ(same.order.front(), 0);
    EXPECT_EQ(same.order.back(), strong.n - 1);

    // A path 0 - 1 - 2 - 3 in which only 3 is weak: it comes first and shares the pattern of its neighbour 2.
    const Csc path = {4, {0, 2, 4, 6, 6}, {0, 1, 1, 2, 2, 3}, {5, 1, 5, 1, 5, 1}};
    const tool::PairedMatrix paired = tool::pair_weak_diagonals(to_tool(path));
    EXPECT_EQ(paired.order, (std::vector<std::int32_t>{3, 0, 1, 2}));
    EXPECT_EQ(paired.matrix.col_ptr, (std::vector<std::int32_t>{0, 3, 5, 7, 8}));
    EXPECT_EQ(paired.matrix.row_ind, (std::vector<std::int32_t>{0, 2, 3, 1, 2, 2, 3, 3}));
    EXPECT_EQ(paired.matrix.values, (std::vector<double>{0, 0, 1, 5, 1, 5, 1, 5}));

    // 1e-100 beside 1e230 scores 0 in double precision and is a partner all the same: led by the strong 2,
    // the weak 0 and 1 share one pattern.
    const Csc steep = {4, {0, 1, 2, 4, 5}, {1, 2, 2, 3, 3}, {1e-100, 1e230, 1e231, 1e230, 1e231}};
    EXPECT_EQ(tool::pair_weak_diagonals(to_tool(steep)).matrix.col_ptr,
              (std::vector<std::int32_t>{0, 4, 7, 9, 10}));
}
