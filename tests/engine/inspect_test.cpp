// What is read out of a factor, held against dense algebra.
#include "engine/dense.h"
#include "engine/inspect.h"
#include "engine/memory_share.h"
#include "solve/solve.h"
#include "support/capture.h"
#include "support/engine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace vyr::test {
namespace {

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

/// Complete graphs, the first of them (indefinite: with zeros on the diagonal) a separator of all others.
Csc star(Rng& rng, bool definite) {
    const auto heads = static_cast<std::int32_t>(1 + rng() % 30);
    Edges edges = dense_edges(heads);
    std::int32_t n = heads;
    for (int leaves = static_cast<int>(rng() % 6); leaves > 0; --leaves) {
        const auto size = static_cast<std::int32_t>(1 + rng() % 6);
        for (auto [i, j] : dense_edges(size)) edges.emplace_back(n + i, n + j);
        for (std::int32_t i = 0; i < size; ++i)
            for (std::int32_t j = 0; j < heads; ++j) edges.emplace_back(n + i, j);
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

/// Largest misfit of M x = y in units of what rounding may do, for both columns.
double misfit(const Dense& m, const std::vector<double>& x, const std::vector<double>& y) {
    const std::size_t n = m.size();
    double worst = 0;
    for (std::size_t at = 0; at <= n + 1; at += n + 1)
        for (std::size_t i = 0; i < n; ++i) {
            double sum = -y[at + i], size = std::abs(sum);
            for (std::size_t j = 0; j < n; ++j) {
                sum += m[i][j] * x[at + j];
                size += std::abs(m[i][j] * x[at + j]);
            }
            worst = std::max(worst, std::abs(sum) / (1e-14 * size + 1e-300));
        }
    return worst;
}

/// x with both columns taken into the given order.
std::vector<double> taken(std::vector<double> x, const std::int32_t* order, std::size_t n) {
    const std::vector<double> before = x;
    for (std::size_t k = 0; k < n; ++k)
        for (const std::size_t at : {std::size_t{0}, n + 1}) x[at + k] = before[at + order[k]];
    return x;
}

void check_parts(Inspected& f, const Dense& l, const Dense& lt, const Dense& d) {
    using enum SolvePart;
    const std::int32_t* perm = f.run.analysis.perm.get();
    const std::vector<double> x = random_vector(2 * f.a.n + 2, 5);
    EXPECT_EQ(f.after({P}, x), taken(x, perm, f.a.n));
    EXPECT_EQ(f.after({P, PT}, x), x);
    const std::vector<double> lower = f.after({PL}, x), middle = f.after({D}, lower);
    const std::vector<double> solution = f.after({LTPT}, middle);
    EXPECT_EQ(f.after({P, L}, x), lower);
    EXPECT_EQ(f.after({LT, PT}, middle), solution);
    EXPECT_LE(misfit(l, lower, taken(x, f.order.data(), f.a.n)), 1);
    EXPECT_LE(misfit(d, middle, lower), 1);
    EXPECT_LE(misfit(lt, taken(solution, f.order.data(), f.a.n), middle), 1);
    EXPECT_EQ(solution[f.a.n], x[f.a.n]); // between the columns
}

/// eigenvalues   with the inertia and the determinant of the matrix
/// magnitudes    what the extremes are taken of
void check_summary(Inspected& f, const std::vector<double>& eigenvalues, std::vector<double> magnitudes) {
    ASSERT_EQ(f.summary(), Status::OK);
    const PivotSummary& p = f.pivots;
    std::int64_t negative = 0;
    double logarithm = 0;
    for (const double value : eigenvalues) {
        negative += value < 0;
        logarithm += std::log(std::abs(value));
    }
    for (double& value : magnitudes) value = std::abs(value);
    std::sort(magnitudes.begin(), magnitudes.end());
    EXPECT_EQ(p.negative, negative);
    EXPECT_EQ(p.positive, f.a.n - negative);
    EXPECT_EQ(p.zero, 0);
    EXPECT_EQ(p.sign, negative % 2 == 0 ? 1 : -1);
    EXPECT_EQ(p.two_by_two, f.a.n - std::count(f.beside.begin(), f.beside.end(), 0.0));
    EXPECT_NEAR(p.log_abs_det, logarithm, 1e-9 * f.a.n);
    EXPECT_DOUBLE_EQ(p.largest, magnitudes.back());
    EXPECT_NEAR(p.smallest, magnitudes[0], 1e-10 * magnitudes[0]);
}

void check_factor(Inspected& f, int& n_moved) {
    const int n = f.a.n;
    const bool spd = f.test.context.settings.type == TYPE_SPD;
    const Dense a = dense(f.a);
    ASSERT_EQ(mf_factor_columns(f.test.context, f.run.factor, f.ptr.data(), nullptr, nullptr, nullptr),
              Status::OK);
    ASSERT_EQ(f.ptr[n], mf_factor_nnz(f.run.analysis));
    ASSERT_EQ(f.columns(), Status::OK);
    ASSERT_EQ(f.d(), Status::OK);
    Dense l = zeros(n), lt = l, d = l;
    for (int j = 0; j < n; ++j) {
        ASSERT_EQ(f.ind[f.ptr[j]], j);
        ASSERT_EQ(f.values[f.ptr[j]], spd ? f.diagonal[j] : 1);
        d[j][j] = spd ? 1 : f.diagonal[j];
        if (f.beside[j] != 0) d[j][j + 1] = d[j + 1][j] = f.beside[j];
        for (auto k = f.ptr[j]; k < f.ptr[j + 1]; ++k) {
            ASSERT_TRUE(k == f.ptr[j] || f.ind[k - 1] < f.ind[k]);
            l[f.ind[k]][j] = lt[j][f.ind[k]] = f.values[k];
        }
        n_moved += f.order[j] != f.run.analysis.perm[j];
    }
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            double product = 0, size = 0;
            for (int k = 0; k <= i; ++k)
                for (int m = std::max(0, k - 1); m <= std::min(k + 1, n - 1); ++m) {
                    product += l[i][k] * d[k][m] * l[j][m];
                    size += std::abs(l[i][k] * d[k][m] * l[j][m]);
                }
            ASSERT_NEAR(product, a[f.order[i]][f.order[j]], 1e-14 * size) << i << " " << j;
        }
    check_parts(f, l, lt, d);
    check_summary(f, eigenvalues(spd ? a : d), spd ? f.diagonal : eigenvalues(d));
}

} // namespace

TEST(Inspect, ColumnsDiagonalAndPartsAreTheFactorizationOfThePermutedMatrix) {
    Rng rng(test_seed());
    int n_pairs = 0, n_moved = 0;
    for (int round = 0; round < 20; ++round)
        for (const int type : {TYPE_SPD, TYPE_LDLT, TYPE_CSYM})
            for (const int core_mode : {CORE_IN, CORE_OUT}) {
                SCOPED_TRACE(testing::Message() << round << " " << type << " " << core_mode);
                Inspected f(rng, type, core_mode);
                check_factor(f, n_moved);
                n_pairs += static_cast<int>(f.pivots.two_by_two);
                if (HasFailure()) return;
            }
    EXPECT_GT(n_pairs, 3);
    EXPECT_GT(n_moved, 20);
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
            for (int k = 1; f.test.faults.allocation.set(k), call() != Status::OK; ++k) ASSERT_LT(k, 9);
        f.test.faults.allocation.set(0);
        std::filesystem::remove("VYR_ 0.mmf");
        for (const auto& call : calls)
            EXPECT_EQ(call(), type == TYPE_SPD && &call == &calls[3] ? Status::OK : Status::FACTOR_FILE);
    }
}

} // namespace vyr::test
