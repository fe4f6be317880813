// The positive definite factorization: the factor, what it tells, and how it fails.
#include "numeric/phases.h"
#include "support/engine.h"

#include <omp.h>

#include <cfloat>
#include <map>

using namespace vyr;
using namespace vyr::test;

namespace {

void expect_factor(const EngineRun& run, const std::vector<double>& expected) {
    const std::int32_t n = run.analysis.n;
    for (std::int32_t j = 0; j < n; ++j)
        for (std::int32_t i = 0; i <= j; ++i) {
            const double* entry = entry_of(run.factor, i, j);
            const double u = expected[i + static_cast<std::size_t>(j) * n];
            ASSERT_LE(std::fabs((entry == nullptr ? 0.0 : *entry) - u), 1e-12 * std::max(1.0, std::fabs(u)));
            ASSERT_TRUE(i < j || run.factor.diag_values[i] == *entry);
        }
}

} // namespace

TEST(Factorise, GivesTheCholeskyFactorByEveryVariant) {
    Rng rng(test_seed());
    int variant = 0;
    for (const Csc& a :
         {spd(1, {}), spd(30, {}), spd(150, band_edges(150, 9)), spd(200, arrow_edges(200, 3)),
          spd(300, dense_edges(300)), spd(400, grid_edges(20, 20)), spd(343, grid_edges(7, 7, 7)),
          spd(350, disconnected_grid_edges(7, 10, 5)), spd(300, random_edges(300, 700, rng)),
          spd(1380, cliques_and_separator(12, 40, 900)), spd(300, cliques_and_separator(20, 9, 120))})
        for (const bool analysed_blocked : {false, true}) {
            if (small_sizes() && a.n > 1000) continue;
            TestContext test;
            Settings& settings = test.context.settings;
            settings.n_threads = 1 + 3 * (variant % 2);
            settings.blocked = analysed_blocked;
            EngineRun run(test);
            ASSERT_EQ(run.analyse(a), Status::OK);
            const std::int32_t* perm = run.analysis.perm.get();
            const std::vector<double> expected = dense_cholesky(a, {perm, perm + a.n});
            double flops = 0;
            for (std::int32_t s = 0; s < run.analysis.n_snodes; ++s)
                flops += mf_node_cost(run.analysis.snodes[s]);
            for (const int threads : {1, 2, 4, 16, 0})
                for (const bool blocked : {true, false, true}) {
                    settings.n_threads = threads;
                    settings.blocked = blocked;
                    const int n_sets = 1 + static_cast<int>(instruction_set());
                    settings.instructions = static_cast<InstructionSet>(variant++ % n_sets);
                    SCOPED_TRACE(testing::Message() << "n " << a.n << " threads " << threads << " blocked "
                                                    << analysed_blocked << blocked);
                    const int team = omp_get_max_threads();
                    Statistics& statistics = test.context.statistics;
                    statistics.n_factorizations = 0;
                    ASSERT_EQ(run.factorise(a), Status::OK);
                    ASSERT_NO_FATAL_FAILURE(expect_factor(run, expected));
                    EXPECT_EQ(omp_get_max_threads(), team);
                    EXPECT_NEAR(statistics.flops, flops, 1e-9 * flops);
                    EXPECT_EQ(statistics.n_factorizations, 1);
                    for (std::int32_t s = 0; s < run.analysis.n_snodes; ++s)
                        ASSERT_EQ(run.factor.blocks[s].flags, BLOCK_FINISHED | BLOCK_ASSEMBLED);
                }
        }
}

// More factor storage than one thread zeroes at a time; and entries stored twice, of which the last counts.
TEST(Factorise, StartsFromTheInputEntriesAndZeros) {
    Csc repeated = both_triangles(spd(110, grid_edges(11, 10)));
    repeated.values = random_vector(repeated.nnz(), 5);
    for (const Csc& a : {spd(1100, dense_edges(1100)), repeated}) {
        TestContext test;
        EngineRun run(test);
        ASSERT_EQ(run.analyse(a), Status::OK);
        std::vector<double> expected(run.factor.lu_values.count(), 0.0);
        for (std::int32_t k = 0; k < a.nnz(); ++k) expected[run.analysis.value_map[k]] = a.values[k];
        for (const bool fresh : {true, false}) {
            EXPECT_EQ(run.factor.lu_values_zero, fresh);
            test.context.settings.n_threads = 3;
            ASSERT_EQ(mf_assemble_input(test.context, a.values.data(), run.factor), Status::OK);
            ASSERT_TRUE(std::equal(expected.begin(), expected.end(), run.factor.lu_values.get()));
            run.factor.lu_values.fill(NAN);
        }
    }
}

// Up to the first spoilt equation every pivot is that of a positive definite matrix.
TEST(Factorise, NamesTheFirstFailingPivotInTheOrderOfEliminationOnAnyNumberOfThreads) {
    Rng rng(test_seed());
    for (int trial = 0; trial < 60; ++trial) {
        Csc a = spd(600, trial % 2 == 0 ? disconnected_grid_edges(6, 10, 10) : grid_edges(30, 20));
        std::map<std::int32_t, Status> spoilt;
        for (auto k = 1 + rng() % 5; k > 0; --k) {
            const auto i = static_cast<std::int32_t>(rng() % a.n);
            const double values[] = {-1e6, -1e3, NAN};
            a.values[a.colptr[i]] = values[k % 3];
            spoilt[i] = k % 3 == 0 ? Status::SMALL_PIVOT : Status::NOT_SPD;
        }
        for (const int threads : {1, 2, 3, 4, 8}) {
            TestContext test;
            Settings& settings = test.context.settings;
            settings.n_threads = threads;
            settings.pivot_min = -5e5;
            settings.blocked = rng() % 2 == 0;
            EngineRun run(test);
            ASSERT_EQ(run.analyse(a), Status::OK);
            std::int32_t first = 0;
            while (!spoilt.contains(run.analysis.perm[first])) ++first;
            ASSERT_EQ(run.factorise(a), spoilt[run.analysis.perm[first]]);
            ASSERT_EQ(test.context.statistics.failed_column, first);
            for (std::int32_t k = 0; k <= first; ++k) ASSERT_NE(run.factor.diag_values[k], -DBL_MAX);
        }
    }
}

