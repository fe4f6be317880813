// Matchings judged by their own duals: feasible ones that are equal where matched prove the least cost.
#include "support/engine.h"
#include "symbolic/analyse.h"
#include "symbolic/ordering.h"
#include "symbolic/symmetric_matching.h"
#include "symbolic/weighted_matching.h"

#include <cmath>
#include <functional>

namespace vyr::test {
namespace {

/// Largest number of columns with rows of their own, by augmenting paths without any weight.
int largest_matching(const Pattern& a) {
    std::vector<int> column_of(a.n, -1);
    std::vector<bool> seen;
    const std::function<bool(int)> augment = [&](int j) {
        for (int e = a.col_ptr[j]; e < a.col_ptr[j + 1]; ++e) {
            const int i = a.row_ind[e];
            if (seen[i]) continue;
            seen[i] = true;
            if (column_of[i] >= 0 && !augment(column_of[i])) continue;
            column_of[i] = j;
            return true;
        }
        return false;
    };
    int matched = 0;
    for (int j = 0; j < a.n; ++j) {
        seen.assign(a.n, false);
        matched += augment(j);
    }
    return matched;
}

/// Entries that tie, vanish beside others or are stored zeros; the whole square or the lower triangle.
Csc random_matrix(int n, bool lower, Rng& rng) {
    const double fill = std::uniform_real_distribution(0.1, 0.7)(rng);
    const double spread = std::uniform_real_distribution(0.0, rng() % 4 == 0 ? 60.0 : 3.0)(rng);
    Csc a;
    a.n = n;
    for (int j = 0; j < n; ++j) {
        for (int i = lower ? j : 0; i < n; ++i) {
            if (std::uniform_real_distribution()(rng) > fill) continue;
            a.rowind.push_back(i);
            const double exponent = spread * std::uniform_real_distribution(-1.0, 1.0)(rng);
            a.values.push_back(rng() % 8 == 0 ? 0.0 : std::pow(10.0, rng() % 2 == 0 ? exponent : 0.0));
        }
        a.colptr.push_back(static_cast<std::int32_t>(a.rowind.size()));
    }
    return a;
}

TEST(Matching, ItsDualsProveTheLeastCost) {
    Rng rng(test_seed());
    for (int round = 0; round < 3000; ++round) {
        SCOPED_TRACE(round);
        TestContext test;
        Csc a = random_matrix(static_cast<int>(1 + rng() % 16), false, rng);
        WeightedMatching made;
        for (double& cost : a.values) cost = cost > 0 ? std::log(cost) : 0;
        const CostMatrix costs{pattern_of(a), a.values.data()};
        const std::int64_t most = rng() % 5 == 0 ? 3 : 1 << 30;
        ASSERT_EQ(mf_weighted_matching(test.context, costs, most, made), Status::OK);
        int matched = 0;
        const int most_matched = largest_matching(pattern_of(a));
        for (int j = 0; j < a.n; ++j) {
            const int row = made.row_of[j];
            ASSERT_TRUE(row < 0 || made.column_of[row] == j);
            matched += row >= 0;
            int found = row < 0;
            for (int e = a.colptr[j]; e < a.colptr[j + 1]; ++e) {
                const int i = a.rowind[e];
                const double reduced = a.values[e] - made.row_dual[i] - made.column_dual[j];
                const double rounding = 1e-12 * (1 + std::abs(a.values[e]) + std::abs(made.row_dual[i]));
                ASSERT_TRUE(most_matched < a.n || reduced >= -rounding) << reduced;
                ASSERT_TRUE(i != row || reduced <= rounding) << reduced;
                found += i == row;
            }
            ASSERT_EQ(found, 1) << "a match is an entry";
        }
        ASSERT_EQ(matched, made.n_matched);
        ASSERT_TRUE(!made.complete || matched == most_matched);
    }
}

void check_symmetric(TestContext& test, const Csc& a, int rank) {
    SymmetricMatching made;
    ASSERT_EQ(mf_symmetric_matching(test.context, matrix_of(a), made), Status::OK);
    ASSERT_EQ(made.structural_rank, rank);
    std::vector<double> largest(a.n), chosen(a.n);
    int n_paired = 0;
    for (int j = 0; j < a.n; ++j) {
        ASSERT_EQ(made.partner[made.partner[j]], j);
        n_paired += made.partner[j] != j;
        int exponent = 0;
        ASSERT_EQ(std::frexp(made.scale[j], &exponent), 0.5) << "a power of two";
    }
    ASSERT_EQ(n_paired, 2 * made.n_pairs);
    for (int j = 0; j < a.n; ++j)
        for (int e = a.colptr[j]; e < a.colptr[j + 1]; ++e) {
            const int i = a.rowind[e];
            const double scaled = std::abs(a.values[e] * made.scale[i] * made.scale[j]);
            ASSERT_LE(scaled, 2.01);
            for (const int k : {i, j}) largest[k] = std::max(largest[k], scaled);
            if (made.partner[i] == j) chosen[i] = chosen[j] = scaled;
        }
    for (int j = 0; j < a.n; ++j) {
        EXPECT_TRUE(rank < a.n || largest[j] >= 0.4) << "row " << j;
        EXPECT_TRUE(made.partner[j] == j || chosen[j] >= 0.49) << "pair of " << j;
    }
    EXPECT_TRUE(rank < a.n || mf_scaling_fits(matrix_of(a), made.scale.get(), largest.data()));
    made.scale[rank / 2] *= 32;
    EXPECT_FALSE(rank == a.n && mf_scaling_fits(matrix_of(a), made.scale.get(), largest.data()));
}

TEST(Matching, SymmetricPairsAreScaledToOneAndNothingIsLarger) {
    Rng rng(test_seed());
    for (int round = 0; round < 3000 && !HasFatalFailure(); ++round) {
        SCOPED_TRACE(round);
        TestContext test;
        const Csc a = random_matrix(static_cast<int>(1 + rng() % 20), true, rng);
        check_symmetric(test, a, largest_matching(pattern_of(without_zeros(both_triangles(a)))));
    }
}

/// A matrix of ones without a diagonal.
Csc adjacency(int n, const Edges& edges) {
    Csc a = spd(n, edges);
    each_entry(a, [](int i, int j, double& value) { value = i != j; });
    return without_zeros(a);
}

TEST(Matching, CountsTheExcessEquationsOfGraphs) {
    const struct {
        Csc a;
        int rank;
    } rows[] = {{adjacency(900, grid_edges(30, 30)), 900},
                {adjacency(961, grid_edges(31, 31)), 960},
                {adjacency(700, arrow_edges(700, 1)), 2},
                {adjacency(400, arrow_edges(400, 30)), 60}};
    for (const auto& row : rows) {
        TestContext test;
        check_symmetric(test, row.a, row.rank);
    }
}

TEST(Matching, PairsFollowEachOtherInOneSupernode) {
    Rng rng(test_seed());
    for (int round = 0; round < 120; ++round) {
        TestContext test;
        const int side = static_cast<int>(2 + rng() % 40);
        const Csc a = round % 2 == 0 ? adjacency(side * side, random_edges(side * side, side * side * 2, rng))
                                     : random_matrix(side * 4, true, rng);
        SymmetricMatching made;
        ASSERT_EQ(mf_symmetric_matching(test.context, matrix_of(a), made), Status::OK);
        Settings& settings = test.context.settings;
        settings.partner = made.partner.get();
        settings.ordering = round % 3; // automatic, METIS, AMD
        settings.compress = round % 5 == 0;
        Analysis analysis;
        double ordering_ms = 0;
        ASSERT_EQ(mf_analyse(test.context, pattern_of(a), analysis, ordering_ms), Status::OK);
        std::vector<int> place(a.n);
        for (int k = 0; k < a.n; ++k) place[analysis.perm[k]] = k;
        for (int j = 0; j < a.n; ++j) {
            const int i = made.partner[j];
            ASSERT_LE(std::abs(place[i] - place[j]), 1) << "round " << round;
            ASSERT_EQ(analysis.column_map[place[i]], analysis.column_map[place[j]]) << "round " << round;
        }
    }
}

TEST(Matching, WeakEquationsComeBehindANeighbourAndTheOthersStayInOrder) {
    Rng rng(test_seed());
    TestContext test;
    for (int round = 0; round < 200; ++round) {
        const int n = static_cast<int>(1 + rng() % 60);
        const Csc a = both_triangles(spd(n, random_edges(n, 1 + rng() % (2 * n), rng)));
        std::vector<std::uint8_t> weak(n);
        for (auto& flag : weak) flag = rng() % 2;
        std::vector<std::int32_t> before(n), place(n);
        for (int k = 0; k < n; ++k) before[k] = k;
        std::shuffle(before.begin(), before.end(), rng);
        std::vector<std::int32_t> behind = before;
        ASSERT_EQ(mf_postpone_weak(test.context, pattern_of(a), weak.data(), behind.data()), Status::OK);
        EXPECT_TRUE(std::is_permutation(behind.begin(), behind.end(), before.begin()));
        for (int k = 0; k < n; ++k) place[behind[k]] = k;
        for (int j = 0; j < n; ++j) {
            bool first = a.colptr[j + 1] - a.colptr[j] > 1, all_weak = true;
            for (int k = a.colptr[j]; k < a.colptr[j + 1]; ++k) {
                first = first && place[a.rowind[k]] >= place[j];
                all_weak = all_weak && weak[a.rowind[k]] != 0;
            }
            EXPECT_TRUE(weak[j] == 0 || !first || all_weak) << round;
        }
        for (auto* order : {&before, &behind}) std::erase_if(*order, [&](int j) { return weak[j] != 0; });
        EXPECT_EQ(before, behind);
    }
}

TEST(Matching, EndsWhenItIsStopped) {
    const Csc a = adjacency(961, grid_edges(31, 31));
    TestContext test;
    Progress progress([](void*, int, double) { return 1; }, nullptr);
    progress.begin(PHASE_ANALYSE, 1);
    test.context.progress = &progress;
    SymmetricMatching made;
    EXPECT_EQ(mf_symmetric_matching(test.context, matrix_of(a), made), Status::CANCELLED);
}

} // namespace
} // namespace vyr::test
