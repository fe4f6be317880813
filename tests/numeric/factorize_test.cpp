// The positive definite factorization: accuracy, pivots, statuses.
#include "support/capture.h"
#include "support/session.h"
#include "symbolic/flop_count.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

using namespace vyr;
using namespace vyr::test;

namespace {

constexpr double ERROR_BAR = 1e-14;

struct Pivots {
    std::vector<double> values;
    std::vector<int> marks;
    explicit Pivots(const Session& session) : values(session.solver().n), marks(session.solver().n) {
        VYR_pivot_ld(session.handle, values.data(), marks.data());
    }
};

/// Where the equation `column` of the caller stands in pivot order.
int pivot_place(const Session& session, int column) {
    const Solver& solver = session.solver();
    return static_cast<int>(std::find(solver.perm, solver.perm + solver.n, column) - solver.perm);
}

/// Factorises diag(values) with a pivot threshold and a growth limit.
struct DiagonalRun {
    Session session;
    int status;
    DiagonalRun(const std::vector<double>& values, double threshold, double growth = 0) {
        session.param[VYR_PARAM_PIVOT_MIN] = threshold;
        session.param[VYR_PARAM_GROWTH] = growth;
        status = session.factorize(diagonal(values));
    }
};

} // namespace

TEST(Factorize, SolvesEveryProblemToTheErrorBarAtEveryThreadCount) {
    Rng rng(test_seed());
    const std::vector<std::pair<const char*, Csc>> problems = {
        {"order 1", spd(1, {})},
        {"diagonal", spd(30, {})},
        {"tridiagonal", spd(400, band_edges(400, 1))},
        {"band of 9", spd(500, band_edges(500, 9))},
        {"arrow", spd(300, arrow_edges(300, 3))},
        {"dense", spd(200, dense_edges(200))},
        {"plane grid", spd(60 * 50, grid_edges(60, 50))},
        {"cube grid", spd(12 * 12 * 12, grid_edges(12, 12, 12))},
        {"separate grids", spd(7 * 100, disconnected_grid_edges(7, 10, 10))},
        {"random", spd(400, random_edges(400, 900, rng), rng())},
        {"random and dense", spd(200, random_edges(200, 4000, rng), rng())},
    };
    for (const auto& [name, a] : problems)
        for (const int threads : {1, 2, 3, 8})
            for (const bool blocked : {false, true}) {
                SCOPED_TRACE(std::string(name) + ", " + std::to_string(threads) + " threads, blocked " +
                             std::to_string(blocked));
                omp_set_num_threads(threads);
                Session session;
                session.param[VYR_PARAM_BLOCKED] = blocked;
                ASSERT_EQ(session.factorize(a), 0);
                EXPECT_LE(solve_error(session, a, a), ERROR_BAR);
                double flops = 0;
                const Solver& solver = session.solver();
                for (std::int32_t s = 0; s < solver.n_snodes; ++s) flops += mf_node_cost(solver.snodes[s]);
                EXPECT_NEAR(mf_info[INFO_FLOPS], flops, 1e-9 * flops);
            }
}

TEST(Factorize, TheThreadCountOfTheAnalysisHoldsWhateverTheHostSetsLater) {
    const Csc a = spd(30 * 30, grid_edges(30, 30));
    for (const auto& [before, after] : {std::pair(1, 4), {4, 1}, {3, 2}}) {
        omp_set_num_threads(before);
        Session session;
        ASSERT_EQ(session.init(a), 0);
        ASSERT_TRUE(session.symbol(a));
        omp_set_num_threads(after);
        ASSERT_EQ(session.numeric(a), 0);
        EXPECT_LE(solve_error(session, a, a), ERROR_BAR);
        // The update variant may change as well; its work blocks grow when they must.
        for (const double blocked : {1.0, 0.0, 1.0}) {
            session.param[VYR_PARAM_BLOCKED] = blocked;
            VYR_param_ld(session.param.data());
            ASSERT_EQ(session.numeric(a), 0);
            EXPECT_LE(solve_error(session, a, a), ERROR_BAR);
        }
    }
}

