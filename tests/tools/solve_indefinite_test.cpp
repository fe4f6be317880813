// `vyr solve --indefinite` below the command line.
#include "interface/process_state.h"
#include "support/capture.h"
#include "tools/vyr/generators.h"
#include "tools/vyr/norms.h"
#include "tools/vyr/refinement.h"
#include "tools/vyr/scoped_handle.h"
#include "tools/vyr/solve_report.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vyr::tool {
namespace {

TEST(SolveIndefinite, GivesTheKnownSolutionsOfShiftedAndSaddlePointMatrices) {
    for (const SparseMatrix& a : {shifted3d(2), shifted3d(12), kkt(2), kkt(25), poisson2d(7)}) {
        DenseMatrix x;
        const DenseMatrix b = known_right_hand_sides(a, 3);
        const SolveResult result = solve_indefinite(a, b, x, 2, false);
        ASSERT_TRUE(accepted(result)) << a.n << ": " << failure_sentence(result);
        EXPECT_EQ(result.backward_error, backward_error(a, x, b)) << "judged by the given matrix";
        EXPECT_LE(result.backward_error, 2 * GOOD_BACKWARD_ERROR);
        EXPECT_EQ(result.nnz, a.nnz());
        for (std::int32_t k = 0; k < 3; ++k)
            for (std::int32_t i = 0; i < a.n; ++i) ASSERT_NEAR(x.column(k)[i], 1 + i * k % 8 / 8.0, 1e-8);
    }
}

TEST(SolveIndefinite, SingularMatricesEndInAStatusWithASentence) {
    const SparseMatrix repeated_constraint{3, {0, 3, 3, 3}, {0, 1, 2}, {4, 1, 1}};
    const SparseMatrix dependent_rows{2, {0, 2, 3}, {0, 1, 1}, {1, 1, 1}};
    for (const SparseMatrix& a : {repeated_constraint, dependent_rows}) {
        DenseMatrix x;
        const SolveResult result = solve_indefinite(a, known_right_hand_sides(a, 1), x, 1, false);
        EXPECT_EQ(result.status, VYR_ERR_ILL_CONDITIONED);
        EXPECT_FALSE(accepted(result));
        EXPECT_TRUE(std::isnan(result.backward_error));
        EXPECT_EQ(failure_sentence(result).find("No pivot could be found"), 0U);
    }
}

TEST(SolveIndefinite, AnyFailedAllocationEndsInAStatusOrASolution) {
    const test::HookGuard guard;
    const test::TempDirectory directory;
    const SparseMatrix a = kkt(4);
    const std::uint64_t held = mem_current;
    for (int k = 1, failures = 1; failures > 0; ++k) {
        ASSERT_LT(k, 10000);
        mf_test_hooks.fail_allocation_at = k;
        DenseMatrix x;
        const SolveResult result = solve_indefinite(a, known_right_hand_sides(a, 2), x, 1, false);
        failures = mf_test_hooks.fail_allocation_at == 0;
        mf_test_hooks.fail_allocation_at = 0;
        ASSERT_EQ(accepted(result), result.status == VYR_OK) << "allocation " << k;
        ASSERT_EQ(mem_current, held) << "allocation " << k;
    }
}

/// Factorises `a` as positive definite and hands the handle to `use`.
template <typename Use>
void with_factor(const SparseMatrix& a, Use use) {
    double param[VYR_PARAM_COUNT] = {};
    ScopedHandle handle;
    ASSERT_EQ(VYR_init_ld(a.n, a.n, a.col_ptr.data(), a.row_ind.data(), nullptr, VYR_TYPE_SPD, param),
              VYR_OK);
    handle.h = VYR_symbol_ld(nullptr, a.n, a.col_ptr.data(), a.row_ind.data());
    ASSERT_NE(handle.h, nullptr);
    ASSERT_EQ(VYR_numeric_ld(nullptr, a.n, a.col_ptr.data(), a.row_ind.data(), a.values.data(), handle.h),
              VYR_OK);
    use(handle.h);
}

TEST(Refinement, RepairsWhatAFactorOfANearbyMatrixLeavesAndKeepsItsHandsOffTheRest) {
    const SparseMatrix a = poisson2d(9);
    const DenseMatrix b = known_right_hand_sides(a, 2);
    SparseMatrix nearby = a, far = a;
    for (std::int32_t j = 0; j < a.n; ++j) {
        nearby.values[static_cast<std::size_t>(a.col_ptr[j])] += 1e-4;
        far.values[static_cast<std::size_t>(a.col_ptr[j])] *= 1e-3;
    }
    with_factor(nearby, [&](VYR_handle h) {
        DenseMatrix x{a.n, 2, std::vector<double>(b.values.size(), 0.0)};
        EXPECT_GE(refine(a, h, b, x), 2);
        EXPECT_LE(backward_error(a, x, b), GOOD_BACKWARD_ERROR);
        EXPECT_EQ(refine(a, h, b, x), 0) << "good enough";
        // This factor's steps lead away from the solution.
        DenseMatrix y{a.n, 2, std::vector<double>(b.values.size(), 0.0)};
        EXPECT_EQ(refine(far, h, b, y), 0);
        EXPECT_EQ(y.values, std::vector<double>(b.values.size(), 0.0));
    });
}

} // namespace
} // namespace vyr::tool
