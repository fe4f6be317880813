// Fronts with threshold pivoting: what comes out, put together again, is what went in.
#include "numeric/front.h"
#include "support/matrices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace vyr::test {
namespace {

/// A random front: weak diagonals, rows of very different size, or a block of zeros that is larger than the
/// rest can serve.
struct RandomFront {
    int n, m;
    std::vector<double> a, l, update, w, row, diagonal, beside;
    std::vector<std::int32_t> columns, order;
    Front front;
    int n_pivots = 0, n_perturbed = 0;

    explicit RandomFront(Rng& rng)
        : n(1 + static_cast<int>(rng() % 300)), m(n + static_cast<int>(rng() % 120)) {
        if (rng() % 3 == 0) n = std::min(n, 20);
        if (rng() % 3 == 0) m = n;
        std::uniform_real_distribution<double> value(-1, 1);
        const int zeros = rng() % 2 == 0 ? static_cast<int>(rng() % (n + 1)) : 0;
        const double spread = rng() % 2 == 0 ? 3 : 0, weak = rng() % 2 == 0 ? 1e-9 : 1;
        std::vector<double> scale(m);
        for (double& s : scale) s = std::pow(10, spread * value(rng));
        a.assign(static_cast<std::size_t>(m) * m, 0);
        for (int j = 0; j < m; ++j)
            for (int i = j; i < m; ++i)
                at(i, j) = i < zeros ? 0 : value(rng) * scale[i] * scale[j] * (i == j ? weak : 1);
        columns.resize(n), order.resize(n), row.resize(n), diagonal.resize(n), beside.resize(n);
        l.resize(static_cast<std::size_t>(m) * n), update.resize(static_cast<std::size_t>(m - n) * (m - n));
        w.resize(static_cast<std::size_t>(m) * std::min(n, BLOCK_PIVOTS + 1));
        for (int j = 0; j < n; ++j) columns[j] = j;
        for (int j = 0; j < n; ++j) std::copy_n(&at(0, j), m, &l[std::size_t(j) * m]);
        for (int j = n; j < m; ++j) std::copy_n(&at(n, j), m - n, &update[std::size_t(j - n) * (m - n)]);
        front = {m, n, l.data(), update.data(), columns.data(), diagonal.data(), beside.data()};
    }
    double& at(int i, int j) { return a[i + static_cast<std::size_t>(j) * m]; }
    /// Entry of the input in the order of elimination.
    double input(int i, int j) {
        const int p = i < n ? columns[i] : i, q = j < n ? columns[j] : j;
        return at(std::max(p, q), std::min(p, q));
    }
    /// Entry i > j of L or of what is left.
    double left(int i, int j) {
        return j < n ? *front.at(i, j) : update[(i - n) + std::size_t(j - n) * (m - n)];
    }

    void eliminate(const FrontLoops& loops, bool shared, double least_pivot, const Context* host = nullptr) {
        const PivotRules rules{0.01, 1e-13, least_pivot, &loops, host};
        FrontWork work{w.data(), row.data(), order.data()};
#pragma omp parallel num_threads(2) if (shared)
        {
#pragma omp master
            n_pivots = mf_eliminate_front(rules, front, work, shared);
        }
        n_perturbed = work.n_perturbed;
    }
    /// L D L^T and what is left, less the input, beyond `change` on the diagonal; relative to the largest
    /// product in the sum.
    double error(double change) {
        double worst = 0;
        std::vector<double> ld(n_pivots);
        for (int j = 0; j < m; ++j) {
            const auto unit = [&](int k) { return k < j ? left(j, k) : k == j ? 1.0 : 0.0; };
            for (int k = 0; k < n_pivots; ++k) {
                ld[k] = unit(k) * diagonal[columns[k]];
                if (beside[columns[k]] != 0) ld[k] += unit(k + 1) * beside[columns[k]];
                if (k > 0 && beside[columns[k - 1]] != 0) ld[k] += unit(k - 1) * beside[columns[k - 1]];
            }
            for (int i = j; i < m; ++i) {
                double sum = j >= n_pivots ? left(i, j) : 0, size = std::abs(sum);
                for (int k = 0; k <= std::min(i, n_pivots - 1); ++k) {
                    const double term = (k < i ? left(i, k) : 1.0) * ld[k];
                    sum += term;
                    size += std::abs(term);
                }
                const double off = std::abs(sum - input(i, j)) - (i == j ? change : 0);
                worst = std::max(worst, off / (size + 1e-300));
            }
        }
        return worst;
    }
};

TEST(Front, IsTheProductOfItsFactorsWithBoundedEntriesAndWhatIsLeft) {
    Rng rng(test_seed());
    int n_left = 0, n_pairs = 0, n_perturbed = 0;
    for (int round = 0; round < 60 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        RandomFront f(rng);
        const auto set = std::array{InstructionSet::BASELINE, instruction_set()}[round % 2];
        const double least_pivot = round % 5 == 0 ? 1e-8 : 0;
        f.eliminate(mf_front_loops(set), round % 3 == 0, least_pivot);
        EXPECT_LT(f.error(f.n_perturbed > 0 ? 2 * least_pivot : 0), 1e-12);
        if (least_pivot > 0) {
            EXPECT_EQ(f.n_pivots, f.n);
            n_perturbed += f.n_perturbed;
            continue;
        }
        for (int k = 0; k < f.n_pivots; ++k) {
            n_pairs += f.beside[f.columns[k]] != 0;
            for (int i = k + 1; i < f.m; ++i) ASSERT_LE(std::abs(f.left(i, k)), 100 * (1 + 1e-12));
        }
        n_left += f.n - f.n_pivots;
        if (f.m > f.n) continue;
        for (int j = f.n_pivots; j < f.n; ++j) // a root leaves nothing but zeros
            for (int i = j; i < f.n; ++i) EXPECT_LE(std::abs(f.left(i, j)), 1e-13);
    }
    EXPECT_GT(n_perturbed, 10);
    EXPECT_GT(n_pairs, 100);
    EXPECT_GT(n_left, 10);
}

TEST(Front, IsLeftWhenTheHostAsksToStop) {
    Rng rng(test_seed());
    RandomFront f(rng);
    Accounting memory;
    Context context(memory);
    Progress progress([](void*, int, double) { return 1; }, nullptr);
    context.progress = &progress;
    progress.begin(PHASE_FACTORISE, 1);
    while (!progress.stop()) { // asks the host now and then alone
    }
    f.eliminate(mf_front_loops(instruction_set()), false, 0, &context);
    EXPECT_EQ(f.n_pivots, 0);
}

} // namespace
} // namespace vyr::test