TEST(Factorize, FactorAgreesWithDenseCholeskyAndRepeats) {
    const Csc a = spd(12 * 9, grid_edges(12, 9));
    omp_set_num_threads(4);
    Session session;
    ASSERT_EQ(session.factorize(a), 0);
    const Solver& solver = session.solver();
    const std::vector<std::int32_t> perm(solver.perm, solver.perm + a.n);
    const std::vector<double> u = dense_cholesky(a, perm);
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        const mf_snode& node = solver.snodes[s];
        for (std::int32_t k = 0; k < node.n_rows(); ++k)
            for (std::int32_t c = 0; c < node.npiv && node.first() + c <= node.rows[k]; ++c)
                ASSERT_NEAR(node.factor_block[k * node.npiv + c], u[node.first() + c + node.rows[k] * a.n],
                            1e-13);
    }
    const Pivots pivots(session);
    for (std::int32_t k = 0; k < a.n; ++k)
        EXPECT_NEAR(pivots.values[perm[k]], u[static_cast<std::size_t>(k) * (a.n + 1)], 1e-13);
    EXPECT_EQ(pivots.marks, std::vector<int>(a.n, 0));

    const std::vector<double> first(solver.lu_values, solver.lu_values + solver.factor_entries);
    for (int round = 0; round < 20; ++round) {
        ASSERT_EQ(session.numeric(a), 0);
        for (std::size_t p = 0; p < first.size(); ++p)
            ASSERT_NEAR(solver.lu_values[p], first[p], 1e-13 * std::max(1.0, std::abs(first[p])));
    }
}

TEST(Factorize, APivotAtTheThresholdFailsAndIsNamed) {
    const std::vector<double> values = {25, 4, 36, 49};
    EXPECT_EQ(DiagonalRun(values, 1.999).status, 0);
    DiagonalRun at(values, 2);
    EXPECT_EQ(at.status, VYR_ERR_SMALL_PIVOT);
    EXPECT_EQ(mf_info[INFO_FAILED_COLUMN], pivot_place(at.session, 1));
    const Pivots pivots(at.session);
    EXPECT_EQ(pivots.values[1], 2);
    EXPECT_EQ(pivots.marks[1], 1);
    for (int i : {0, 2, 3}) EXPECT_EQ(pivots.marks[i], pivots.values[i] == -DBL_MAX ? -1 : 0);
}

TEST(Factorize, AMatrixThatIsNotPositiveDefiniteIsToldByTheThreshold) {
    DiagonalRun small({25, -4, 36}, 0);
    EXPECT_EQ(small.status, VYR_ERR_SMALL_PIVOT);
    EXPECT_EQ(mf_info[INFO_FAILED_COLUMN], pivot_place(small.session, 1));
    EXPECT_EQ(Pivots(small.session).marks[1], 1);
    EXPECT_EQ(DiagonalRun({25, -4, 36}, -5).status, VYR_ERR_NOT_SPD);
    EXPECT_EQ(DiagonalRun({25, 0, 36}, 0).status, VYR_ERR_SMALL_PIVOT);
    EXPECT_EQ(DiagonalRun({25, 0, 36}, -1).status, VYR_ERR_NOT_SPD);
    // Infinities pass the scan and make the second pivot no number, which no comparison catches.
    const double inf = std::numeric_limits<double>::infinity();
    Csc a = spd(2, dense_edges(2));
    a.values = {inf, inf, inf};
    Session session;
    EXPECT_EQ(session.factorize(a), VYR_ERR_NOT_SPD);
    // Negative curvature in the middle of wide fronts.
    for (const int threads : {1, 4}) {
        omp_set_num_threads(threads);
        Csc grid = spd(400, grid_edges(20, 20));
        for (std::int32_t k = grid.colptr[210]; k < grid.colptr[211]; ++k)
            if (grid.rowind[k] == 210) grid.values[k] = -1;
        EXPECT_EQ(session.factorize(grid), VYR_ERR_SMALL_PIVOT);
        const auto place = static_cast<std::int32_t>(mf_info[INFO_FAILED_COLUMN]);
        EXPECT_EQ(Pivots(session).marks[session.solver().perm[place]], 1);
        session.param[VYR_PARAM_PIVOT_MIN] = -DBL_MAX;
        EXPECT_EQ(session.factorize(grid), VYR_ERR_NOT_SPD);
        session.param[VYR_PARAM_PIVOT_MIN] = 0;
    }
}

