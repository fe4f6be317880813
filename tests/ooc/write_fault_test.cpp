// Everything that can go wrong while the factor is written: no factor is lost silently.
#include "memory/factor_files.h"
#include "ooc_run.h"
#include "support/capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#ifndef _WIN32
#include <sys/resource.h>
#endif

using namespace vyr;
using namespace vyr::test;
namespace fs = std::filesystem;

namespace {

/// Every file call of a factorization fails once, alone or with all that follow. There is memory enough, so
/// the factorization must go on in it and the solution must be right.
void sweep_file_calls(const Csc& a, const Road& road, bool every_later, std::int64_t step) {
    const TempDirectory directory;
    const HookGuard hooks;
    const std::vector<double> expected = in_core_solution(a, road.type);
    Session session;
    analyse(session, a, road);
    for (std::int64_t k = 1;; k += step) {
        SCOPED_TRACE("file call " + std::to_string(k));
        mf_test_hooks.fail_every_later_file_call = every_later;
        mf_test_hooks.fail_file_call_at = k;
        ASSERT_EQ(session.numeric(a), 0);
        const bool fired = mf_test_hooks.fail_file_call_at < (every_later ? 2 : 1);
        HookGuard::reset();
        ASSERT_LE(difference(session.solve(a, right_hand_side(a)), expected), 1e-13);
        if (!fired) {
            EXPECT_GT(k, 60);
            return;
        }
    }
}

/// The first `n_files` files are good; the rest of the factor stays in memory and all of it is right.
[[maybe_unused]] void expect_files(Session& session, const Csc& a, std::int32_t n_files) {
    ASSERT_EQ(session.numeric(a), 0);
    EXPECT_EQ(session.solver().file_count, n_files);
    EXPECT_EQ(session.solver().file_doubles > 0, n_files > 0);
    EXPECT_LE(difference(session.solve(a, right_hand_side(a)), in_core_solution(a)), 1e-13);
}

} // namespace

TEST(WriteFault, EveryFileCallFailsAloneAndNothingIsLost) {
    const Csc a = spd(60, grid_edges(10, 6), 2);
    sweep_file_calls(a, {CORE_OUT, TYPE_SPD, 1}, false, 1);
    sweep_file_calls(a, {CORE_OUT, TYPE_LDLT, 1}, false, 3);
    sweep_file_calls(a, {CORE_OUT, TYPE_SPD, 4}, false, 7);
}

TEST(WriteFault, EveryFileCallFromOneOnFailsAndNothingIsLost) {
    sweep_file_calls(spd(60, grid_edges(10, 6), 2), {CORE_OUT, TYPE_SPD, 2}, true, 1);
}

TEST(WriteFault, WithoutMemoryToGoOnInTheStatusSaysSo) {
    const TempDirectory directory;
    const HookGuard hooks;
    const Csc a = grid_matrix();
    const std::vector<double> expected = in_core_solution(a);
    for (const int type : {TYPE_SPD, TYPE_LDLT}) {
        Session session;
        analyse(session, a, {CORE_OUT, type});
        object(session).memory_limit_bytes = path_bytes(session.solver()) * 9 / 8;
        ASSERT_EQ(session.numeric(a), 0);
        int n_failed = 0;
        for (std::int64_t k = 1; k < 4000; k += 97) {
            mf_test_hooks.fail_every_later_file_call = true;
            mf_test_hooks.fail_file_call_at = k;
            const int status = session.numeric(a);
            HookGuard::reset();
            EXPECT_TRUE(status == 0 || status == VYR_ERR_FACTOR_STORAGE || status == VYR_ERR_MEMORY)
                << status;
            n_failed += status != 0;
            const std::vector<double> x = session.solve(a, right_hand_side(a));
            if (status == 0) {
                EXPECT_LE(difference(x, expected), 1e-12);
            }
        }
        EXPECT_GT(n_failed, 3);
        ASSERT_EQ(session.numeric(a), 0); // the directory is as good as before
        EXPECT_LE(difference(session.solve(a, right_hand_side(a)), expected), 1e-12);
    }
}

