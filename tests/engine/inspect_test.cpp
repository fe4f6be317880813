// What is read out of a factor, held against dense algebra; condition and scaling against their definitions.
#include "engine/condition.h"
#include "engine/inspect.h"
#include "engine/memory_share.h"
#include "solve/solve.h"
#include "support/capture.h"
#include "support/engine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

namespace vyr::test {
namespace {

using Dense = std::vector<std::vector<double>>;
constexpr double INF = std::numeric_limits<double>::infinity();

Dense zeros(int n) {
    return Dense(n, std::vector<double>(n));
}

Dense dense(const Csc& a) {
    Dense d = zeros(a.n);
    for (int j = 0; j < a.n; ++j)
        for (int k = a.colptr[j]; k < a.colptr[j + 1]; ++k)
            d[a.rowind[k]][j] = d[j][a.rowind[k]] = a.values[k];
    return d;
}

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

/// Jacobi's rotations.
std::vector<double> eigenvalues(Dense a) {
    const int n = static_cast<int>(a.size());
    for (int round = 0; round < 12; ++round)
        for (int p = 0; p < n; ++p)
            for (int q = p + 1; q < n; ++q) {
                const double angle = 0.5 * std::atan2(2 * a[p][q], a[q][q] - a[p][p]);
                const double c = std::cos(angle), s = std::sin(angle);
                for (int i = 0; i < n; ++i)
                    a[p][i] = c * a[p][i] - s * std::exchange(a[q][i], s * a[p][i] + c * a[q][i]);
                for (int i = 0; i < n; ++i)
                    a[i][p] = c * a[i][p] - s * std::exchange(a[i][q], s * a[i][p] + c * a[i][q]);
            }
    std::vector<double> values;
    for (int i = 0; i < n; ++i) values.push_back(a[i][i]);
    return values;
}

double norm_one(const Dense& a) {
    double norm = 0;
    for (const auto& row : a) {
        double sum = 0;
        for (const double value : row) sum += std::abs(value);
        norm = std::max(norm, sum);
    }
    return norm;
}

/// Complete graphs, the first of them (indefinite: with zeros on the diagonal) a separator of all others.
Csc star(Rng& rng, bool definite) {
    const auto heads = static_cast<std::int32_t>(1 + rng() % 24);
    Edges edges = dense_edges(heads);
    std::int32_t n = heads;
    for (int leaves = static_cast<int>(rng() % 6); leaves > 0; --leaves) {
        const auto size = static_cast<std::int32_t>(1 + rng() % 6);
        for (auto [i, j] : dense_edges(size)) edges.emplace_back(n + i, n + j);
        for (int k = 0; k < 12; ++k)
            edges.emplace_back(n + static_cast<int>(rng() % size), static_cast<int>(rng() % heads));
        n += size;
    }
    Csc a = spd(n, edges, rng());
    for (int j = 0; j < n && !definite; ++j) {
        const bool weak = j < heads && heads > 4 && rng() % 2 == 0;
        a.values[a.colptr[j]] *= weak ? 0 : rng() % 2 == 0 ? -1 : 1;
        for (int k = a.colptr[j]; k < a.colptr[j + 1]; ++k) // weak diagonals stay weak
            if (j < heads && a.rowind[k] >= heads) a.values[k] *= 1e-5;
    }
    return a;
}

/// A random factor, and what is read out of it.
struct Inspected {
    TempDirectory directory;
    TestContext test;
    EngineRun run{test};
    Csc a;
    std::vector<std::int64_t> ptr;
    std::vector<std::int32_t> ind, order;
    std::vector<double> values, diagonal, beside;
    PivotSummary pivots;

