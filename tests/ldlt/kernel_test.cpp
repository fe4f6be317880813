#include "fronts.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace vyr;
using namespace vyr::test;

namespace {

constexpr double BAR = 1e-13;

/// Eliminates by all four variants, checks that they agree, and returns one of them.
Eliminated eliminate_all_ways(const Front& front) {
    const Eliminated first = eliminate(front, true, false);
    for (const bool in_place : {true, false})
        for (const bool blas : {true, false}) {
            const Eliminated other = eliminate(front, in_place, blas);
            EXPECT_EQ(other.n_pivots, first.n_pivots);
            EXPECT_EQ(other.record, first.record);
            EXPECT_EQ(other.node.flags, first.node.flags);
            EXPECT_EQ(other.counters.early_flushes, first.counters.early_flushes);
            EXPECT_EQ(other.counters.second_tests, first.counters.second_tests);
            if (other.n_pivots == front.npiv) {
                EXPECT_LE(rebuild_error(front, other), BAR);
            }
        }
    return first;
}

std::vector<std::int32_t> identity(std::int32_t n) {
    std::vector<std::int32_t> order(static_cast<std::size_t>(n));
    for (std::int32_t k = 0; k < n; ++k) order[static_cast<std::size_t>(k)] = k;
    return order;
}

Front two_by_two(double a, double b, double c) {
    Front front(2, 0);
    front.dense(0, 0) = a;
    front.dense.set(0, 1, b);
    front.dense(1, 1) = c;
    return front;
}

} // namespace

TEST(LdltKernel, FactorsTheTwoSmallReferenceFronts) {
    const Eliminated pair = eliminate_all_ways(two_by_two(0.0, 1.0, 0.0));
    EXPECT_EQ(pair.record, (std::vector<std::int32_t>{1, 1}));
    EXPECT_EQ(pair.block, (std::vector<double>{0.0, 1.0, 0.0, 0.0}));
    EXPECT_EQ(pair.n_pairs, 1);
    EXPECT_EQ(pair.node.flags, NODE_ASSEMBLED | NODE_TWO_BY_TWO);

    const Eliminated swapped = eliminate_all_ways(two_by_two(0.0, 2.0, 7.0));
    EXPECT_EQ(swapped.record, (std::vector<std::int32_t>{1, 1}));
    EXPECT_EQ(swapped.block[0], 7.0);
    EXPECT_DOUBLE_EQ(swapped.block[3], -4.0 / 7.0);
    EXPECT_EQ(swapped.block[1], 0.0);
    EXPECT_EQ(swapped.counters.second_tests, 1);
    EXPECT_EQ(swapped.n_pairs, 0);
    EXPECT_EQ(swapped.node.flags, std::uint32_t{NODE_ASSEMBLED});
}

TEST(LdltKernel, RebuildsStrongFrontsOfEverySizeWithoutInterchange) {
    Rng rng(test_seed());
    for (const std::int32_t npiv : {1, 2, 15, 16, 17, 32, 63, 64, 65, 81, 130})
        for (const std::int32_t nupd : {0, 1, 7, 65}) {
            SCOPED_TRACE(testing::Message() << npiv << " + " << nupd);
            const Eliminated f = eliminate_all_ways(random_front(npiv, nupd, 0.0, rng));
            EXPECT_EQ(f.n_pivots, npiv);
            EXPECT_EQ(f.record, identity(npiv));
            EXPECT_EQ(f.counters.early_flushes + f.counters.second_tests + f.n_pairs, 0);
        }
}

// Pivot positions at the borders of blocks (16), strips (64) and the node, partners next to it and far away.
TEST(LdltKernel, TakesAPairOrAnInterchangeAtAnyPlaceOfABlockAndOfTheNode) {
    Rng rng(test_seed());
    const std::int32_t npiv = 100;
    for (const std::int32_t k : {0, 1, 14, 15, 16, 17, 63, 64, 65, 97, 98})
        for (const std::int32_t r : {k + 1, k + 2, 99})
            for (const double partner : {0.0, 2.0}) {
                if (r >= npiv) continue;
                SCOPED_TRACE(testing::Message() << "k " << k << " r " << r << " partner " << partner);
                const Eliminated f = eliminate_all_ways(weak_pivot_front(npiv, 21, k, r, partner, rng));
                std::vector<std::int32_t> expected = identity(npiv);
                expected[static_cast<std::size_t>(k)] = r;
                if (partner == 0.0) expected[static_cast<std::size_t>(k) + 1] = r;
                EXPECT_EQ(f.record, expected);
                EXPECT_EQ(f.n_pairs, partner == 0.0 ? 1 : 0);
                EXPECT_EQ(f.counters.second_tests, 1);
                EXPECT_EQ(f.counters.early_flushes, k % LDLT_BLOCK == 0 ? 0 : 1);
            }
}

