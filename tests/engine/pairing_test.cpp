// Partners for weak diagonals, against the same choice made on dense matrices.
#include "engine/pairing.h"
#include "support/engine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <tuple>

namespace vyr::test {
namespace {

using Group = std::vector<int>;

/// Magnitudes of a symmetric matrix in the numbering `number`; -1 where nothing is stored.
struct Magnitudes {
    int n;
    Dense m;

    Magnitudes(const Csc& a, const Group& number) : n(a.n), m(n, std::vector<double>(n, -1.0)) {
        for (int j = 0; j < n; ++j)
            for (int k = a.colptr[j]; k < a.colptr[j + 1]; ++k) {
                const int row = number[a.rowind[k]], column = number[j];
                m[row][column] = m[column][row] = std::abs(a.values[k]);
            }
    }
    bool joined(int i, int j) const { return i != j && m[i][j] >= 0; }
    int degree(int j) const {
        int count = 0;
        for (int i = 0; i < n; ++i) count += joined(i, j);
        return count;
    }
    double largest(int j) const {
        double most = 0;
        for (int i = 0; i < n; ++i)
            if (i != j) most = std::max(most, m[i][j]);
        return most;
    }
    bool weak(int j) const { return largest(j) > 0 && std::max(m[j][j], 0.0) <= 0.01 * largest(j); }
    /// Whether some member of one group is joined to one of the other, or they are one group.
    bool linked(const Group& one, const Group& other) const {
        for (const int i : one)
            for (const int j : other)
                if (i == j || m[i][j] >= 0) return true;
        return false;
    }
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
            a.rowind.push_back(i);
            a.values.push_back(i == j ? one_of({0, 0.01, 1, 1.001, 50}) : one_of({0, 1, 2, 2, 100, steep}));
            if (rng() % 2 == 0) a.values.back() *= -1;
        }
        a.colptr.push_back(static_cast<std::int32_t>(a.rowind.size()));
    }
    return a;
}

/// The group of every equation, weak ones first in the numbering: those with few neighbours choose first;
/// then those without a partner take one over whose weak partner finds another; then pairs of two weak ones
/// get a strong third.
std::vector<Group> groups(const Magnitudes& a, int n_weak) {
    std::vector<Group> group(a.n);
    for (int j = 0; j < a.n; ++j) group[j] = {j};
    const auto free = [&](int j) { return group[j].size() == 1; };
    const auto tie = [&](const Group& members) {
        for (const int j : members) group[j] = members;
    };
    const auto other_of = [&](int j) { return group[j][group[j][0] == j]; };
    const auto best = [&](int c, int taken) {
        std::tuple<double, int, int> key{-1.0, 0, 1};
        for (int p = 0; p < a.n; ++p)
            if (a.joined(c, p) && a.m[c][p] > 0 && free(p) && p != taken)
                key = std::max(key, {a.m[c][p] / a.largest(p) + (p >= n_weak), -a.degree(p), -p});
        return -std::get<2>(key);
    };
    Group turn(n_weak);
    std::iota(turn.begin(), turn.end(), 0);
    std::ranges::stable_sort(turn, {}, [&](int j) { return a.degree(j); });
    for (const int c : turn)
        if (const int p = free(c) ? best(c, c) : -1; p >= 0) tie({c, p});
    for (const int c : turn)
        for (int p = 0; p < a.n && free(c); ++p) {
            if (!a.joined(c, p) || a.m[c][p] <= 0 || free(p)) continue;
            const int other = other_of(p), second = other < n_weak ? best(other, c) : -1;
            if (second < 0) continue;
            tie({other, second});
            tie({c, p});
        }
    for (const int c : turn) {
        if (group[c].size() != 2 || other_of(c) >= n_weak) continue;
        const int pair[] = {c, other_of(c)};
        for (const int member : pair)
            for (int s = n_weak; s < a.n && group[c].size() == 2; ++s)
                if (a.joined(member, s) && free(s)) tie({pair[0], pair[1], s});
    }
    return group;
}

template <typename Array>
Group list(const Array& array) {
    return {array.get(), array.get() + array.count()};
}

void check(const Csc& a, TestContext& test) {
    Pairing pairing;
    for (int k = 1;; ++k) { // refused memory leaves nothing behind
        test.faults.allocation.set(k);
        const Status status = mf_pair_weak_diagonals(test.context, matrix_of(a), pairing);
        ASSERT_EQ(status, test.faults.allocation.armed() ? Status::OK : Status::MEMORY) << "allocation " << k;
        if (status == Status::OK) break;
        ASSERT_FALSE(pairing.ties || pairing.order);
    }
    Group order(a.n), number(a.n), col_ptr{0}, row_ind;
    std::iota(order.begin(), order.end(), 0);
    const Magnitudes given(a, order);
    const auto strong =
        std::stable_partition(order.begin(), order.end(), [&](int j) { return given.weak(j); });
    const int n_weak = static_cast<int>(strong - order.begin());
    ASSERT_EQ(pairing.ties, n_weak > 0);
    ASSERT_EQ(list(pairing.order), n_weak > 0 ? order : Group{}) << "weak ones first, else as given";
    if (n_weak == 0) return;
    for (int k = 0; k < a.n; ++k) number[order[k]] = k;
    const Magnitudes matrix(a, number);
    const std::vector<Group> group = groups(matrix, n_weak);
    std::vector<double> magnitudes, values;
    for (int j = 0; j < a.n; ++j) {
        for (int i = j; i < a.n; ++i)
            if (matrix.linked(group[i], group[j])) {
                row_ind.push_back(i);
                magnitudes.push_back(std::max(matrix.m[i][j], 0.0));
            }
        col_ptr.push_back(static_cast<int>(row_ind.size()));
    }
    ASSERT_EQ(list(pairing.col_ptr), col_ptr);
    ASSERT_EQ(list(pairing.row_ind), row_ind);
    values.assign(row_ind.size(), 77.0);
    mf_paired_values(pairing, a.values.data(), a.nnz(), values.data());
    for (int k = 0; k < a.nnz(); ++k) ASSERT_EQ(values[pairing.place[k]], a.values[k]);
    for (double& value : values) value = std::abs(value);
    ASSERT_EQ(values, magnitudes);
}

TEST(Pairing, EqualsTheChoiceMadeOnDenseMatrices) {
    Rng rng(test_seed());
    TestContext test;
    for (int round = 0; round < 4000 && !HasFatalFailure(); ++round) {
        SCOPED_TRACE(round);
        check(random_matrix(static_cast<int>(1 + rng() % 14), rng), test);
    }
}

} // namespace
} // namespace vyr::test
