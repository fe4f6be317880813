// Whole factorizations and solves whose factor is not in core.
#include "../ldlt/indefinite.h"
#include "numeric/tuning.h"
#include "ooc_run.h"
#include "support/capture.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <filesystem>

using namespace vyr;
using namespace vyr::test;

namespace {

void expect_in_core_result(Session& session, const Csc& a, int type = TYPE_SPD, double bound = 1e-13) {
    EXPECT_LE(difference(session.solve(a, right_hand_side(a)), in_core_solution(a, type)), bound);
}

/// VYR_pivot_ld hands out no pivot, neither garbage nor one of an earlier run.
void expect_no_pivots(const Session& session) {
    const auto n = static_cast<std::size_t>(session.solver().n);
    std::vector<double> pivots(n);
    std::vector<int> marks(n);
    VYR_pivot_ld(session.handle, pivots.data(), marks.data());
    EXPECT_EQ(pivots, std::vector<double>(n, -DBL_MAX));
    EXPECT_EQ(marks, std::vector<int>(n, -1));
}

} // namespace

TEST(OutOfCore, TenFilesGiveTheInCoreSolutionAtAnyNumberOfThreads) {
    const TempDirectory directory;
    const Csc a = grid_matrix();
    const std::vector<double> expected = in_core_solution(a);
    for (const bool blocked : {false, true}) {
        for (const int threads : {1, 2, 4}) {
            SCOPED_TRACE(std::to_string(threads) + (blocked ? " threads, blocked" : " threads"));
            Session session;
            analyse(session, a, {CORE_OUT, TYPE_SPD, threads, blocked});
            ASSERT_EQ(session.solver().n_tasks > 2, threads > 1); // the top task is always there
            for (int round = 0; round < 5; ++round) {
                ASSERT_EQ(session.numeric(a), 0);
                EXPECT_GE(session.solver().file_count, 8);
                EXPECT_EQ(mf_info[INFO_FACTORIZATIONS], round + 1);
                const std::vector<double> x = session.solve(a, right_hand_side(a));
                EXPECT_LE(difference(x, expected), 1e-13);
                EXPECT_EQ(session.solve(a, right_hand_side(a)), x); // a second solve finds all as it was
            }
        }
    }
}

TEST(OutOfCore, ThreadsShareTheLargeFrontsOfASingleTask) {
    const TempDirectory directory;
    const Csc a = spd(22 * 22 * 22, grid_edges(22, 22, 22), 9);
    Session session;
    analyse(session, a);
    ASSERT_GT(session.solver().largest_update, tuning::STRIP_COLUMNS);
    object(session).n_threads = 2;
    object(session).memory_limit_bytes = path_bytes(session.solver()) * 9 / 8;
    ASSERT_EQ(session.numeric(a), 0);
    EXPECT_GE(session.solver().file_count, 3);
    expect_in_core_result(session, a);
}

TEST(OutOfCore, IndefiniteFactorsGiveTheInCoreSolution) {
    const TempDirectory directory;
    Csc dominant = grid_matrix();
    for (std::size_t j = 0; j < static_cast<std::size_t>(dominant.n); j += 2)
        dominant.values[static_cast<std::size_t>(dominant.colptr[j])] *= -1;
    const struct {
        Csc a;
        // A record in the read buffer lies otherwise than a block in memory and may be rounded otherwise, of
        // which an ill-conditioned system makes more.
        double bound;
    } systems[] = {{dominant, 1e-13},
                   {shifted_laplacian(12, 10, 5, 2.3), 1e-11},
                   {shifted_laplacian(50, 30, 1, 1.7), 1e-11}};
    for (const auto& [a, bound] : systems) {
        for (const int type : {TYPE_LDLT, TYPE_CSYM}) {
            Session session;
            analyse(session, a, {CORE_OUT, type});
            ASSERT_EQ(session.numeric(a), 0);
            EXPECT_GE(session.solver().file_count, 8);
            expect_in_core_result(session, a, type, bound);
            EXPECT_LE(solve_error(session, a, a), 1e-12);
        }
    }
}

