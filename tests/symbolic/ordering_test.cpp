// The ordering with the partitioner itself.
#include "support/engine.h"
#include "symbolic/ordering.h"
#include "symbolic/random.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace vyr;
using namespace vyr::test;
using Ints = std::vector<std::int32_t>;

TEST(Ordering, IsAPermutationAndTheSameWhateverOtherThreadsDo) {
    const auto ordered = [](std::int32_t k) {
        TestContext test;
        const Csc full = both_triangles(spd((20 + k) * 30, grid_edges(20 + k, 30)));
        Ints perm(full.n, -1);
        return mf_order(test.context, pattern_of(full), perm.data()) == Status::OK ? perm : Ints{};
    };
    std::vector<Ints> alone, together(24);
    for (std::int32_t k = 0; k < 24; ++k) alone.push_back(ordered(k));
#pragma omp parallel for num_threads(8) schedule(dynamic, 1)
    for (int k = 0; k < 24; ++k) together[k] = ordered(k);
    EXPECT_EQ(together, alone);
    for (Ints& perm : alone) {
        std::sort(perm.begin(), perm.end());
        for (std::size_t k = 0; k < perm.size(); ++k) ASSERT_EQ(perm[k], static_cast<std::int32_t>(k));
    }
}

TEST(Ordering, EndsWithoutMemoryAndHoldsNothing) {
    const Csc full = both_triangles(spd(210, grid_edges(15, 14)));
    Ints perm(full.n);
    Status status = Status::FACTOR_STORAGE;
    for (std::int64_t k = 1; status != Status::OK; ++k) {
        TestContext test;
        test.faults.allocation.set(k);
        status = mf_order(test.context, pattern_of(full), perm.data());
        ASSERT_EQ(status, test.faults.allocation.armed() ? Status::OK : Status::FACTOR_STORAGE) << k;
    }
}

TEST(Ordering, DrawsTheNumbersOfGnu) {
    const struct {
        std::uint32_t seed;
        std::int32_t first, thousandth;
    } cases[] = {{0u, 1804289383, 1143565421},
                 {1u, 1804289383, 1143565421},
                 {42u, 71876166, 896784309},
                 {3000000000u, 2058147116, 973692164}};
    for (const auto& [seed, first, thousandth] : cases) {
        AdditiveRandom random;
        random.seed(seed);
        EXPECT_EQ(random.draw(), first) << "seed " << seed;
        for (int k = 2; k < 1000; ++k) random.draw();
        EXPECT_EQ(random.draw(), thousandth) << "seed " << seed;
    }
}
