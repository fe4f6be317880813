// Every allocation of the whole sequence fails once: a status or null, nothing leaks, the next run succeeds.
#include "support/capture.h"
#include "support/session.h"

#include <gtest/gtest.h>
#include <omp.h>

using namespace vyr;
using namespace vyr::test;

namespace {

/// The whole sequence; false when some call reported a failure. What it hands out must then be left alone,
/// otherwise it must be right.
bool run(const Csc& a, const Csc& lower, int type, bool blocked) {
    Session session;
    session.param[VYR_PARAM_BLOCKED] = blocked;
    if (const int status = session.init(a, type); status != 0) {
        EXPECT_EQ(status, VYR_ERR_MEMORY);
        return false;
    }
    if (!session.symbol(a)) {
        const int status = to_int(session.param[VYR_PARAM_STATUS]);
        EXPECT_TRUE(status == VYR_ERR_FACTOR_STORAGE || status == 0) << status; // 0: the very first arrays
        return false;
    }
    if (const int status = session.numeric(a); status != 0) {
        EXPECT_TRUE(status == VYR_ERR_FACTOR_STORAGE || status == VYR_ERR_MEMORY) << status;
        HookGuard::reset();
        EXPECT_EQ(session.numeric(a), 0); // the handle is as good as before
        EXPECT_LE(solve_error(session, a, lower), 1e-14);
        return false;
    }
    bool good = true;
    const auto check = [&](const std::vector<double>& x, const std::vector<double>& b, const char* what) {
        if (info_status() != 0) {
            EXPECT_EQ(info_status(), VYR_ERR_MEMORY) << what;
            EXPECT_EQ(x, b) << what;
            set_info_status(0);
            good = false;
        } else {
            EXPECT_LE(backward_error(lower, x.data(), b.data()), 1e-14) << what;
        }
    };
    const std::vector<double> b = random_vector(a.n, 3);
    check(session.solve(a, b), b, "solve");
    const std::vector<double> two = session.solve_n(
        a,
        [&] {
            std::vector<double> block = b;
            block.insert(block.end(), b.begin(), b.end());
            return block;
        }(),
        2);
    check({two.begin() + a.n, two.end()}, b, "solve of two");
    mf_ctrl[CTRL_REFINEMENT_LIMIT] = 2;
    if (type == VYR_TYPE_SPD) check(session.solve(a, b), b, "refined solve");
    return good;
}

void sweep(const Csc& a, const Csc& lower, int type, bool blocked, bool every_later) {
    HookGuard hooks;
    TempDirectory directory; // failing analyses write reports
    ASSERT_TRUE(run(a, lower, type, blocked));
    std::int64_t k = 1;
    int reported = 0;
    for (;; ++k) {
        SCOPED_TRACE("allocation " + std::to_string(k));
        ASSERT_LT(k, 2000);
        const std::uint64_t held = mem_current;
        mf_test_hooks.fail_every_later_allocation = every_later;
        mf_test_hooks.fail_allocation_at = k;
        const bool good = run(a, lower, type, blocked);
        const bool fired = every_later ? !good : mf_test_hooks.fail_allocation_at == 0;
        HookGuard::reset();
        EXPECT_EQ(mem_current, held);
        EXPECT_EQ(alloc_count, free_count);
        EXPECT_TRUE(run(a, lower, type, blocked));
        if (testing::Test::HasFailure() || !fired) break;
        if (!good) ++reported;
    }
    EXPECT_GT(reported, 30);
    EXPECT_EQ(reported, k - 1); // no failure is swallowed
}

} // namespace

TEST(AllocationFailure, EveryCallInTurnOverTheWholeSequence) {
    const Csc a = spd(60, grid_edges(10, 6));
    omp_set_num_threads(2);
    sweep(a, a, VYR_TYPE_SPD, false, false);
    sweep(a, a, VYR_TYPE_SPD, true, false);
}

TEST(AllocationFailure, EveryCallFromOneOnOverTheWholeSequence) {
    const Csc a = spd(60, grid_edges(10, 6));
    omp_set_num_threads(3);
    sweep(a, a, VYR_TYPE_SPD, false, true);
}

TEST(AllocationFailure, EveryCallInTurnForBothTriangleInputAndCompression) {
    const Csc lower = spd(40, dense_edges(40));
    omp_set_num_threads(1);
    sweep(both_triangles(lower), lower, VYR_TYPE_BOTH_TRIANGLES, true, false);
}
