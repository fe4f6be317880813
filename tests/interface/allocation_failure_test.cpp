// Every allocation of the whole sequence fails once: a status or null, nothing is lost, the next run
// succeeds.
#include "support/capture.h"
#include "support/session.h"

#include <gtest/gtest.h>
#include <omp.h>

using namespace vyr;
using namespace vyr::test;

namespace {

/// The whole sequence; false when some call reported a failure. What it hands out must then be left alone,
/// otherwise it must be right.
bool run(ExportFaults& faults, const Csc& a, const Csc& lower, int type, bool blocked, double scaling) {
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
    ctrl(CTRL_SCALING) = scaling;
    if (type == VYR_TYPE_INDEFINITE) ctrl(CTRL_TYPE) = type;
    if (const int status = session.numeric(a); status != 0) {
        EXPECT_TRUE(status == VYR_ERR_FACTOR_STORAGE || status == VYR_ERR_MEMORY) << status;
        faults.allocation.set(0);
        EXPECT_EQ(session.numeric(a), 0); // the handle is as good as before
        EXPECT_LE(solve_error(session, a, lower), 1e-14);
        return false;
    }
    bool good = true;
    for (const int limit : {1, 2})
        for (const int n_rhs : {0, 2}) {                                 // 0: the single solve
            if (type == VYR_TYPE_BOTH_TRIANGLES && limit == 2) continue; // its residual mirrors all entries
            ctrl(CTRL_REFINEMENT_LIMIT) = limit;
            const std::vector<double> b = random_vector(2 * a.n, 3);
            const std::vector<double> x = n_rhs == 0 ? session.solve(a, b) : session.solve_n(a, b, n_rhs);
            if (info(INFO_STATUS) != 0) {
                EXPECT_EQ(info(INFO_STATUS), VYR_ERR_MEMORY);
                EXPECT_EQ(x, b);
                set_info_status(Status::OK);
                good = false;
            } else {
                EXPECT_LE(backward_error(lower, x.data(), b.data()), 1e-14);
            }
        }
    return good;
}

/// Returns the number of allocations.
int sweep(const Csc& a, const Csc& lower, int type, bool blocked, int threads, bool every_later,
          double scaling = 0) {
    ExportFaults faults;
    TempDirectory directory; // failing analyses write reports
    omp_set_num_threads(threads);
    EXPECT_TRUE(run(faults, a, lower, type, blocked, scaling));
    const Accounting& memory = process_state().memory;
    const std::uint64_t held = memory.current;
    int k = 1, reported = 0;
    for (bool fired = true; fired && !testing::Test::HasFailure(); ++k) {
        SCOPED_TRACE("allocation " + std::to_string(k));
        faults.allocation.set(k, every_later);
        const bool good = run(faults, a, lower, type, blocked, scaling);
        fired = every_later ? !good : !faults.allocation.armed();
        faults.allocation.set(0);
        EXPECT_EQ(memory.current, held);
        EXPECT_EQ(memory.alloc_count, memory.free_count);
        EXPECT_TRUE(run(faults, a, lower, type, blocked, scaling));
        if (!good) ++reported;
    }
    EXPECT_GT(reported, 30);
    EXPECT_EQ(reported, k - 2); // no failure is swallowed
    return reported;
}

} // namespace

TEST(AllocationFailure, IsReportedOnceAndLosesNothingOverTheWholeSequence) {
    const Csc a = spd(60, grid_edges(10, 6)), dense = spd(40, dense_edges(40));
    sweep(a, a, VYR_TYPE_SPD, false, 2, false);
    sweep(a, a, VYR_TYPE_SPD, true, 3, true);
    sweep(both_triangles(dense), dense, VYR_TYPE_BOTH_TRIANGLES, true, 1, false);
    const int unscaled = sweep(a, a, VYR_TYPE_INDEFINITE, false, 1, false);
    EXPECT_EQ(sweep(a, a, VYR_TYPE_INDEFINITE, false, 1, false, 3), unscaled + 1); // the copy of the values
}
