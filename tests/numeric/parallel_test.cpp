// The parallel schedule at work: large fronts shared between threads, repeatability, failures, changed
// settings.
#include "numeric/tuning.h"
#include "support/capture.h"
#include "support/session.h"
#include "symbolic/symbolic.h"
#include "symbolic/task_partition.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>

using namespace vyr;
using namespace vyr::test;

namespace {

/// A cube whose separators give fronts large enough to be shared between threads.
const Csc& cube() {
    static const Csc matrix = spd(22 * 22 * 22, grid_edges(22, 22, 22));
    return matrix;
}

std::vector<double> factor_of(const Session& session) {
    const Solver& solver = session.solver();
    return {solver.lu_values, solver.lu_values + solver.factor_entries};
}

/// Largest difference over the upper triangles, relative to the largest entry.
double difference(const Session& session, const std::vector<double>& other) {
    const Solver& solver = session.solver();
    double worst = 0, largest = 0;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        const mf_snode& node = solver.snodes[s];
        for (std::int32_t j = 0; j < node.n_rows(); ++j)
            for (std::int32_t i = 0; i <= std::min(j, node.npiv - 1); ++i) {
                const std::int64_t k = node.start + i + std::int64_t{j} * node.npiv;
                worst = std::max(worst, std::fabs(solver.lu_values[k] - other[k]));
                largest = std::max(largest, std::fabs(other[k]));
            }
    }
    return worst / largest;
}

} // namespace

TEST(Parallel, GivesTheSameFactorAtEveryRepetitionAndThreadCount) {
    for (const bool blocked : {false, true}) {
        std::vector<double> first;
        for (const int threads : {1, 2, 3, 4, 8, 16}) {
            SCOPED_TRACE(std::to_string(threads) + " threads, blocked " + std::to_string(blocked));
            omp_set_num_threads(threads);
            Session session;
            session.param[VYR_PARAM_BLOCKED] = blocked;
            for (int repetition = 0; repetition < 3; ++repetition) {
                ASSERT_EQ(repetition == 0 ? session.factorize(cube()) : session.numeric(cube()), 0);
                if (first.empty()) first = factor_of(session);
                EXPECT_LE(difference(session, first), 1e-13);
            }
            EXPECT_LE(solve_error(session, cube(), cube()), 1e-14);
            const Solver& solver = session.solver();
            ASSERT_GT(solver.largest_update, tuning::STRIP_COLUMNS);
            for (std::int32_t s = 0; s < solver.n_snodes; ++s)
                ASSERT_NE(solver.snodes[s].flags & NODE_FINISHED, 0U);
            EXPECT_GT(mf_info[INFO_T_ASSEMBLY], 0);
        }
    }
}

TEST(Parallel, TheUpdateVariantMayChangeBetweenAnalysisAndFactorization) {
    omp_set_num_threads(2);
    for (const bool analysed_blocked : {false, true}) {
        Session session;
        session.param[VYR_PARAM_BLOCKED] = analysed_blocked;
        ASSERT_EQ(session.factorize(cube()), 0);
        const std::vector<double> first = factor_of(session);
        for (const bool blocked : {!analysed_blocked, analysed_blocked, !analysed_blocked}) {
            session.param[VYR_PARAM_BLOCKED] = blocked;
            VYR_param_ld(session.param.data());
            ASSERT_EQ(session.numeric(cube()), 0);
            EXPECT_LE(difference(session, first), 1e-13);
            EXPECT_EQ(session.solver().task_work_blocked, blocked);
        }
    }
}

TEST(Parallel, AFailedGrowthOfTheWorkBlocksIsAStatusAndTheNextRunIsRight) {
    omp_set_num_threads(2);
    HookGuard hooks;
    Session session;
    session.param[VYR_PARAM_BLOCKED] = 1;
    ASSERT_EQ(session.factorize(cube()), 0);
    session.param[VYR_PARAM_BLOCKED] = 0;
    VYR_param_ld(session.param.data());
    for (const int k : {1, 2}) { // the list of offsets, the block
        mf_test_hooks.fail_allocation_at = k;
        EXPECT_EQ(mf_task_work_blocks(*from_handle(session.handle), false), VYR_ERR_FACTOR_STORAGE);
    }
    EXPECT_EQ(session.numeric(cube()), 0);
    EXPECT_LE(solve_error(session, cube(), cube()), 1e-14);
}

