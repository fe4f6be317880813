// L D L^T with delayed pivots on whole matrices, most of whose diagonals are too weak where they come first.
#include "engine/inspect.h"
#include "support/capture.h"
#include "support/engine.h"

using namespace vyr;
using namespace vyr::test;

namespace {

/// Small diagonals everywhere but in every `strong`-th equation.
Csc weak_diagonals(Csc a, int strong) {
    for (std::int32_t j = 0; j < a.n; ++j)
        if (j % strong != 0) a.values[a.colptr[j]] *= 1e-9;
    return a;
}

struct Delayed {
    TempDirectory directory;
    TestContext test;
    EngineRun run{test};
    Settings& settings = test.context.settings;

    explicit Delayed(int n_threads = 1, int core_mode = CORE_IN) {
        settings.type = TYPE_LDLT;
        settings.delay_pivots = true;
        settings.n_threads = n_threads;
        settings.core_mode = core_mode;
    }
};

} // namespace

TEST(Delayed, SolvesWhateverTheDiagonalAndAlikeWhenRepeated) {
    Rng rng(test_seed());
    std::int64_t n_delayed = 0;
    for (const Csc& pattern : {spd(400, grid_edges(20, 20), rng()), spd(1000, grid_edges(10, 10, 10), rng()),
                               spd(600, random_edges(600, 1500, rng), rng()),
                               spd(1380, cliques_and_separator(12, 40, 900), rng())})
        for (const int strong : {1, 3, 1 << 30}) {
            const Csc a = weak_diagonals(pattern, strong);
            SCOPED_TRACE(testing::Message() << a.n << " " << strong);
            const std::vector<double> b = random_vector(a.n * 3, 5);
            std::vector<double> x[3];
            for (const int k : {0, 1, 2}) {
                Delayed d(2, k == 2 ? CORE_OUT : CORE_IN);
                ASSERT_EQ(d.run.run(a), Status::OK) << d.test.context.reason;
                ASSERT_TRUE(k != 1 || d.run.factorise(a) == Status::OK) << "once more in the same storage";
                x[k] = d.run.solve(a, b, 3);
                const Factor& factor = d.run.factor;
                n_delayed += factor.pivoted.n_delayed;
                double kept = 0, own = 0; // bytes of L in lu_values, and of blocks apart
                for (int s = 0; s < factor.analysis->n_snodes; ++s)
                    (factor.blocks[s].bytes == 0 ? kept : own) +=
                        8.0 * static_cast<double>(factor.block_entries(s));
                EXPECT_TRUE(k == 2 ||
                            (factor.held_bytes() >= kept + own && factor.held_bytes() < kept + 3 * own + 1))
                    << kept << " " << own;
                for (const int column : {0, a.n, 2 * a.n})
                    EXPECT_LT(backward_error(a, &x[k][column], &b[column]), 1e-11);
            }
            EXPECT_EQ(x[0], x[1]);
        }
    EXPECT_GT(n_delayed, 1000);
}

TEST(Delayed, TellsRankAndInertiaOfSingularMatricesOnAnyNumberOfThreadsAndSolvesConsistentSystems) {
    Csc a = spd(600, disconnected_grid_edges(6, 10, 10));
    for (double& value : a.values) value = value < 0 ? -1 : 1;
    std::vector<double> sum(a.n);
    each_entry(a, [&](int i, int j, double v) { sum[i] -= i == j ? 0 : v, sum[j] -= i == j ? 0 : v; });
    for (int j = 0; j < a.n; ++j) a.values[a.colptr[j]] = sum[j]; // constants are in the null space of each
    const std::vector<double> b = multiply(a, random_vector(a.n, 3));
    PivotSummary first, pivots;
    for (int threads = 1; threads <= 5; ++threads) {
        Delayed d(threads);
        d.settings.zero_pivot = 1e-12;
        EXPECT_EQ(d.run.run(a), Status::ILL_CONDITIONED);
        EXPECT_NE(std::string(d.test.context.reason).find("its rank is 594, 6 less"), std::string::npos);
        d.settings.zero_pivots = true;
        ASSERT_EQ(d.run.factorise(a), Status::OK);
        ASSERT_EQ(mf_pivot_summary(d.test.context, d.run.factor, pivots), Status::OK);
        if (threads == 1) first = pivots;
        EXPECT_EQ(pivots.zero, 6);
        EXPECT_TRUE(pivots.negative == first.negative && pivots.two_by_two == first.two_by_two);
        EXPECT_LT(backward_error(a, d.run.solve(a, b).data(), b.data()), 1e-12);
    }
}