TEST(WriteFault, EveryAllocationFailsAndNothingLeaks) {
    const TempDirectory directory;
    const HookGuard hooks;
    const Csc a = spd(60, grid_edges(10, 6), 2);
    for (const auto& [type, every_later] :
         {std::pair{int{TYPE_SPD}, false}, {TYPE_SPD, true}, {TYPE_LDLT, false}, {TYPE_LDLT, true}}) {
        const std::vector<double> expected = in_core_solution(a, type);
        for (std::int64_t k = 1, fired = true; fired; ++k) {
            SCOPED_TRACE("allocation " + std::to_string(k));
            const std::uint64_t held = mem_current;
            {
                Session session;
                analyse(session, a, {CORE_OUT, type});
                mf_test_hooks.fail_every_later_allocation = every_later;
                mf_test_hooks.fail_allocation_at = k;
                const int status = session.numeric(a);
                fired = mf_test_hooks.fail_allocation_at < (every_later ? 2 : 1);
                HookGuard::reset();
                ASSERT_TRUE(status == 0 || status == VYR_ERR_FACTOR_STORAGE || status == VYR_ERR_MEMORY)
                    << status;
                const std::vector<double> x = session.solve(a, right_hand_side(a));
                if (status == 0) {
                    ASSERT_LE(difference(x, expected), 1e-13);
                }
                ASSERT_EQ(session.numeric(a), 0);
                ASSERT_LE(difference(session.solve(a, right_hand_side(a)), expected), 1e-13);
            }
            ASSERT_EQ(mem_current, held);
            ASSERT_EQ(alloc_count, free_count);
        }
    }
}

TEST(WriteFault, ABlockThatIsRefusedOnceTakesTheReadBuffersPlace) {
    const TempDirectory directory;
    const HookGuard hooks;
    const Csc a = spd(150, grid_edges(15, 10), 2);
    Session session;
    analyse(session, a);
    for (std::int64_t k = 1;; ++k) {
        mf_test_hooks.fail_allocation_at = k;
        const int status = session.numeric(a);
        if (mf_test_hooks.fail_allocation_at > 0) break;
        EXPECT_TRUE(status == 0 || session.solver().file_count == 0) << k << ' ' << status;
    }
}

TEST(WriteFault, WithoutAReadBufferTheReasonIsPrinted) {
    const TempDirectory directory;
    const Csc a = spd(20, dense_edges(20)); // one block, which fits; its record is 8 bytes longer
    Session session;
    analyse(session, a, {}, 20 * 20 * 8);
    mf_ctrl[CTRL_FLAGS] = 1;
    const std::string text = output_of([&] { EXPECT_EQ(session.numeric(a), VYR_ERR_MEMORY); });
    mf_ctrl[CTRL_FLAGS] = 0;
    char context[128];
    std::snprintf(context, sizeof context, "\r\n\tLU=0.0032(M),thresh=0.00032,reserve=%g.",
                  mf_ctrl[CTRL_MEMORY_ESTIMATE] / 1e6);
    EXPECT_NE(text.find("\r\nERROR!!!Failed to allocate 0.003208(M)"), std::string::npos) << text;
    EXPECT_NE(text.find(context), std::string::npos) << text;
    (void)session.solve(a, right_hand_side(a));
}

#ifndef _WIN32

TEST(WriteFault, AFullDeviceKeepsTheRestOfTheFactorInMemory) {
    if (!fs::exists("/dev/full")) GTEST_SKIP();
    const TempDirectory directory;
    for (int f = 3; f <= LAST_FACTOR_FILE; ++f) fs::create_symlink("/dev/full", file_name(f));
    const Csc a = grid_matrix();
    Session session;
    analyse(session, a);
    expect_files(session, a, 3);
}

TEST(WriteFault, AFileSizeLimitKeepsTheRestOfTheFactorInMemory) {
    const TempDirectory directory;
    const Csc a = grid_matrix();
    Session session;
    analyse(session, a);
    ASSERT_EQ(session.numeric(a), 0);
    const std::int32_t n_files = session.solver().file_count;
    std::int32_t larger = 1; // than all before it
    while (larger < n_files && fs::file_size(file_name(larger)) <= fs::file_size(file_name(0))) ++larger;
    ASSERT_LT(larger, n_files);
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    for (const std::int32_t n_good : {0, larger}) {
        const rlimit limit{n_good == 0 ? 2000 : fs::file_size(file_name(0)), before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
        expect_files(session, a, n_good);
        setrlimit(RLIMIT_FSIZE, &before);
        expect_files(session, a, n_files);
    }
}

#endif