    Inspected(Rng& rng, int type, int core_mode) : a(star(rng, type == TYPE_SPD)) {
        test.context.settings.type = type;
        test.context.settings.core_mode = core_mode;
        test.context.settings.n_threads = 1;
        EXPECT_EQ(run.run(a), Status::OK);
        const auto nnz = static_cast<std::size_t>(mf_factor_nnz(run.analysis));
        ptr.resize(a.n + 1), ind.resize(nnz), values.resize(nnz), order.resize(a.n);
        diagonal.resize(a.n), beside.resize(a.n);
    }
    Status columns() {
        return mf_factor_columns(test.context, run.factor, ptr.data(), ind.data(), values.data(),
                                 order.data());
    }
    Status d() { return mf_factor_diagonal(test.context, run.factor, diagonal.data(), beside.data()); }
    Status summary() { return mf_pivot_summary(test.context, run.factor, pivots); }
    Status part(SolvePart part, std::vector<double>& x) {
        return mf_solve_part(test.context, run.factor, part, x.data(), 2, a.n + 1);
    }
    std::vector<double> after(std::initializer_list<SolvePart> parts, std::vector<double> x) {
        for (const SolvePart p : parts) EXPECT_EQ(part(p, x), Status::OK);
        return x;
    }
};

/// Largest difference between M x and y, for both columns.
double misfit(const Dense& m, const std::vector<double>& x, const std::vector<double>& y) {
    const std::size_t n = m.size();
    double worst = 0;
    for (std::size_t at = 0; at <= n + 1; at += n + 1)
        for (std::size_t i = 0; i < n; ++i) {
            double sum = -y[at + i];
            for (std::size_t j = 0; j < n; ++j) sum += m[i][j] * x[at + j];
            worst = std::max(worst, std::abs(sum));
        }
    return worst;
}

void check_factor(Inspected& f, int& n_pairs, int& n_moved) {
    const int n = f.a.n;
    const bool spd = f.test.context.settings.type == TYPE_SPD;
    const Dense a = dense(f.a);
    ASSERT_EQ(mf_factor_columns(f.test.context, f.run.factor, f.ptr.data(), nullptr, nullptr, nullptr),
              Status::OK);
    ASSERT_EQ(f.ptr[n], mf_factor_nnz(f.run.analysis));
    ASSERT_EQ(f.columns(), Status::OK);
    ASSERT_EQ(f.d(), Status::OK);
    Dense l = zeros(n), lt = l, d = l, permuted = l, moved = l;
    for (int j = 0; j < n; ++j) {
        ASSERT_EQ(f.ind[f.ptr[j]], j);
        ASSERT_EQ(f.values[f.ptr[j]], spd ? f.diagonal[j] : 1);
        d[j][j] = spd ? 1 : f.diagonal[j];
        if (f.beside[j] != 0) d[j][j + 1] = d[j + 1][j] = f.beside[j];
        for (auto k = f.ptr[j]; k < f.ptr[j + 1]; ++k) {
            ASSERT_TRUE(k == f.ptr[j] || f.ind[k - 1] < f.ind[k]);
            l[f.ind[k]][j] = lt[j][f.ind[k]] = f.values[k];
        }
        for (int i = 0; i < n; ++i) permuted[i][j] = a[f.order[i]][f.order[j]];
        n_moved += f.order[j] != f.run.analysis.perm[j];
    }
    // Products of the dense matrices, a column at a time; then every part against its matrix.
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            for (int k = 0; k <= std::min(i, j); ++k)
                for (int m = std::max(0, k - 1); m <= std::min(k + 1, n - 1); ++m)
                    moved[i][j] += l[i][k] * d[k][m] * l[j][m];
            ASSERT_NEAR(moved[i][j], permuted[i][j], 1e-9) << i << " " << j;
        }
    using enum SolvePart;
    const std::vector<double> x = random_vector(2 * n + 2, 5);
    std::vector<double> y = x;
    for (int k = 0; k < n; ++k)
        for (const int at : {0, n + 1}) y[at + k] = x[at + f.run.analysis.perm[k]];
    ASSERT_EQ(f.after({P}, x), y);
    ASSERT_EQ(f.after({P, PT}, x), x);
    for (int k = 0; k < n; ++k)
        for (const int at : {0, n + 1}) y[at + k] = x[at + f.order[k]];
    const std::vector<double> lower = f.after({PL}, x), middle = f.after({D}, lower);
    EXPECT_LE(misfit(l, lower, y), 1e-9);
    EXPECT_LE(misfit(d, middle, lower), 1e-9);
    ASSERT_EQ(f.after({P, L}, x), lower);
    const std::vector<double> solution = f.after({LTPT}, middle);
    ASSERT_EQ(f.after({LT, PT}, middle), solution);
    EXPECT_EQ(solution[n], x[n]); // between the columns
    EXPECT_LE(misfit(a, solution, x), 1e-8);

    ASSERT_EQ(f.summary(), Status::OK);
    const PivotSummary& p = f.pivots;
    std::int64_t negative = 0, pairs = 0;
    double high = 0, low = INF, logarithm = 0;
    for (const double value : eigenvalues(a)) {
        negative += value < 0;
        logarithm += std::log(std::abs(value));
    }
    for (const double value : spd ? f.diagonal : eigenvalues(d)) {
        high = std::max(high, std::abs(value));
        low = std::min(low, std::abs(value));
    }
    for (const double value : f.beside) pairs += value != 0;
    EXPECT_EQ(p.negative, negative);
    EXPECT_EQ(p.positive, n - negative);
    EXPECT_EQ(p.zero, 0);
    EXPECT_EQ(p.sign, negative % 2 == 0 ? 1 : -1);
    EXPECT_EQ(p.two_by_two, pairs);
    EXPECT_NEAR(p.log_abs_det, logarithm, 1e-7 * n);
    EXPECT_NEAR(p.largest, high, 1e-9 * high);
    EXPECT_NEAR(p.smallest, low, 1e-9 * high);
    n_pairs += static_cast<int>(pairs);
}

/// A dense operator that counts its calls, and fails at the last one it may do.
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

} // namespace

