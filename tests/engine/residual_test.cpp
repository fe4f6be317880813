// What judges solutions and shares memory out, against definitions.
#include "engine/dense.h"
#include "engine/engine.h"
#include "engine/full_storage.h"
#include "engine/memory_share.h"
#include "engine/residual.h"
#include "memory/factor_files.h"
#include "support/engine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace vyr::test {
namespace {

TEST(Residual, ProductAndErrorFollowTheirDefinitions) {
    Rng rng(test_seed());
    TestContext test;
    for (int n = 1; n <= 20; ++n) {
        const Csc a = spd(n, random_edges(n, 2 * n, rng), rng());
        const std::int64_t ldx = n + 1, ldb = n + 2; // what lies between the columns must not count
        std::vector<double> x(3 * ldx, 1e9), b(3 * ldb, 1e9), y(n);
        double expected = 0, error = 0;
        for (int k = 0; k < 3; ++k) {
            const std::vector<double> column = random_vector(n, rng()), image = multiply(a, column);
            std::copy(column.begin(), column.end(), &x[k * ldx]);
            for (int i = 0; i < n; ++i) b[k * ldb + i] = image[i] + (k == n % 3 ? 1e-3 : 1e-6) * column[0];
            expected = std::max(expected, backward_error(a, &x[k * ldx], &b[k * ldb]));
        }
        mf_multiply(matrix_of(a), x.data(), y.data());
        EXPECT_EQ(y, multiply(a, {x.begin(), x.begin() + n}));
        const auto status = [&](auto... norm) {
            return mf_backward_error(test.context, matrix_of(a), norm..., x.data(), b.data(), 3, ldx, ldb,
                                     error);
        };
        ASSERT_EQ(status(), Status::OK);
        EXPECT_NEAR(error, expected, 1e-12 * expected);
        ASSERT_EQ(status(INF), Status::OK);
        EXPECT_TRUE(std::isnan(error));
        for (const double bad : {INF, static_cast<double>(NAN)}) {
            x[ldx + n / 2] = bad;
            ASSERT_EQ(status(), Status::OK);
            EXPECT_TRUE(std::isnan(error)) << bad;
        }
        for (const int k : {1, 2}) {
            test.faults.allocation.set(k);
            EXPECT_EQ(status(), Status::MEMORY);
        }
    }
    const Csc huge = diagonal({1e308, 1e308});
    const double x[] = {0.5, 1.0, 0.0, 0.0}, b[] = {1e308, 1e308, 0.0, 0.0};
    double error = 0;
    for (const auto& [first, expected] : {std::pair{0, 0.25}, {2, 0.0}}) {
        ASSERT_EQ(mf_backward_error(test.context, matrix_of(huge), x + first, b + first, 1, 2, 2, error),
                  Status::OK);
        EXPECT_DOUBLE_EQ(error, expected);
    }
}

TEST(Engine, AFailureWithoutASentenceGetsThatOfItsStatusAndASolveLooksAtWhatItIsGiven) {
    TestContext test;
    test.context.settings.type = TYPE_LDLT;
    EngineRun run(test);
    Csc a = spd(2, dense_edges(2));
    ASSERT_EQ(run.run(a), Status::OK);
    EXPECT_STREQ(test.context.reason, "");
    const std::int32_t falling[] = {0, 2, 1};
    const Matrix good = matrix_of(a), no_values{good, nullptr};
    const struct {
        int refinement_limit;
        Matrix matrix;
        Status status;
    } rows[] = {{1, {{3, nullptr, nullptr}, nullptr}, Status::HANDLE},
                {1, no_values, Status::OK}, // reads nothing
                {2, no_values, Status::NULL_MATRIX},
                {2, {{2, falling, good.row_ind}, good.values}, Status::STRUCTURE},
                {2, good, Status::OK}};
    for (const auto& row : rows) {
        double b[] = {1, 2};
        test.context.settings.refinement_limit = row.refinement_limit;
        EXPECT_EQ(mf_solve_system(test.context, run.factor, row.matrix, b, 1, false), row.status);
    }
    test.context.settings.type = TYPE_SPD;
    test.context.settings.growth_limit = 10;
    a.values = {1e6, 1, 4};
    EngineRun steep(test);
    EXPECT_EQ(steep.run(a), Status::GROWTH);
    EXPECT_STREQ(test.context.reason, status_text(Status::GROWTH));
}

TEST(MemoryShare, CountsTheBlocksOfTheHeaviestPath) {
    TestContext test;
    EngineRun run(test);
    ASSERT_EQ(run.analyse(spd(600, disconnected_grid_edges(6, 10, 10))), Status::OK);
    double heaviest = 0, bytes = 0;
    for (std::int32_t s = 0; s < run.analysis.n_snodes; ++s) {
        double path = 0;
        for (std::int32_t p = s; p >= 0; p = run.analysis.snode_parent[p])
            path += static_cast<double>(mf_block_cost(run.analysis.snodes[p].n_entries() * sizeof(double)));
        heaviest = std::max(heaviest, path);
    }
    ASSERT_EQ(mf_path_bytes(test.context, run.analysis, bytes), Status::OK);
    EXPECT_EQ(bytes, heaviest);
    test.faults.allocation.set(1);
    EXPECT_EQ(mf_path_bytes(test.context, run.analysis, bytes), Status::MEMORY);
}

TEST(FullStorage, HasBothTrianglesAndEveryDiagonal) {
    Rng rng(test_seed());
    TestContext test;
    for (int round = 0; round < 100; ++round) {
        const int n = static_cast<int>(1 + rng() % 9);
        Csc a = spd(n, random_edges(n, n, rng), rng()), stored;
        stored.n = n;
        for (int j = 0; j < n; ++j) { // some diagonal entries are lost
            if (rng() % 3 == 0) a.values[a.colptr[j]] = 0;
            for (int k = a.colptr[j]; k < a.colptr[j + 1]; ++k)
                if (a.values[k] != 0)
                    stored.rowind.push_back(a.rowind[k]), stored.values.push_back(a.values[k]);
            stored.colptr.push_back(static_cast<std::int32_t>(stored.rowind.size()));
        }
        const Csc expected = both_triangles(a);
        FullStorage full;
        ASSERT_EQ(mf_sym_expand(test.context, matrix_of(stored), full), Status::OK);
        const Matrix m = full.matrix();
        ASSERT_EQ(m.n, n);
        ASSERT_EQ(full.row_ind.count(), expected.nnz());
        EXPECT_TRUE(std::equal(expected.colptr.begin(), expected.colptr.end(), m.col_ptr));
        EXPECT_TRUE(std::equal(expected.rowind.begin(), expected.rowind.end(), m.row_ind));
        EXPECT_TRUE(std::equal(expected.values.begin(), expected.values.end(), m.values));
        test.faults.allocation.set(1 + round % 5);
        EXPECT_EQ(mf_sym_expand(test.context, matrix_of(stored), full), Status::MEMORY);
    }
}

} // namespace
} // namespace vyr::test