TEST(Factorize, MissingDiagonalEntriesCountAsZeros) {
    Csc a; // [1 .; . x] with x not stored, then the same with an entry below the first pivot
    a.n = 2;
    a.colptr = {0, 1, 1};
    a.rowind = {0};
    a.values = {1};
    Session session;
    EXPECT_EQ(session.factorize(a), VYR_ERR_SMALL_PIVOT);
    EXPECT_EQ(mf_info[INFO_FAILED_COLUMN], pivot_place(session, 1));
    a.colptr = {0, 2, 2};
    a.rowind = {0, 1};
    a.values = {1, 3};
    session.param[VYR_PARAM_PIVOT_MIN] = -DBL_MAX;
    EXPECT_EQ(session.factorize(a), VYR_ERR_NOT_SPD);
}

TEST(Factorize, GrowthOfThePivotsIsLimitedOnlyAboveOne) {
    const std::vector<double> values = {1, 100, 4}; // pivots 1, 10, 2
    EXPECT_EQ(DiagonalRun(values, 0, 10).status, 0);
    EXPECT_EQ(mf_info[INFO_DIAGONAL_MIN], 1);
    EXPECT_EQ(mf_info[INFO_DIAGONAL_MAX], 10);
    EXPECT_EQ(DiagonalRun(values, 0, 1).status, 0);
    DiagonalRun run(values, 0, 9.99);
    EXPECT_EQ(run.status, VYR_ERR_GROWTH);
    const Pivots pivots(run.session);
    EXPECT_EQ(pivots.values, (std::vector<double>{1, 10, 2}));
    EXPECT_EQ(pivots.marks, (std::vector<int>{1, 1, 0}));
}

TEST(Factorize, StoresValuesInsteadOfAddingThem) {
    Rng rng(test_seed());
    const Csc lower = spd(110, random_edges(110, 300, rng));
    const Csc full = both_triangles(lower);
    for (const Csc& a : {full, shuffled(full, rng), shuffled(lower, rng)}) {
        Session session;
        ASSERT_EQ(session.factorize(a, VYR_TYPE_BOTH_TRIANGLES), 0);
        EXPECT_LE(solve_error(session, a, lower), ERROR_BAR);
    }
    Csc repeated; // [4 1; 1 5] with its first entry stored twice: the last one counts
    repeated.n = 2;
    repeated.colptr = {0, 3, 4};
    repeated.rowind = {0, 1, 0, 1};
    repeated.values = {9, 1, 4, 5};
    Csc plain = spd(2, dense_edges(2));
    plain.values = {4, 1, 5};
    Session session;
    ASSERT_EQ(session.factorize(repeated), 0);
    EXPECT_LE(solve_error(session, repeated, plain), ERROR_BAR);
}

TEST(Factorize, ScalingWorksOnACopyOfTheValues) {
    const Csc a = spd(20, band_edges(20, 2));
    Session session;
    ASSERT_EQ(session.init(a), 0);
    ASSERT_TRUE(session.symbol(a));
    const std::uint64_t held = mem_current;
    mf_ctrl[CTRL_SCALING] = 3;
    ASSERT_EQ(session.numeric(a), 0);
    EXPECT_LE(mem_current - held, 4096u);             // the copy is gone
    EXPECT_LE(solve_error(session, a, a), ERROR_BAR); // without vectors no division
}
