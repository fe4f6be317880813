// What is read out of a factor, held against dense algebra.
#include "engine/inspect.h"
#include "engine/memory_share.h"
#include "solve/solve.h"
#include "support/capture.h"
#include "support/engine.h"

#include <array>
#include <cmath>

namespace vyr::test {
namespace {

/// A random factor, and what is read out of it.
struct Inspected {
    TempDirectory directory;
    TestContext test;
    EngineRun run{test};
    Csc a;
    int n;
    bool spd;
    std::vector<std::int64_t> ptr;
    std::vector<std::int32_t> ind, order;
    std::vector<double> values, diagonal, beside;
    PivotSummary pivots;

    Inspected(Rng& rng, int type, int core_mode, bool delayed = false)
        : a(chain(rng, type == TYPE_SPD)), n(a.n), spd(type == TYPE_SPD) {
        for (int j = 0; j < n && delayed; ++j) a.values[a.colptr[j]] *= rng() % 4 != 0 ? 1e-6 : 1;
        each_entry(a, [&](int i, int j, double& value) { // so that weak diagonals stay weak for some steps
            if (!spd && !delayed && i != j && rng() % 3 != 0) value *= 1e-8;
        });
        test.context.settings.type = type;
        test.context.settings.delay_pivots = delayed;
        test.context.settings.core_mode = core_mode;
        test.context.settings.n_threads = 1;
        for (int k = 0; k < n; ++k) order.push_back(n - 1 - k); // what waits for the separator comes first
        if (delayed) test.context.settings.ordering = ORDERING_USER;
        test.context.settings.permutation = order.data();
        EXPECT_EQ(run.run(a), Status::OK);
        ptr.resize(n + 1);
        EXPECT_EQ(mf_factor_columns(test.context, run.factor, ptr.data(), nullptr, nullptr, nullptr),
                  Status::OK);
        EXPECT_TRUE(delayed || ptr[n] == mf_factor_nnz(run.analysis));
        const auto nnz = static_cast<std::size_t>(ptr[n]);
        ind.resize(nnz), values.resize(nnz);
        diagonal.resize(n), beside.resize(n);
    }
    Status columns() {
        return mf_factor_columns(test.context, run.factor, ptr.data(), ind.data(), values.data(),
                                 order.data());
    }
    Status d() { return mf_factor_diagonal(test.context, run.factor, diagonal.data(), beside.data()); }
    Status summary() { return mf_pivot_summary(test.context, run.factor, pivots); }
    Status part(SolvePart part, std::vector<double>& x) {
        return mf_solve_part(test.context, run.factor, part, x.data(), 2, n + 1);
    }
    std::vector<double> after(std::initializer_list<SolvePart> parts, std::vector<double> x) {
        for (const SolvePart p : parts) EXPECT_EQ(part(p, x), Status::OK);
        return x;
    }
};

/// A sum and the size of its terms, which rounding errors are in proportion to.
struct Sum {
    double value = 0, size = 0;