TEST(OutOfCore, AMemoryLimitHoldsAndMakesOtherModesWrite) {
    const TempDirectory directory;
    const Csc a = grid_matrix();
    for (const int core_mode : {int{CORE_OUT}, int{CORE_LIMITED}, 7}) {
        Session session;
        analyse(session, a, {core_mode});
        Solver& solver = object(session);
        const std::int64_t least = path_bytes(solver);
        ASSERT_LT(least, solver.factor_entries * 4);
        solver.memory_limit_bytes = least + least / 8;
        ASSERT_EQ(session.numeric(a), 0) << core_mode;
        EXPECT_GE(solver.file_count, 2);
        EXPECT_LE(solver.held_bytes + solver.file_buffer_bytes, solver.memory_limit_bytes);
        expect_in_core_result(session, a);

        solver.memory_limit_bytes = 0; // now there is room: these modes keep everything, mode 1 does not
        ASSERT_EQ(session.numeric(a), 0);
        EXPECT_EQ(solver.file_count > 0, core_mode == CORE_OUT);
        expect_in_core_result(session, a);

        solver.memory_limit_bytes = least / 2;
        EXPECT_EQ(session.numeric(a), VYR_ERR_FACTOR_STORAGE);
        (void)session.solve(a, right_hand_side(a)); // of no use, but no crash
        solver.memory_limit_bytes = 0;
        EXPECT_EQ(session.numeric(a), 0);
        expect_in_core_result(session, a);
    }
}

TEST(OutOfCore, SubtreeTasksKeepALimitOrFail) {
    const TempDirectory directory;
    const Csc a = grid_matrix();
    const std::vector<double> expected = in_core_solution(a);
    Session session;
    analyse(session, a, {CORE_OUT, TYPE_SPD, 4});
    Solver& solver = object(session);
    ASSERT_GT(solver.n_tasks, 2);
    int n_failed = 0;
    for (std::int64_t eighths = 1; eighths <= 32; ++eighths) {
        SCOPED_TRACE(eighths);
        solver.memory_limit_bytes = path_bytes(solver) * eighths / 8;
        const int status = session.numeric(a);
        EXPECT_LE(solver.held_bytes + solver.file_buffer_bytes, solver.memory_limit_bytes);
        const std::vector<double> x = session.solve(a, right_hand_side(a));
        if (status == 0) {
            EXPECT_LE(difference(x, expected), 1e-13);
        } else {
            EXPECT_EQ(status, VYR_ERR_FACTOR_STORAGE);
            ++n_failed;
        }
    }
    EXPECT_GE(n_failed, 7); // all that cannot hold one path
    EXPECT_LT(n_failed, 32);
}

TEST(OutOfCore, LittlePhysicalMemoryMakesRoomWithoutFailing) {
    const TempDirectory directory;
    const HookGuard hooks;
    const Csc a = grid_matrix();
    Session session;
    analyse(session, a, {CORE_LIMITED, TYPE_SPD, 2});
    const Solver& solver = session.solver();
    const double factor_bytes = static_cast<double>(solver.factor_entries) * 8;
    const double reserve = mf_ctrl[CTRL_MEMORY_ESTIMATE];
    platform::MemoryStatus status{static_cast<std::uint64_t>(reserve + 0.06 * factor_bytes), UINT64_MAX,
                                  UINT64_MAX};
    mf_test_hooks.memory_status = &status;
    ASSERT_EQ(session.numeric(a), 0);
    EXPECT_GE(solver.file_count, 8);
    expect_in_core_result(session, a);

    status.available_physical = static_cast<std::uint64_t>(reserve + 0.01 * factor_bytes);
    EXPECT_EQ(session.numeric(a), VYR_ERR_BUFFER);
    expect_no_pivots(session);
}

TEST(OutOfCore, ARefactorizationReplacesFilesAndValues) {
    const TempDirectory directory;
    Csc a = grid_matrix();
    Session session;
    analyse(session, a);
    std::vector<int> n_files;
    for (const std::int64_t limit :
         {std::int64_t{0}, path_bytes(session.solver()) * 9 / 8, std::int64_t{0}}) {
        refill(a, 77 + n_files.size());
        object(session).memory_limit_bytes = limit;
        ASSERT_EQ(session.numeric(a), 0);
        n_files.push_back(session.solver().file_count);
        expect_in_core_result(session, a);
    }
    EXPECT_LT(n_files[0], n_files[1]);
    EXPECT_LT(n_files[2], n_files[1]); // the others are still there
    EXPECT_TRUE(std::filesystem::exists(file_name(n_files[1] - 1)));

    // Back in core: the storage that the analysis did not allocate comes with the first factorization.
    mf_ctrl[CTRL_CORE_MODE] = CORE_IN;
    ASSERT_EQ(session.numeric(a), 0);
    EXPECT_NE(session.solver().lu_values, nullptr);
    EXPECT_EQ(session.solver().file_count, 0);
    EXPECT_EQ(session.solver().held_bytes, 0);
    expect_in_core_result(session, a);
    session.clear();
    EXPECT_TRUE(std::filesystem::exists(file_name(0))); // files outlive the object
}