TEST(Inspect, ColumnsDiagonalAndPartsAreTheFactorizationOfThePermutedMatrix) {
    Rng rng(test_seed());
    int n_pairs = 0, n_moved = 0;
    for (int round = 0; round < 20; ++round)
        for (const int type : {TYPE_SPD, TYPE_LDLT, TYPE_CSYM})
            for (const int core_mode : {CORE_IN, CORE_OUT}) {
                SCOPED_TRACE(std::to_string(round) + ", " + std::to_string(type) + ", " +
                             std::to_string(core_mode));
                Inspected f(rng, type, core_mode);
                ASSERT_NO_FATAL_FAILURE(check_factor(f, n_pairs, n_moved));
            }
    EXPECT_GT(n_pairs, 20);
    EXPECT_GT(n_moved, 100);
}

TEST(Inspect, MissingMemoryAndMissingFilesAreStatuses) {
    Rng rng(test_seed());
    for (const int type : {TYPE_SPD, TYPE_LDLT}) {
        Inspected f(rng, type, CORE_OUT);
        std::vector<double> x(2 * f.a.n + 2);
        const std::function<Status()> calls[] = {
            [&] { return f.columns(); }, [&] { return f.part(SolvePart::LTPT, x); },
            [&] { return f.part(SolvePart::PL, x); }, [&] { return f.summary(); }};
        for (const auto& call : calls)
            for (int k = 1; f.test.faults.allocation.set(k), call() != Status::OK; ++k) {
                ASSERT_FALSE(f.test.faults.allocation.armed());
                ASSERT_LT(k, 9);
            }
        f.test.faults.allocation.set(0);
        std::filesystem::remove("VYR_ 0.mmf");
        for (const auto& call : calls)
            EXPECT_EQ(call(), type == TYPE_SPD && &call == &calls[3] ? Status::OK : Status::FACTOR_FILE);
    }
}

TEST(Condition, NeverExceedsTheTrueOneAndSeldomMissesIt) {
    Rng rng(test_seed());
    TestContext test;
    int equal = 0;
    for (int round = 0; round < 200; ++round) {
        const Csc a = star(rng, round % 2 == 0);
        std::vector<double> scale(a.n, 1.0);
        for (double& s : scale) s = round % 3 == 0 ? 1 : std::ldexp(1.0, static_cast<int>(rng() % 9) - 4);
        Dense scaled = dense(a);
        for (int i = 0; i < a.n; ++i)
            for (int j = 0; j < a.n; ++j) scaled[i][j] *= scale[i] * scale[j];
        const double exact = norm_one(scaled) * norm_one(inverse(scaled));
        const DenseOperator op{inverse(dense(a))};
        double estimate = 0;
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
    double estimate = 0;
    const Csc one = diagonal({1, 1, 1});
    // The climb starts where this operator is 0; the alternating vector (1, -1.5, 2) gives (0, -3.5, 3.5).
    ASSERT_EQ(condition(test, one, {{{0, 0, 0}, {0, 1, -1}, {0, -1, 1}}}, nullptr, estimate), Status::OK);
    EXPECT_DOUBLE_EQ(estimate, 14.0 / 9);
    Csc close = spd(2, dense_edges(2));
    close.values = {1, 1, 1 + 0x1p-52};
    ASSERT_EQ(condition(test, close, {inverse(dense(close))}, nullptr, estimate), Status::OK);
    EXPECT_DOUBLE_EQ(estimate, 0x1p54);
    for (const double bad : {INF, static_cast<double>(NAN)}) {
        ASSERT_EQ(condition(test, one, {{{1, 0, 0}, {0, bad, 0}, {0, 0, 1}}}, nullptr, estimate), Status::OK);
        EXPECT_EQ(estimate, INF);
    }
}

TEST(Equilibration, BringsEveryRowNearOneByPowersOfTwo) {
    Rng rng(test_seed());
    TestContext test;
    for (int round = 0; round < 100; ++round) {
        Csc a = star(rng, false);
        std::vector<int> exponents(a.n);
        for (int& e : exponents) e = static_cast<int>(rng() % 900) - 450;
        for (int j = 0; j < a.n; ++j)
            for (int k = a.colptr[j]; k < a.colptr[j + 1]; ++k)
                a.values[k] = round % 5 != 0 && j == 0 && a.rowind[k] >= 0 && round % 4 == 0
                                  ? 0
                                  : std::ldexp(a.values[k], exponents[j] + exponents[a.rowind[k]]);
        std::vector<double> scale(a.n), largest(a.n);
        ASSERT_EQ(mf_equilibration(test.context, matrix_of(a), scale.data()), Status::OK);
        for (int j = 0; j < a.n; ++j)
            for (int k = a.colptr[j]; k < a.colptr[j + 1]; ++k)
                for (const int i : {j, a.rowind[k]})
                    largest[i] = std::max(largest[i], std::abs(a.values[k] * scale[j] * scale[a.rowind[k]]));
        for (int i = 0; i < a.n; ++i) {
            int exponent;
            ASSERT_EQ(std::frexp(scale[i], &exponent), 0.5);
            ASSERT_TRUE(largest[i] == 0 ? scale[i] == 1 : largest[i] > 0.45 && largest[i] < 2.15)
                << largest[i];
        }
        test.faults.allocation.set(1);
        ASSERT_EQ(mf_equilibration(test.context, matrix_of(a), scale.data()), Status::MEMORY);
    }
}

} // namespace vyr::test