    void add(double factor, const Sum& x) {
        value += factor * x.value;
        size += std::abs(factor) * x.size;
    }
};

std::vector<Sum> sums(const double* x, int n, const std::int32_t* order = nullptr) {
    std::vector<Sum> y(n);
    for (int k = 0; k < n; ++k) y[k].add(1, {x[order ? order[k] : k], std::abs(x[order ? order[k] : k])});
    return y;
}

/// L x, or L^T x.
std::vector<Sum> times_l(const Inspected& f, const std::vector<Sum>& x, bool transposed = false) {
    std::vector<Sum> y(f.n);
    for (int j = 0; j < f.n; ++j)
        for (auto k = f.ptr[j]; k < f.ptr[j + 1]; ++k)
            transposed ? y[j].add(f.values[k], x[f.ind[k]]) : y[f.ind[k]].add(f.values[k], x[j]);
    return y;
}

std::vector<Sum> times_d(const Inspected& f, const std::vector<Sum>& x) {
    std::vector<Sum> y(f.n);
    for (int k = 0; k < f.n; ++k) {
        y[k].add(f.spd ? 1 : f.diagonal[k], x[k]);
        if (f.beside[k] == 0) continue;
        y[k].add(f.beside[k], x[k + 1]);
        y[k + 1].add(f.beside[k], x[k]);
    }
    return y;
}

void expect_near(const std::vector<Sum>& x, const std::vector<Sum>& y) {
    for (std::size_t k = 0; k < x.size(); ++k)
        ASSERT_NEAR(x[k].value, y[k].value, 1e-14 * (x[k].size + y[k].size)) << k;
}

void check_columns(Inspected& f) {
    ASSERT_EQ(f.columns(), Status::OK);
    ASSERT_EQ(f.d(), Status::OK);
    for (int j = 0; j < f.n; ++j) {
        ASSERT_EQ(f.ind[f.ptr[j]], j);
        ASSERT_EQ(f.values[f.ptr[j]], f.spd ? f.diagonal[j] : 1);
        for (auto k = f.ptr[j] + 1; k < f.ptr[j + 1]; ++k) ASSERT_LT(f.ind[k - 1], f.ind[k]);
    }
    const std::vector<double> x = random_vector(f.n, 6), image = multiply(f.a, x);
    const std::int32_t* order = f.order.data();
    const std::vector<Sum> y = times_l(f, sums(x.data(), f.n, order), true);
    expect_near(times_l(f, times_d(f, y)), sums(image.data(), f.n, order));
}

void check_parts(Inspected& f) {
    using enum SolvePart;
    const std::vector<double> x = random_vector(2 * f.n + 2, 5), permuted = f.after({P}, x);
    const std::vector<double> lower = f.after({PL}, x), middle = f.after({D}, lower);
    const std::vector<double> solution = f.after({LTPT}, middle);
    for (const int at : {0, f.n + 1}) {
        for (int k = 0; k < f.n; ++k) EXPECT_EQ(permuted[at + k], x[at + f.run.analysis.perm[k]]);
        const std::vector<Sum> l = sums(&lower[at], f.n), m = sums(&middle[at], f.n);
        expect_near(times_l(f, l), sums(&x[at], f.n, f.order.data()));
        expect_near(times_d(f, m), l);
        expect_near(times_l(f, sums(&solution[at], f.n, f.order.data()), true), m);
    }
    EXPECT_EQ(f.after({P, PT}, x), x);
    EXPECT_EQ(f.after({P, L}, x), lower);
    EXPECT_EQ(f.after({LT, PT}, middle), solution);
    EXPECT_EQ(solution[f.n], x[f.n]) << "between the columns";
}

void check_summary(Inspected& f) {
    ASSERT_EQ(f.summary(), Status::OK);
    std::vector<double> eigenvalues = f.diagonal; // of D
    for (int k = 0; k < f.n; ++k) {
        if (f.beside[k] == 0) continue;
        const double middle = (f.diagonal[k] + f.diagonal[k + 1]) / 2;
        const double radius = std::hypot((f.diagonal[k] - f.diagonal[k + 1]) / 2, f.beside[k]);
        eigenvalues[k] = middle + radius, eigenvalues[k + 1] = middle - radius;
    }
    const auto negative = std::ranges::count_if(eigenvalues, [](double value) { return value < 0; });
    double logarithm = 0;
    for (double& value : eigenvalues) logarithm += (f.spd ? 2 : 1) * std::log(value = std::abs(value));
    const auto [smallest, largest] = std::ranges::minmax(eigenvalues);
    EXPECT_EQ(f.pivots.negative, negative);
    EXPECT_EQ(f.pivots.positive, f.n - negative);
    EXPECT_EQ(f.pivots.zero, 0);
    EXPECT_EQ(f.pivots.sign, negative % 2 == 0 ? 1 : -1);
    EXPECT_EQ(f.pivots.two_by_two, f.n - std::ranges::count(f.beside, 0.0));
    EXPECT_NEAR(f.pivots.log_abs_det, logarithm, 1e-9 * f.n);
    EXPECT_NEAR(f.pivots.largest, largest, 1e-14 * largest);
    EXPECT_NEAR(f.pivots.smallest, smallest, 1e-10 * smallest);
}

TEST(Inspect, ColumnsDiagonalAndPartsAreTheFactorizationOfThePermutedMatrix) {
    Rng rng(test_seed());
    int n_pairs = 0, n_moved = 0;
    std::int64_t n_delayed = 0;
    for (int round = 0; round < 160 && !HasFailure(); ++round) {
        const int type = std::array{TYPE_SPD, TYPE_LDLT, TYPE_CSYM, TYPE_LDLT}[round % 4];
        SCOPED_TRACE(testing::Message() << round << " " << type);
        Inspected f(rng, type, round / 4 % 2 == 0 ? CORE_IN : CORE_OUT, round % 4 == 3);
        n_delayed += f.run.factor.pivoted.n_delayed;
        check_columns(f);
        check_parts(f);
        check_summary(f);
        n_pairs += static_cast<int>(f.pivots.two_by_two);
        for (int k = 0; k < f.n; ++k) n_moved += f.order[k] != f.run.analysis.perm[k];
    }
    EXPECT_GT(n_pairs, 3);
    EXPECT_GT(n_moved, 20);
    EXPECT_GT(n_delayed, 2);
}

TEST(Inspect, MissingMemoryAndMissingFilesAreStatuses) {
    Rng rng(test_seed());
    for (const int type : {TYPE_SPD, TYPE_LDLT}) {
        Inspected f(rng, type, CORE_OUT);
        std::vector<double> x(2 * f.n + 2);
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

} // namespace
} // namespace vyr::test