TEST(Factorise, AcceptsPivotsAboveTheThresholdWhoseSpreadIsWithinTheLimit) {
    Rng rng(test_seed());
    for (int trial = 0; trial < 60; ++trial) {
        std::vector<double> pivots, squares;
        for (int k = 0; k < 20; ++k) pivots.push_back(static_cast<double>(1 + rng() % 40));
        for (const double pivot : pivots) squares.push_back(pivot * pivot);
        const auto [least, most] = std::minmax_element(pivots.begin(), pivots.end());
        TestContext test;
        EngineRun run(test);
        Settings& settings = test.context.settings;
        Statistics& statistics = test.context.statistics;
        const Csc a = diagonal(squares);
        ASSERT_EQ(run.analyse(a), Status::OK);
        for (const double share : {1.0, 0.999, 0.0}) { // of the spread there is; 0 stands for no limit
            settings.growth_limit = share == 0 ? 1.0 : *most / *least * share;
            statistics.diagonal_min = *most;
            statistics.diagonal_max = 0;
            ASSERT_EQ(run.factorise(a), share == 0.999 ? Status::GROWTH : Status::OK);
            EXPECT_STREQ(test.context.reason, share == 0.999 ? status_text(Status::GROWTH) : "");
            EXPECT_TRUE(share != 1 || statistics.diagonal_min == *least);
            EXPECT_TRUE(share == 0.999 || statistics.diagonal_max == *most * share);
        }
        settings.pivot_min = pivots[rng() % 20];
        std::int32_t first = 0;
        while (pivots[run.analysis.perm[first]] > settings.pivot_min) ++first;
        ASSERT_EQ(run.factorise(a), Status::SMALL_PIVOT);
        EXPECT_EQ(statistics.failed_column, first);
    }
}

TEST(Factorise, ABlockOrMemoryThatIsMissingIsAStatusAndTheNextRunIsRight) {
    Csc a = spd(720, cliques_and_separator(8, 40, 400));
    for (const bool blocked : {false, true}) {
        TestContext test;
        Settings& settings = test.context.settings;
        settings.n_threads = 4;
        EngineRun run(test);
        ASSERT_EQ(run.analyse(a), Status::OK);
        settings.blocked = blocked;
        for (const int k : {1, 2}) { // the work space, the tasks
            run.factor.work.task_work.reset();
            test.faults.allocation.set(k);
            EXPECT_EQ(run.factorise(a), blocked && k == 1 ? Status::FACTOR_STORAGE : Status::MEMORY);
        }
        for (std::int32_t s = 0; s < run.analysis.n_snodes; ++s) {
            double* const block = std::exchange(run.factor.blocks[s].values, nullptr);
            settings.check_values = test.context.log.messages = s == 1;
            ASSERT_EQ(run.factorise(a), Status::FACTOR_STORAGE);
            run.factor.blocks[s].values = block;
        }
        EXPECT_EQ(test.text, "INVALID!!!\tNULL LU at node 1\r\n\tLU value init OK!\r\n");
        settings.check_values = true;
        const double value = std::exchange(a.values[70], NAN);
        EXPECT_EQ(run.factorise(a), Status::NOT_SPD);
        a.values[70] = value;
        ASSERT_EQ(run.factorise(a), Status::OK);
        EXPECT_LE(solve_error(run, a), 1e-14);
    }
}

TEST(Factorise, TakesStorageInCoreUnderEveryModeThatAllowsIt) {
    const Csc a = spd(300, grid_edges(20, 15));
    TestContext test;
    Settings& settings = test.context.settings;
    settings.core_mode = CORE_OUT;
    EngineRun run(test), mapped(test);
    ASSERT_EQ(run.analyse(a), Status::OK);
    settings.core_mode = CORE_IN;
    test.faults.allocation.set(1);
    EXPECT_EQ(run.factorise(a), Status::MEMORY);
    ASSERT_EQ(run.factorise(a), Status::OK);
    settings.core_mode = CORE_MAPPED;
    ASSERT_EQ(mapped.analyse(a), Status::OK);
    const platform::MemoryStatus poor{100, 100, 100};
    test.faults.memory_status = &poor;
    test.context.log.messages = true;
    EXPECT_EQ(mapped.factorise(a), Status::MAPPING);
    EXPECT_TRUE(test.text.starts_with("\r\nERROR!!!\t(-1000):Failed to create "));
    for (const int mode : {CORE_IN, CORE_OUT, CORE_LIMITED, CORE_MAPPED, CORE_GPU, CORE_GBLAS}) {
        settings.core_mode = mode;
        test.text.clear();
        EXPECT_EQ(run.factorise(a), mode == CORE_IN || mode == CORE_MAPPED ? Status::OK : Status::BUFFER);
        EXPECT_EQ(test.text == "\r\n\tMAP=0,X_Time=0\t\t", mode == CORE_MAPPED);
    }
}
