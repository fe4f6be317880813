// What the partitioner is given and what becomes of its order.
#include "support/engine.h"
#include "symbolic/ordering.h"

#include <gtest/gtest.h>
#include <metis.h>

#include <algorithm>
#include <numeric>

using namespace vyr;
using namespace vyr::test;
using Ints = std::vector<std::int32_t>;

/// In place of the partitioner, for all of this program: the natural order or one drawn from the arguments;
/// for n = 3, 10, 17, ... it fails.
int METIS_NodeND(idx_t* n, idx_t* xadj, idx_t* adjacency, idx_t* weights, idx_t* options, idx_t* perm,
                 idx_t* inverse) {
    EXPECT_EQ(options[METIS_OPTION_NUMBERING], 0);
    EXPECT_EQ(options[METIS_OPTION_COMPRESS], weights == nullptr ? -1 : 0);
    Ints print(xadj, xadj + *n + 1);
    print.insert(print.end(), adjacency, adjacency + xadj[*n]);
    if (weights != nullptr) print.insert(print.end(), weights, weights + *n);
    std::seed_seq seed(print.begin(), print.end());
    std::iota(perm, perm + *n, 0);
    if (Rng rng(seed); rng() % 2 && *n < 1000) std::shuffle(perm, perm + *n, rng);
    std::fill_n(inverse, *n, -1);
    return *n % 7 == 3 ? METIS_ERROR : METIS_OK;
}

TEST(Ordering, VerticesWithOneClosedNeighbourhoodAreOrderedAsOne) {
    Rng rng(test_seed());
    for (int trial = 0; trial < 500 && !HasFailure(); ++trial) {
        SCOPED_TRACE("trial " + std::to_string(trial));
        const auto n = static_cast<std::int32_t>(1 + rng() % 40);
        Edges edges = random_edges(n, n, rng);
        for (const std::int32_t v : {1, 2, 3}) // some vertices become copies of v
            for (std::int32_t i = 4 + v; i < n; i += static_cast<std::int32_t>(3 + rng() % 9))
                for (std::size_t e = edges.size(); e-- > 0;)
                    if (edges[e].first == v) edges.insert(edges.end(), {{i, edges[e].second}, {i, v}});
        const Csc full = both_triangles(spd(n, edges));

        std::vector<Ints> closed, members;
        Ints xadj{0}, adjacency, group, group_xadj{0}, group_adjacency, weights;
        for (std::int32_t j = 0; j < n; ++j) {
            closed.emplace_back(&full.rowind[full.colptr[j]], full.rowind.data() + full.colptr[j + 1]);
            const auto like = std::find(closed.begin(), closed.end() - 1, closed[j]) - closed.begin();
            if (like == j) members.emplace_back();
            group.push_back(like == j ? static_cast<std::int32_t>(members.size()) - 1 : group[like]);
            members[group[j]].insert(members[group[j]].begin(), j); // decreasing
            std::remove_copy(closed[j].begin(), closed[j].end(), std::back_inserter(adjacency), j);
            xadj.push_back(static_cast<std::int32_t>(adjacency.size()));
        }
        for (const Ints& vertices : members) {
            const std::int32_t j = vertices.back();
            weights.push_back(static_cast<std::int32_t>(vertices.size()));
            for (const std::int32_t c : closed[j])
                if (c != j && members[group[c]].back() == c) group_adjacency.push_back(group[c]);
            group_xadj.push_back(static_cast<std::int32_t>(group_adjacency.size()));
        }

        for (const int compress : {0, 1, 2}) { // not, on its own, for the blocked passes
            TestContext test;
            test.context.settings.compress = compress == 1;
            test.context.settings.blocked = compress == 2;
            const auto n_groups = static_cast<std::int32_t>(members.size());
            Ints order(n), inverse(n), expanded, perm(n);
            const bool grouped = compress && n_groups < n;
            const Status status = grouped ? METIS_NodeWND_order(test.context, n_groups, group_xadj.data(),
                                                                group_adjacency.data(), weights.data(),
                                                                order.data(), inverse.data())
                                          : METIS_NodeND_order(test.context, n, xadj.data(), adjacency.data(),
                                                               order.data(), inverse.data());
            for (std::int32_t k = 0; grouped && k < n_groups; ++k)
                expanded.insert(expanded.end(), members[order[k]].begin(), members[order[k]].end());
            ASSERT_EQ(status, (grouped ? n_groups : n) % 7 == 3 ? Status::ORDERING : Status::OK);
            EXPECT_EQ(mf_order(test.context, pattern_of(full), perm.data()), status);
            EXPECT_TRUE(status != Status::OK || perm == (grouped ? expanded : order)) << compress;
        }
    }
}
