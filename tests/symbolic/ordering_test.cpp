// The ordering with the partitioner itself.
#include "support/engine.h"
#include "symbolic/ordering.h"

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
