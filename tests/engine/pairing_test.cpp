// Partners for weak diagonals, against the same choice made on dense matrices.
#include "engine/pairing.h"

#include "support/engine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <tuple>

namespace vyr::test {
namespace {

/// Magnitudes of a symmetric matrix; -1 where nothing is stored.
struct Dense {
    int n;
    std::vector<double> entries;

    explicit Dense(int order) : n(order), entries(static_cast<std::size_t>(order * order), -1.0) {}
    double& at(int i, int j) {
        return entries[static_cast<std::size_t>(std::max(i, j) * n + std::min(i, j))];
    }
    bool joined(int i, int j) { return i != j && at(i, j) >= 0; }
    int degree(int j) {
        int count = 0;
        for (int i = 0; i < n; ++i) count += joined(i, j);
        return count;
    }
    double largest(int j) {
        double most = 0;
        for (int i = 0; i < n; ++i)
            if (i != j) most = std::max(most, at(i, j));
        return most;
    }
    bool weak(int j) { return largest(j) > 0 && std::max(at(j, j), 0.0) <= 0.01 * largest(j); }
};

/// A random matrix whose magnitudes often tie, vanish beside others, or stand on the border of weakness.
Csc random_matrix(int n, Rng& rng) {
    const auto one_of = [&](std::initializer_list<double> choices) {
        return choices.begin()[rng() % choices.size()];
    };
    const double fill = one_of({0.15, 0.3, 0.6}), steep = one_of({1, 1, 1, 1e-200, 1e200});
    Csc a;
    a.n = n;
    for (int j = 0; j < n; ++j) {
        for (int i = j; i < n; ++i) {
            if (i == j ? rng() % 3 == 0 : std::uniform_real_distribution()(rng) > fill) continue;
            const double magnitude =
                i == j ? one_of({0, 0.01, 1, 1.001, 50}) : one_of({0, 1, 2, 2, 100, steep});
            a.rowind.push_back(i);
            a.values.push_back(rng() % 2 == 0 ? magnitude : -magnitude);
        }
        a.colptr.push_back(static_cast<std::int32_t>(a.rowind.size()));
    }
    return a;
}

Dense dense_of(const Csc& a, const std::vector<int>& number) {
    Dense dense(a.n);
    for (int j = 0; j < a.n; ++j)
        for (int k = a.colptr[j]; k < a.colptr[j + 1]; ++k)
            dense.at(number[a.rowind[k]], number[j]) = std::abs(a.values[k]);
    return dense;
}

/// The group of every equation, weak ones first in the numbering: those with few neighbours choose first;
/// then those without a partner take one over whose weak partner finds another; then pairs of two weak ones
/// get a strong third.
std::vector<std::vector<int>> groups(Dense& a, int n_weak) {
    std::vector<std::vector<int>> group(static_cast<std::size_t>(a.n));
    for (int j = 0; j < a.n; ++j) group[j] = {j};
    const auto free = [&](int j) { return group[j].size() == 1; };
    const auto tie = [&](std::vector<int> members) {
        for (const int j : members) group[j] = members;
    };
    const auto best = [&](int c, int taken) {
        std::tuple<double, int, int> best_key{-1.0, 0, 0};
        for (int p = 0; p < a.n; ++p)
            if (a.joined(c, p) && a.at(c, p) > 0 && free(p) && p != taken)
                best_key = std::max(best_key, {a.at(c, p) / a.largest(p) + (p >= n_weak), -a.degree(p), -p});
        return std::get<0>(best_key) < 0 ? -1 : -std::get<2>(best_key);
    };
    std::vector<int> turn(static_cast<std::size_t>(n_weak));
    std::iota(turn.begin(), turn.end(), 0);
    std::stable_sort(turn.begin(), turn.end(), [&](int i, int j) { return a.degree(i) < a.degree(j); });
    for (const int c : turn)
        if (const int p = free(c) ? best(c, c) : -1; p >= 0) tie({c, p});
    for (const int c : turn)
        for (int p = 0; p < a.n && free(c); ++p) {
            if (!a.joined(c, p) || a.at(c, p) <= 0 || free(p)) continue;
            const int other = group[p][group[p][0] == p];
            const int second = other < n_weak ? best(other, c) : -1;
            if (second < 0) continue;
            tie({other, second});
            tie({c, p});
        }
    for (const int c : turn) {
        if (group[c].size() != 2 || std::max(group[c][0], group[c][1]) >= n_weak) continue;
        const int pair[] = {c, group[c][group[c][0] == c]};
        for (const int member : pair)
            for (int s = n_weak; s < a.n && group[c].size() == 2; ++s)
                if (a.joined(member, s) && free(s)) tie({pair[0], pair[1], s});
    }
    return group;
}

/// True when some member of one group is joined to some member of the other, or they are one group.
bool share_an_entry(Dense& a, const std::vector<int>& one, const std::vector<int>& other) {
    for (const int i : one)
        for (const int j : other)
            if (i == j || a.joined(i, j)) return true;
    return false;
}

void check(const Csc& a, TestContext& test) {
    Pairing pairing;
    ASSERT_EQ(mf_pair_weak_diagonals(test.context, matrix_of(a), pairing), Status::OK);
    std::vector<int> order(static_cast<std::size_t>(a.n)), number(order.size());
    std::iota(order.begin(), order.end(), 0);
    Dense given = dense_of(a, order);
    const auto strong =
        std::stable_partition(order.begin(), order.end(), [&](int j) { return given.weak(j); });
    const int n_weak = static_cast<int>(strong - order.begin());
    ASSERT_EQ(pairing.ties, n_weak > 0);
    ASSERT_EQ(pairing.order.count(), n_weak > 0 ? a.n : 0);
    if (n_weak == 0) return;
    ASSERT_TRUE(std::equal(order.begin(), order.end(), pairing.order.get()))
        << "weak ones first, else as given";

    for (int k = 0; k < a.n; ++k) number[order[k]] = k;
    Dense matrix = dense_of(a, number);
    const std::vector<std::vector<int>> group = groups(matrix, n_weak);
    std::vector<std::int32_t> col_ptr{0}, row_ind;
    for (int j = 0; j < a.n; ++j) {
        for (int i = j; i < a.n; ++i)
            if (share_an_entry(matrix, group[i], group[j])) row_ind.push_back(i);
        col_ptr.push_back(static_cast<std::int32_t>(row_ind.size()));
    }
    ASSERT_EQ(std::vector(pairing.col_ptr.get(), pairing.col_ptr.get() + pairing.col_ptr.count()), col_ptr);
    ASSERT_EQ(std::vector(pairing.row_ind.get(), pairing.row_ind.get() + pairing.row_ind.count()), row_ind);

    std::vector<double> values(row_ind.size(), 77.0);
    mf_paired_values(pairing, a.values.data(), a.nnz(), values.data());
    for (int j = 0; j < a.n; ++j)
        for (int k = col_ptr[j]; k < col_ptr[j + 1]; ++k)
            ASSERT_EQ(std::abs(values[k]), std::max(matrix.at(row_ind[k], j), 0.0))
                << row_ind[k] << ", " << j;
    for (int k = 0; k < a.nnz(); ++k) ASSERT_EQ(values[pairing.place[k]], a.values[k]);
}

} // namespace

TEST(Pairing, EqualsTheChoiceMadeOnDenseMatrices) {
    Rng rng(test_seed());
    TestContext test;
    for (int round = 0; round < 4000 && !testing::Test::HasFatalFailure(); ++round) {
        SCOPED_TRACE(round);
        check(random_matrix(static_cast<int>(1 + rng() % 14), rng), test);
    }
}

TEST(Pairing, RefusedMemoryLeavesNothingBehind) {
    Rng rng(test_seed());
    TestContext test;
    const Csc a = random_matrix(14, rng);
    Pairing pairing;
    Status status = Status::MEMORY;
    int k = 1;
    for (; status != Status::OK; ++k) {
        ASSERT_FALSE(pairing.ties || pairing.order);
        test.faults.allocation.set(k);
        status = mf_pair_weak_diagonals(test.context, matrix_of(a), pairing);
        ASSERT_EQ(status, test.faults.allocation.armed() ? Status::OK : Status::MEMORY) << "allocation " << k;
        test.faults.allocation.set(0);
    }
    EXPECT_GT(k, 20);
}

} // namespace vyr::test
