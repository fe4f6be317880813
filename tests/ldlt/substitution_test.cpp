#include "fronts.h"
#include "interface/status.h"
#include "solve/solve_ldlt.h"
#include "support/capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

using namespace vyr;
using namespace vyr::test;

namespace {

/// Solves with a front without update rows, eliminated as the only node of a matrix.
std::vector<double> solve_front(const Front& front, std::vector<double> b, int type) {
    Eliminated f = eliminate(front, true, type == TYPE_CSYM);
    std::vector<std::int32_t> perm(b.size());
    std::iota(perm.rbegin(), perm.rend(), 0);
    std::reverse(b.begin(), b.end());
    f.node.factor_block = f.block.data();
    f.node.rows = f.rows.data();
    vyr::mf_solver solver{};
    solver.n = front.npiv;
    solver.n_snodes = 1;
    solver.snodes = &f.node;
    solver.perm = perm.data();
    solver.pivot_index = f.record.data();
    mf_ctrl[CTRL_TYPE] = type;
    EXPECT_EQ(mf_solve_ldlt(solver, b.data()), mf_test_hooks.fail_allocation_at == 1 ? VYR_ERR_MEMORY : 0);
    std::reverse(b.begin(), b.end());
    return b;
}

double residual(const Front& front, const std::vector<double>& x, const std::vector<double>& b) {
    double worst = 0.0, scale = 0.0;
    for (std::int32_t i = 0; i < front.npiv; ++i) {
        double r = -b[static_cast<std::size_t>(i)], magnitude = std::fabs(r);
        for (std::int32_t j = 0; j < front.npiv; ++j) {
            r += front.dense(i, j) * x[static_cast<std::size_t>(j)];
            magnitude += std::fabs(front.dense(i, j) * x[static_cast<std::size_t>(j)]);
        }
        worst = std::max(worst, std::fabs(r));
        scale = std::max(scale, magnitude);
    }
    return worst / scale;
}

} // namespace

TEST(LdltSubstitution, SolvesTheSmallReference) {
    Front front(2, 0);
    front.dense.set(0, 1, 1.0);
    for (const int type : {TYPE_LDLT, TYPE_CSYM})
        EXPECT_EQ(solve_front(front, {1.0, 2.0}, type), (std::vector<double>{2.0, 1.0}));
}

TEST(LdltSubstitution, ReplaysInterchangesAndPairsInBothBackwardForms) {
    Rng rng(test_seed());
    for (const std::int32_t npiv : {1, 5, 30, 100})
        for (const double weak : {0.0, 0.3, 1.0}) {
            if (npiv == 1 && weak > 0.0) continue;
            const Front front = random_front(npiv, 0, weak, rng);
            const std::vector<double> b = random_vector(npiv, rng());
            const std::vector<double> loops = solve_front(front, b, TYPE_LDLT),
                                      calls = solve_front(front, b, TYPE_CSYM);
            EXPECT_LE(residual(front, loops, b), 1e-10) << npiv << " " << weak;
            EXPECT_LE(residual(front, calls, b), 1e-10) << npiv << " " << weak;
        }
}

TEST(LdltSubstitution, BlockSolvePassesOverNegativeEntriesAndRefusesEmptyBlocks) {
    // D = (2, 4, 8), L^T = [1 3 5; 1 7; 1].
    const double a[9] = {2, 0, 0, 3, 4, 0, 5, 7, 8};
    const std::int32_t record[3] = {0, -1, 2};
    double v[3] = {1, 2, 13}, z[3] = {-9, -9, -9};
    EXPECT_EQ(mf_ldlt_block_solve('L', 3, a, 3, record, v, z), 0);
    EXPECT_EQ((std::vector<double>(v, v + 3)), (std::vector<double>{0.5, -1, 1}));
    EXPECT_EQ((std::vector<double>(z, z + 3)), (std::vector<double>{1, -9, 8}));
    EXPECT_EQ(mf_ldlt_block_solve('U', 3, a, 3, record, v, nullptr), 0);
    EXPECT_EQ((std::vector<double>(v, v + 3)), (std::vector<double>{-1.5, -1, 1}));
    EXPECT_EQ(mf_ldlt_block_solve('L', 0, a, 3, record, v, z), -1);
    double dot = 0.0;
    mf_dot(3, a, 3, a, 4, &dot, 0);
    EXPECT_EQ(dot, 2.0 * 2 + 3.0 * 4 + 5.0 * 8);
}

TEST(LdltSubstitution, LeavesTheVectorAloneWithoutMemory) {
    HookGuard guard;
    Front front(2, 0);
    front.dense.set(0, 1, 1.0);
    mf_test_hooks.fail_allocation_at = 1;
    EXPECT_EQ(solve_front(front, {1.0, 2.0}, TYPE_LDLT), (std::vector<double>{1.0, 2.0}));
    EXPECT_EQ(info_status(), VYR_ERR_MEMORY);
}
