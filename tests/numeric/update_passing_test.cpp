// Extend-add by its definition: the entry of rows r <= c of an update goes to entry (r, c) of U.
#include "factors.h"
#include "numeric/update_passing.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

using namespace vyr;
using namespace vyr::test;

TEST(UpdatePassing, AddsEveryEntryToTheOneThatHasItsRowAndColumn) {
    Rng rng(test_seed());
    for (const Csc& a : {spd(30, band_edges(30, 4)), spd(216, grid_edges(6, 6, 6)),
                         spd(150, random_edges(150, 400, rng)), spd(90, arrow_edges(90, 5))}) {
        TestContext test;
        EngineRun run(test);
        ASSERT_EQ(run.analyse(a), Status::OK);
        const double* values = run.factor.lu_values.get();
        std::vector<double> expected(run.analysis.factor_entries, 0.0);
        std::vector<std::int32_t> scratch(a.n);
        for (std::int32_t s = 0; s < run.analysis.n_snodes; ++s) {
            const mf_snode& node = run.analysis.snodes[s];
            const std::int32_t n = node.nupd;
            std::vector<double> update(static_cast<std::size_t>(n) * n, NAN);
            const std::int32_t* rows = node.update_rows();
            for (std::int32_t j = 0; j < n; ++j)
                for (std::int32_t i = 0; i <= j; ++i)
                    expected[entry_of(run.factor, rows[i], rows[j]) - values] += update[i + j * n] =
                        static_cast<double>(rng() % 99);
            if (rng() % 2 == 0) {
                ASSERT_EQ(mf_pass_update(run.factor, s, update.data(), scratch.data()), Status::OK);
                ASSERT_EQ(run.factor.blocks[s].flags, std::uint32_t{BLOCK_FINISHED});
                continue;
            }
            for (std::int32_t begin = 0, end = 0; begin < n; begin = end) {
                end = std::uniform_int_distribution(begin + 1, n)(rng);
                ASSERT_EQ(mf_pass_columns(run.factor, s, update.data() + begin * n, n, begin, end,
                                          scratch.data(), SharedNodes{}),
                          Status::OK);
            }
        }
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), values));
    }
}

TEST(UpdatePassing, HoldsTheLockOfSharedAncestors) {
    TestContext test;
    EngineRun run(test);
    ASSERT_EQ(run.analyse(spd(900, grid_edges(30, 30))), Status::OK);
    std::int32_t node = 0; // the largest update
    for (std::int32_t s = 0; s < run.analysis.n_snodes; ++s)
        if (run.analysis.snodes[s].nupd > run.analysis.snodes[node].nupd) node = s;
    const std::int32_t n = run.analysis.snodes[node].nupd;
    const std::vector<double> ones(static_cast<std::size_t>(n) * n, 1.0);
    Lock lock;
    const SharedNodes shared{run.analysis.snode_parent[node], &lock};
#pragma omp parallel num_threads(4)
    {
        std::vector<std::int32_t> scratch(n);
        for (int round = 0; round < 3000; ++round)
            (void)mf_pass_columns(run.factor, node, ones.data(), n, 0, n, scratch.data(), shared);
    }
    const double* values = run.factor.lu_values.get();
    EXPECT_EQ(std::accumulate(values, values + run.analysis.factor_entries, 0.0), 6000.0 * n * (n + 1));
}
