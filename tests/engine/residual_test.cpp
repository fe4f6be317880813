// What judges solutions and shares memory out, against definitions.
#include "core/tuning.h"
#include "engine/engine.h"
#include "engine/full_storage.h"
#include "engine/memory_share.h"
#include "engine/residual.h"
#include "memory/factor_files.h"
#include "platform/platform.h"
#include "support/engine.h"
#include "tools/vyr/norms.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace vyr::test {
namespace {

constexpr double INF = std::numeric_limits<double>::infinity();

tool::SparseMatrix sparse(const Csc& a) {
    return {a.n, a.colptr, a.rowind, a.values};
}

TEST(Residual, ProductNormAndErrorFollowTheirDefinitions) {
    Rng rng(test_seed());
    TestContext test;
    for (int n = 1; n <= 20; ++n) {
        const Csc a = spd(n, random_edges(n, 2 * n, rng), rng());
        const Matrix matrix = matrix_of(a);
        const std::int64_t ldx = n + 1, ldb = n + 2; // what lies between the columns must not count
        std::vector<double> x(3 * ldx, 1e9), b(3 * ldb, 1e9), y(n), packed_x, packed_b;
        for (int k = 0; k < 3; ++k) {
            const std::vector<double> column = random_vector(n, rng()), image = multiply(a, column);
            std::copy_n(column.begin(), n, &x[k * ldx]);
            for (int i = 0; i < n; ++i) b[k * ldb + i] = image[i] + (k == n % 3 ? 1e-3 : 1e-6) * column[0];
            packed_x.insert(packed_x.end(), &x[k * ldx], &x[k * ldx] + n);
            packed_b.insert(packed_b.end(), &b[k * ldb], &b[k * ldb] + n);
        }
        mf_multiply(matrix, x.data(), y.data());
        EXPECT_EQ(y, multiply(a, {x.begin(), x.begin() + n}));
        double norm = 0, error = 0;
        ASSERT_EQ(mf_norm_inf(test.context, matrix, norm), Status::OK);
        EXPECT_DOUBLE_EQ(norm, tool::norm_inf(sparse(a)));
        ASSERT_EQ(mf_backward_error(test.context, matrix, x.data(), b.data(), 3, ldx, ldb, error),
                  Status::OK);
        EXPECT_NEAR(error, worst_error(a, packed_x, packed_b), 1e-12 * error);
        for (const double bad : {INF, static_cast<double>(NAN)}) {
            x[ldx + n / 2] = bad;
            ASSERT_EQ(mf_backward_error(test.context, matrix, x.data(), b.data(), 3, ldx, ldb, error),
                      Status::OK);
            EXPECT_TRUE(std::isnan(error)) << bad;
        }
        ASSERT_EQ(mf_backward_error(test.context, matrix, INF, x.data(), b.data(), 1, n, n, error),
                  Status::OK);
        EXPECT_TRUE(std::isnan(error));
        for (const int k : {1, 2}) {
            test.faults.allocation.set(k);
            EXPECT_EQ(mf_backward_error(test.context, matrix, x.data(), b.data(), 1, n, n, error),
                      Status::MEMORY);
        }
    }
}

TEST(Residual, HugeEntriesDoNotOverflowTheErrorAndNoResidualIsNoError) {
    TestContext test;
    const Csc a = diagonal({1e308, 1e308});
    const double x[] = {0.5, 1.0, 0.0, 0.0}, b[] = {1e308, 1e308, 0.0, 0.0};
    double error = 0;
    ASSERT_EQ(mf_backward_error(test.context, matrix_of(a), x, b, 2, 2, 2, error), Status::OK);
    EXPECT_DOUBLE_EQ(error, 0.25);
    ASSERT_EQ(mf_backward_error(test.context, matrix_of(a), x + 2, b + 2, 1, 2, 2, error), Status::OK);
    EXPECT_EQ(error, 0);
}

// A factor of s A turns a residual r into (1 - 1/s) r: good ones stop at once, slow ones after ten steps, bad
// ones are not followed.
TEST(Engine, AFailureWithoutASentenceGetsThatOfItsStatusAndASolveLooksAtWhatItIsGiven) {
    TestContext test;
    test.context.settings.type = TYPE_LDLT;
    EngineRun run(test);
    Csc a = spd(2, dense_edges(2));
    ASSERT_EQ(run.run(a), Status::OK);
    EXPECT_STREQ(test.context.reason, "");
    const auto solve = [&](int refinement_limit, Matrix matrix) {
        double b[] = {1, 2};
        test.context.settings.refinement_limit = refinement_limit;
        return mf_solve_system(test.context, run.factor, matrix, b, 1, false);
    };
    const std::int32_t falling[] = {0, 2, 1};
    const Matrix good = matrix_of(a), no_values{good, nullptr},
                 broken{{2, falling, good.row_ind}, good.values};
    EXPECT_EQ(solve(1, {{3, nullptr, nullptr}, nullptr}), Status::HANDLE);
    EXPECT_EQ(solve(1, no_values), Status::OK) << "reads nothing";
    EXPECT_EQ(solve(2, no_values), Status::NULL_MATRIX);
    EXPECT_EQ(solve(2, broken), Status::STRUCTURE);
    EXPECT_EQ(solve(2, good), Status::OK);
    test.context.settings.type = TYPE_SPD;
    test.context.settings.growth_limit = 10;
    a.values = {1e6, 1, 4};
    EngineRun steep(test);
    EXPECT_EQ(steep.run(a), Status::GROWTH);
    EXPECT_STREQ(test.context.reason, status_text(Status::GROWTH));
}

TEST(MemoryShare, CountsWhatIsDefined) {
    for (const int type : {TYPE_SPD, TYPE_LDLT}) {
        TestContext test;
        test.context.settings.type = type;
        EngineRun run(test);
        ASSERT_EQ(run.analyse(spd(600, disconnected_grid_edges(6, 10, 10))), Status::OK);
        const Analysis& analysis = run.analysis;
        std::int64_t nnz = 0;
        double path_bytes = 0, largest = 0;
        for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
            const mf_snode& node = analysis.snodes[s];
            for (std::int64_t j = 0; j < node.npiv; ++j) nnz += node.n_rows() - j;
            double bytes = 0;
            for (std::int32_t p = s; p >= 0; p = analysis.snode_parent[p])
                bytes += static_cast<double>(mf_block_cost(analysis.snodes[p].n_entries() * sizeof(double)));
            path_bytes = std::max(path_bytes, bytes);
            largest = std::max(largest, 8.0 * static_cast<double>(node.n_entries()));
        }
        EXPECT_EQ(mf_factor_nnz(analysis), nnz);
        double bytes = 0;
        ASSERT_EQ(mf_path_bytes(test.context, analysis, bytes), Status::OK);
        EXPECT_EQ(bytes, path_bytes);

        const double ld = static_cast<double>(analysis.ldw());
        const double fronts = type == TYPE_LDLT ? largest + 8 * ld * ld : 0;
        for (const int n_threads : {1, 3}) {
            const double a_thread = 24e6 + 8.0 * tuning::STRIP_COLUMNS * analysis.largest_update;
            const double rest = 24e6 + 12.0 * analysis.n_input + 64.0 * analysis.n + 8.0 * analysis.n_snodes;
            double beside = 0, resident = 0;
            do {
                resident = static_cast<double>(platform::resident_bytes());
                beside = mf_bytes_beside_blocks(analysis, type, n_threads);
            } while (resident != static_cast<double>(platform::resident_bytes()));
            EXPECT_NEAR(beside, resident + a_thread * n_threads + rest + fronts, 1);
        }
        test.faults.allocation.set(1);
        EXPECT_EQ(mf_path_bytes(test.context, analysis, bytes), Status::MEMORY);
    }
}