TEST(Parallel, ThePartitionTellsItsFigures) {
    omp_set_num_threads(1);
    const auto text_of = [](const Csc& a) {
        Session session;
        session.init(a);
        mf_ctrl[CTRL_FLAGS] = 1;
        return output_of(
            [&] { session.handle = to_handle(mf_symbol(a.n, a.colptr.data(), a.rowind.data())); });
    };
    EXPECT_NE(text_of(spd(6, dense_edges(6)))
                  .find("\t_OPENMP:num_threads=1\r\n\r\n\t\tnzLU=36,nNodes=1,ldw=0,W_temp=0"
                        "\r\n\t\tnTask=1,ksi=1,max=1,min=1,critical=0\r\n"),
              std::string::npos);
    EXPECT_NE(text_of(diagonal(std::vector<double>(20, 1.0)))
                  .find("\r\n\t\tnTask=0,ksi=0,max=0,min=0,critical=0\r\n"),
              std::string::npos);
    EXPECT_NE(text_of(cube()).find(",W_temp=1\r\n\t\tnTask=1,ksi=1,"), std::string::npos);
}

// Every subtree runs to its own end, so the outcome is that of the last failing task in task order, which is
// what a single thread going through the same tasks leaves.
TEST(Parallel, TheLastFailingTaskDecidesTheStatusWhateverTheThreads) {
    constexpr int BLOCKS = 9;
    Csc a = spd(BLOCKS * 100, disconnected_grid_edges(BLOCKS, 10, 10));
    constexpr int FAILING[] = {1, 3, 4, 8};
    for (const int block : FAILING) a.values[a.colptr[block * 100 + 55]] = -1.0; // a column's first entry
    for (const int threads : {1, 2, 4, 8}) {
        omp_set_num_threads(threads);
        Session session;
        ASSERT_EQ(session.factorize(a), VYR_ERR_SMALL_PIVOT);
        Solver& solver = *from_handle(session.handle);
        solver.n_threads = 1;
        ASSERT_EQ(session.numeric(a), VYR_ERR_SMALL_PIVOT);
        const double column = mf_info[INFO_FAILED_COLUMN];
        EXPECT_LE(solver.diag_values[static_cast<int>(column)], 0);
        solver.n_threads = threads;
        for (int repetition = 0; repetition < 10; ++repetition) {
            mf_info[INFO_FAILED_COLUMN] = -7;
            ASSERT_EQ(session.numeric(a), VYR_ERR_SMALL_PIVOT);
            EXPECT_EQ(mf_info[INFO_FAILED_COLUMN], column);
        }
        // Above the threshold a failed pivot is -30 and names no column; among several tasks the last still
        // decides, beside the column of the one below the threshold.
        mf_ctrl[CTRL_PIVOT_MIN] = -5e5;
        int n_small = 0;
        for (const int block : FAILING) {
            Csc mixed = a;
            mixed.values[mixed.colptr[block * 100 + 55]] = -1e6;
            solver.n_threads = 1;
            const int status = session.numeric(mixed);
            const double small_column = mf_info[INFO_FAILED_COLUMN];
            EXPECT_EQ(solver.perm[static_cast<int>(small_column)], block * 100 + 55);
            solver.n_threads = threads;
            mf_info[INFO_FAILED_COLUMN] = -7;
            EXPECT_EQ(session.numeric(mixed), status);
            EXPECT_EQ(mf_info[INFO_FAILED_COLUMN], small_column);
            n_small += status == VYR_ERR_SMALL_PIVOT;
        }
        EXPECT_EQ(n_small, 1);
    }
}

TEST(Parallel, TheTopTaskDoesNotRunAfterAFailedSubtree) {
    omp_set_num_threads(2);
    Session session;
    Csc a = cube();
    ASSERT_EQ(session.factorize(a), 0);
    const Solver& solver = session.solver();
    ASSERT_GT(solver.n_tasks, 1);
    const std::int32_t leaf = solver.perm[solver.snodes[solver.task_nodes[0]].first()];
    const auto top_begin = solver.task_nodes + solver.task_offset[solver.n_tasks - 1];
    const std::int32_t top_column = solver.snodes[*top_begin].first();
    a.values[a.colptr[leaf]] = -1.0;
    ASSERT_EQ(session.numeric(a), VYR_ERR_SMALL_PIVOT);
    EXPECT_EQ(solver.diag_values[top_column], -1.7976931348623157e308);
}
