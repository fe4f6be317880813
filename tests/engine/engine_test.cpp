// What judges solutions, scales, foretells memory and completes a matrix, against definitions.
#include "engine/condition.h"
#include "engine/full_storage.h"
#include "engine/residual.h"
#include "engine/solver.h"
#include "support/engine.h"

#include <cmath>

namespace vyr::test {
namespace {

/// Gauss and Jordan, with row exchanges.
Dense inverse(Dense a) {
    const int n = static_cast<int>(a.size());
    for (int i = 0; i < n; ++i) a[i].resize(2 * n), a[i][n + i] = 1;
    for (int k = 0; k < n; ++k) {
        const auto below = [&](const auto& x, const auto& y) { return std::abs(x[k]) < std::abs(y[k]); };
        std::swap(a[k], *std::max_element(a.begin() + k, a.end(), below));
        for (int i = 0; i < n; ++i)
            for (int c = 2 * n - 1; i != k && c >= k; --c) a[i][c] -= a[i][k] / a[k][k] * a[k][c];
        for (int c = 2 * n - 1; c >= k; --c) a[k][c] /= a[k][k];
    }
    for (auto& row : a) row.erase(row.begin(), row.begin() + n);
    return a;
}

/// A random symmetric matrix, not dominated by its diagonal.
Csc random_matrix(Rng& rng) {
    const auto n = static_cast<std::int32_t>(2 + rng() % 30);
    Csc a = spd(n, random_edges(n, n * 4, rng), rng());
    for (int j = 0; j < n; ++j) a.values[a.colptr[j]] *= static_cast<double>(rng() % 2000) / 1000 - 1;
    return a;
}

/// A dense operator that fails once its calls are used up.
struct DenseOperator {
    Dense m;
    int left = 12;