TEST(LdltKernel, RebuildsRandomFrontsWithManyZeroDiagonals) {
    Rng rng(test_seed());
    std::int64_t n_pairs = 0, n_swaps = 0, n_flushes = 0;
    std::uniform_int_distribution<std::int32_t> size(1, 90), rest(0, 80);
    for (int trial = 0; trial < 150; ++trial) {
        const Front front =
            random_front(size(rng), rest(rng), 0.25 * (trial % 5), rng, trial % 2 == 0 ? 0.15 : 1.0);
        const Eliminated f = eliminate_all_ways(front);
        n_pairs += f.n_pairs;
        n_swaps += f.counters.second_tests - f.n_pairs;
        n_flushes += f.counters.early_flushes;
    }
    EXPECT_GT(n_pairs, 50);
    EXPECT_GT(n_swaps, 10);
    EXPECT_GT(n_flushes, 20);
}

// Nothing but pairs: the zero block makes every odd pivot depend on the pair before it.
TEST(LdltKernel, TakesPairsOneAfterTheOther) {
    Rng rng(test_seed());
    Front front(70, 9);
    std::uniform_real_distribution<double> entry(-1.0, 1.0);
    for (std::int32_t i = 0; i < 35; ++i)
        for (std::int32_t j = 35; j < 79; ++j) front.dense.set(i, j, entry(rng) + (j == i + 35 ? 9.0 : 0.0));
    for (std::int32_t i = 35; i < 70; ++i)
        for (std::int32_t j = 70; j < 79; ++j) front.dense.set(i, j, entry(rng));
    const Eliminated f = eliminate_all_ways(front);
    EXPECT_EQ(f.n_pivots, 70);
    EXPECT_EQ(f.n_pairs, 35);
}

TEST(LdltKernel, StopsAtAPivotThatIsZeroOrNotFinite) {
    Rng rng(test_seed());
    Front front = random_front(40, 5, 0.0, rng);
    for (std::int32_t j = 0; j < 40; ++j) front.dense.set(20, j, 0.0);
    EXPECT_EQ(eliminate_all_ways(front).n_pivots, 20) << "a zero row: no partner and nothing on the diagonal";
    front.dense(20, 20) = NAN;
    EXPECT_EQ(eliminate_all_ways(front).n_pivots, 20);
    front.dense(20, 20) = INFINITY;
    EXPECT_EQ(eliminate_all_ways(front).n_pivots, 20);
    EXPECT_EQ(eliminate_all_ways(two_by_two(0.0, 0.0, 1.0)).n_pivots, 0);
    EXPECT_EQ(eliminate_all_ways(two_by_two(0.0, 1.0, NAN)).n_pivots, 0) << "a pair that is not a number";
    EXPECT_EQ(eliminate_all_ways(two_by_two(0.0, INFINITY, 0.0)).n_pivots, 0);
}

TEST(LdltKernel, KeepsItsPivotTestsAtTinyAndHugeScales) {
    for (const double scale : {1e-309, 1e-200, 1e200, 1e300}) {
        const Eliminated pair = eliminate_all_ways(two_by_two(0.0, scale, 0.0));
        EXPECT_EQ(pair.n_pairs, 1) << scale;
        const Eliminated swapped = eliminate_all_ways(two_by_two(1e-8 * scale, scale, 0.5 * scale));
        EXPECT_EQ(swapped.record, (std::vector<std::int32_t>{1, 1})) << scale;
        EXPECT_EQ(swapped.counters.second_tests, 1) << scale;
    }
    // A diagonal of a millionth is kept, one below alpha is not.
    EXPECT_EQ(eliminate_all_ways(two_by_two(1e-6, 1.0, 0.0)).counters.second_tests, 0);
    EXPECT_EQ(eliminate_all_ways(two_by_two(6.40e-7, 1.0, 0.0)).counters.second_tests, 1);
    EXPECT_EQ(eliminate_all_ways(two_by_two(6.41e-7, 1.0, 0.0)).counters.second_tests, 0);
    Front subnormal(1, 1);
    subnormal.dense(0, 0) = 1e-310;
    EXPECT_EQ(eliminate_all_ways(subnormal).block[1], 0.0) << "0 divided by a pivot without a reciprocal";
    Front subnormal_pair(2, 1);
    subnormal_pair.dense.set(0, 1, 1e-309);
    subnormal_pair.dense.set(0, 2, 1e-309);
    subnormal_pair.dense.set(1, 2, 1e-309);
    EXPECT_EQ(eliminate_all_ways(subnormal_pair).block,
              (std::vector<double>{0.0, 1e-309, 0.0, 0.0, 1.0, 1.0}));
}

// The node's own rows are the only candidates, however large the coupling block is.
TEST(LdltKernel, NeverChoosesARowOfTheCouplingBlock) {
    Front front(2, 1);
    front.dense(0, 0) = 1e-3;
    front.dense.set(0, 1, 1e-4);
    front.dense(1, 1) = 1.0;
    front.dense.set(0, 2, 1e9);
    front.dense.set(1, 2, -1e9);
    const Eliminated f = eliminate_all_ways(front);
    EXPECT_EQ(f.record, identity(2));
    EXPECT_EQ(f.counters.second_tests, 0);
}