TEST(FullStorage, HasBothTrianglesAndEveryDiagonal) {
    Rng rng(test_seed());
    TestContext test;
    for (int round = 0; round < 100; ++round) {
        const int n = static_cast<int>(1 + rng() % 9);
        Csc a = spd(n, random_edges(n, n, rng), rng());
        for (int j = 0; j < n; ++j) // some diagonal entries are lost
            if (rng() % 3 == 0) {
                a.rowind.erase(a.rowind.begin() + a.colptr[j]);
                a.values.erase(a.values.begin() + a.colptr[j]);
                for (int k = j + 1; k <= n; ++k) --a.colptr[k];
            }
        std::vector<double> expected(n * n, 0.0), dense(n * n, 0.0);
        for (int j = 0; j < n; ++j)
            for (int k = a.colptr[j]; k < a.colptr[j + 1]; ++k)
                expected[a.rowind[k] * n + j] = expected[j * n + a.rowind[k]] = a.values[k];
        FullStorage full;
        ASSERT_EQ(mf_sym_expand(test.context, matrix_of(a), full), Status::OK);
        const Matrix m = full.matrix();
        ASSERT_EQ(m.n, n);
        ASSERT_EQ(m.col_ptr[0], 0);
        for (int j = 0; j < n; ++j) {
            const std::int32_t *begin = m.row_ind + m.col_ptr[j], *end = m.row_ind + m.col_ptr[j + 1];
            EXPECT_TRUE(std::is_sorted(begin, end));
            EXPECT_EQ(std::adjacent_find(begin, end), end);
            EXPECT_TRUE(std::binary_search(begin, end, j));
            for (const std::int32_t* i = begin; i < end; ++i) dense[*i * n + j] = m.values[i - m.row_ind];
        }
        EXPECT_EQ(dense, expected);
        EXPECT_EQ(full.row_ind.count(), m.col_ptr[n]);
        test.faults.allocation.set(1 + round % 5);
        EXPECT_EQ(mf_sym_expand(test.context, matrix_of(a), full), Status::MEMORY);
    }
}

} // namespace
} // namespace vyr::test