TEST(OutOfCore, TheOutOfCoreKernelsServeStorageInCore) {
    const HookGuard hooks;
    const platform::MemoryStatus nothing_free{0, UINT64_MAX, UINT64_MAX};
    const Csc a = grid_matrix();
    std::vector<double> two = right_hand_side(a);
    two.insert(two.end(), two.begin(), two.end());
    for (const int type : {TYPE_SPD, TYPE_LDLT, TYPE_CSYM}) {
        const std::vector<double> expected = in_core_solution(a, type);
        Session session;
        analyse(session, a, {CORE_IN, type});
        for (const int core_mode : {CORE_OUT, CORE_LIMITED, CORE_GPU, CORE_GBLAS}) {
            mf_ctrl[CTRL_CORE_MODE] = core_mode;
            mf_test_hooks.memory_status = &nothing_free;
            EXPECT_EQ(session.numeric(a), VYR_ERR_BUFFER); // asked for a buffer, needed or not
            mf_test_hooks.memory_status = nullptr;
            ASSERT_EQ(session.numeric(a), 0);
            EXPECT_EQ(session.solver().file_count, 0);
            mf_ctrl[CTRL_FLAGS] = 1;
            std::vector<double> x;
            EXPECT_EQ(output_of([&] { x = session.solve(a, right_hand_side(a)); }), "");
            mf_ctrl[CTRL_FLAGS] = 0;
            EXPECT_LE(difference(x, expected), 1e-13);
            // The block solve reaches these kernels with its first column alone.
            std::vector<double> block = session.solve_n(a, two, 2);
            EXPECT_EQ(std::vector<double>(block.begin() + a.n, block.end()), right_hand_side(a));
            block.resize(static_cast<std::size_t>(a.n));
            EXPECT_LE(difference(block, expected), 1e-13);
        }
    }
}

TEST(OutOfCore, RefinementAndMessagesWorkOnFiles) {
    const TempDirectory directory;
    const Csc a = grid_matrix();
    Session session;
    analyse(session, a);
    mf_ctrl[CTRL_FLAGS] = 1;
    mf_ctrl[CTRL_REFINEMENT_LIMIT] = 2;
    std::string text = output_of([&] { ASSERT_EQ(session.numeric(a), 0); });
    EXPECT_NE(text.find("\n\r\t\t Write LU to VYR_ 0.mmf.\t 0.0%\ttime="), std::string::npos) << text;
    std::vector<double> x;
    text = output_of([&] { x = session.solve(a, right_hand_side(a)); });
    EXPECT_NE(text.find("\r\n\t\tIO/solve=0."), std::string::npos) << text;
    EXPECT_NE(text.find("cond="), std::string::npos) << text;
    EXPECT_LE(difference(x, in_core_solution(a)), 1e-13);
}

TEST(OutOfCore, TheMappedModeFailsCleanly) {
    const Csc a = grid_matrix();
    Session session;
    analyse(session, a, {CORE_MAPPED});
    expect_no_pivots(session);
    EXPECT_EQ(session.numeric(a), VYR_ERR_MAPPING);
    expect_no_pivots(session);
    mf_ctrl[CTRL_FLAGS] = 1;
    const std::string text = output_of([&] { EXPECT_EQ(session.numeric(a), VYR_ERR_MAPPING); });
    mf_ctrl[CTRL_FLAGS] = 0;
    char expected[200];
    std::snprintf(
        expected, sizeof expected,
        "\r\nERROR!!!\t(-1000):Failed to create %6g(Mb) memory mapping for L.\r\n\t\tPlease free the "
        "space on disk.\r\n",
        static_cast<double>(session.solver().factor_entries) * 8 / 1e6);
    EXPECT_NE(text.find(expected), std::string::npos) << text;
    const std::vector<double> b = right_hand_side(a);
    (void)session.solve(a, b);
    mf_ctrl[CTRL_CORE_MODE] = CORE_IN;
    EXPECT_EQ(session.numeric(a), 0);
    expect_in_core_result(session, a);
}