    static Status apply(void* self, double* x) noexcept {
        DenseOperator& op = *static_cast<DenseOperator*>(self);
        if (op.left-- == 0) return Status::FACTOR_FILE;
        std::vector<double> y(op.m.size());
        for (std::size_t i = 0; i < y.size(); ++i)
            for (std::size_t j = 0; j < y.size(); ++j) y[i] += op.m[i][j] * x[j];
        std::copy(y.begin(), y.end(), x);
        return Status::OK;
    }
};

Status condition(TestContext& test, const Csc& a, DenseOperator op, const double* scale, double& result) {
    return mf_condition(test.context, matrix_of(a), {&op, DenseOperator::apply}, scale, result);
}

TEST(Condition, NeverExceedsTheTrueOneAndSeldomMissesIt) {
    Rng rng(test_seed());
    TestContext test;
    int equal = 0;
    double estimate = 0;
    for (int round = 0; round < 200; ++round) {
        const Csc a = random_matrix(rng);
        std::vector<double> scale(a.n, 1.0);
        for (double& s : scale) s = round % 3 == 0 ? 1 : std::ldexp(1.0, static_cast<int>(rng() % 9) - 4);
        Dense scaled = dense(a);
        for (int i = 0; i < a.n; ++i)
            for (int j = 0; j < a.n; ++j) scaled[i][j] *= scale[i] * scale[j];
        const double exact = norm(scaled) * norm(inverse(scaled));
        const DenseOperator op{inverse(dense(a))};
        ASSERT_EQ(condition(test, a, op, round % 3 == 0 ? nullptr : scale.data(), estimate), Status::OK);
        ASSERT_LE(estimate, exact * (1 + 1e-9));
        ASSERT_GE(estimate, exact / 10);
        equal += estimate > exact * (1 - 1e-9);
        for (const int last : {0, 1, 2, 3}) // there are no fewer solves
            ASSERT_EQ(condition(test, a, {op.m, last}, nullptr, estimate), Status::FACTOR_FILE);
        test.faults.allocation.set(1 + round % 2);
        ASSERT_EQ(condition(test, a, op, nullptr, estimate), Status::MEMORY);
    }
    EXPECT_GT(equal, 150);
    const Csc one = diagonal({1, 1, 1});
    Csc close = spd(2, dense_edges(2));
    close.values = {1, 1, 1 + 0x1p-52};
    const struct {
        Csc a;
        Dense inverse;
        double condition;
    } rows[] = {// The climb starts where this operator is 0; the alternating vector (1, -1.5, 2) gives (0,
                // -3.5, 3.5).
                {one, {{0, 0, 0}, {0, 1, -1}, {0, -1, 1}}, 14.0 / 9},
                {close, inverse(dense(close)), 0x1p54},
                {one, {{1, 0, 0}, {0, INF, 0}, {0, 0, 1}}, INF},
                {one, {{1, 0, 0}, {0, NAN, 0}, {0, 0, 1}}, INF}};
    for (const auto& row : rows) {
        ASSERT_EQ(condition(test, row.a, {row.inverse}, nullptr, estimate), Status::OK);
        EXPECT_DOUBLE_EQ(estimate, row.condition);
    }
}

TEST(Equilibration, BringsEveryRowNearOneByPowersOfTwo) {
    Rng rng(test_seed());
    TestContext test;
    for (int round = 0; round < 100; ++round) {
        Csc a = round % 9 == 0 ? diagonal({0, 4e-300, 0, 1e300}) : random_matrix(rng);
        if (round % 3 == 0) a.values[0] = 0; // the rest of the row is stored in its column alone
        std::vector<double> scale(a.n), largest(a.n);
        std::vector<int> exponents(a.n);
        for (int& e : exponents) e = round % 9 == 0 ? 0 : static_cast<int>(rng() % 900) - 450;
        each_entry(a, [&](int i, int j, double& v) { v = std::ldexp(v, exponents[i] + exponents[j]); });
        ASSERT_EQ(mf_equilibration(test.context, matrix_of(a), scale.data()), Status::OK);
        each_entry(a, [&](int i, int j, double v) {
            for (const int row : {i, j})
                largest[row] = std::max(largest[row], std::abs(v * scale[i] * scale[j]));
        });
        for (int i = 0; i < a.n; ++i) {
            ASSERT_EQ(scale[i], std::exp2(std::ilogb(scale[i])));
            ASSERT_TRUE(largest[i] == 0 ? scale[i] == 1 : largest[i] > 0.45 && largest[i] < 2.15)
                << largest[i];
        }
        test.faults.allocation.set(1);
        ASSERT_EQ(mf_equilibration(test.context, matrix_of(a), scale.data()), Status::MEMORY);
    }
}

TEST(Residual, ProductAndErrorFollowTheirDefinitionsForAnyNumberOfColumns) {
    Rng rng(test_seed());
    TestContext test;
    for (int n = 1; n <= 20; ++n) {
        const Csc a = spd(n, random_edges(n, 2 * n, rng), rng());
        const int count = 1 + n % 11, bad = n % count;
        std::vector<double> x = random_vector(n * count, rng()), b = x, r(n * count), y(n);
        std::vector<JudgedColumn> columns;
        for (int k = 0; k < count; ++k) {
            const std::vector<double> image = multiply(a, {&x[k * n], &x[k * n] + n});
            for (int i = 0; i < n; ++i) b[k * n + i] = image[i] + (k % 3 + 1) * 1e-3 * x[k * n + i];
            columns.push_back({&x[k * n], &b[k * n], k % 2 == 0 ? &r[k * n] : nullptr, 0});
        }
        mf_multiply(matrix_of(a), x.data(), y.data());
        EXPECT_EQ(y, multiply(a, {x.begin(), x.begin() + n}));
        double norm = 0;
        ASSERT_EQ(mf_norm_inf(test.context, matrix_of(a), norm), Status::OK);
        const auto judge = [&](double size) {
            return mf_judge(test.context, matrix_of(a), size, columns.data(), count);
        };
        ASSERT_EQ(judge(norm), Status::OK);
        for (int k = 0; k < count; ++k) {
            const double error = backward_error(a, &x[k * n], &b[k * n]);
            EXPECT_NEAR(columns[k].error, error, 1e-12 * error);
            for (int i = 0; i < n && k % 2 == 0; ++i)
                EXPECT_NEAR(r[k * n + i], (k % 3 + 1) * 1e-3 * x[k * n + i], 1e-12 * norm);
        }
        for (const double value : {INF, static_cast<double>(NAN)}) {
            x[bad * n + n / 2] = value;
            ASSERT_EQ(judge(norm), Status::OK);
            for (int k = 0; k < count; ++k) EXPECT_EQ(std::isnan(columns[k].error), k == bad);
        }
        ASSERT_EQ(judge(INF), Status::OK);
        EXPECT_TRUE(std::isnan(columns[0].error));
        test.faults.allocation.set(1);
        EXPECT_EQ(judge(norm), Status::MEMORY);
    }
    const Csc huge = diagonal({1e308, 1e308});
    const double x[] = {0.5, 1.0, 0.0, 0.0}, b[] = {1e308, 1e308, 0.0, 0.0};
    JudgedColumn columns[] = {{x, b, nullptr, 0}, {x + 2, b + 2, nullptr, 0}};
    ASSERT_EQ(mf_judge(test.context, matrix_of(huge), 1e308, columns, 2), Status::OK);
    EXPECT_DOUBLE_EQ(columns[0].error, 0.25);
    EXPECT_EQ(columns[1].error, 0);
}

TEST(MemoryNeed, IsAboutWhatAFactorizationInCoreTakes) {
    const Csc small = spd(2904, disconnected_grid_edges(6, 22, 22)),
              large = spd(8000, grid_edges(20, 20, 20));
    for (const bool definite : {true, false})
        for (const int threads : {1, 8})
            for (const Csc& a : {small, large}) {
                const InputMatrix input{
                    .n = a.n, .ptr = a.colptr.data(), .ind = a.rowind.data(), .values = a.values.data()};
                SolverAnalysis analysis;
                SolverFactor factor(analysis);
                Context analysing(analysis.memory), factorising(factor.memory);
                analysing.settings.n_threads = factorising.settings.n_threads = threads;
                const Kind kind = definite ? Kind::POSITIVE : Kind::INDEFINITE;
                ASSERT_EQ(mf_solver_analyse(analysing, input, kind, false, analysis), Status::OK);
                MemoryNeed need;
                ASSERT_EQ(mf_solver_memory(analysing, analysis, need), Status::OK);
                EXPECT_GT(analysis.work_bytes, 8.0 * a.n);
                ASSERT_EQ(mf_solver_factorise(factorising, input, factor), Status::OK);
                const double share = mf_mem_peak(factor.memory) / need.in_core;
                // Of L D L^T, room for delayed pivots; and not all threads are at their costliest moment at
                // once.
                const double least = definite || threads == 1 ? 0.9 : 0.5;
                EXPECT_TRUE(share > least && share < (definite ? 1.05 : 1.25)) << share;
            }
}

TEST(FullStorage, HasBothTrianglesAndEveryDiagonal) {
    Rng rng(test_seed());
    TestContext test;
    for (int round = 0; round < 100; ++round) {
        const int n = static_cast<int>(1 + rng() % 9);
        Csc a = spd(n, random_edges(n, n, rng), rng());
        for (int j = 0; j < n; ++j)
            if (rng() % 3 == 0) a.values[a.colptr[j]] = 0;
        const Csc stored = without_zeros(a), expected = both_triangles(a); // lost some diagonal entries
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
