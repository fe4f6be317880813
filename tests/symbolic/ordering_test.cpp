// The ordering with graph compression, against the partitioner called on the reference's compressed graph.
#include "interface/process_state.h"
#include "reference/pattern.h"
#include "support/matrices.h"
#include "symbolic/ordering.h"

#include <gtest/gtest.h>
#include <metis.h>

#include <algorithm>

using namespace vyr;
using namespace vyr::test;
using reference::Ints;

namespace {

Ints partitioner_order(reference::Pattern graph, Ints* weights) {
    idx_t options[METIS_NOPTIONS];
    METIS_SetDefaultOptions(options);
    options[METIS_OPTION_NUMBERING] = 0;
    if (weights != nullptr) options[METIS_OPTION_COMPRESS] = 0;
    Ints perm(graph.n), inverse(graph.n);
    EXPECT_EQ(METIS_NodeND(&graph.n, graph.colptr.data(), graph.rowind.data(),
                           weights != nullptr ? weights->data() : nullptr, options, perm.data(),
                           inverse.data()),
              METIS_OK);
    return perm;
}

/// Three unknowns at every vertex of a graph, all joined to each other and to those of the neighbours.
Edges three_unknowns(std::int32_t n, const Edges& edges) {
    Edges result;
    auto join = [&](std::int32_t v, std::int32_t w) {
        for (std::int32_t i = 0; i < 3; ++i)
            for (std::int32_t j = 0; j < 3; ++j)
                if (3 * v + i != 3 * w + j) result.emplace_back(3 * v + i, 3 * w + j);
    };
    for (std::int32_t v = 0; v < n; ++v) join(v, v);
    for (auto [v, w] : edges) join(v, w);
    return result;
}

} // namespace

TEST(Ordering, CompressedGraphIsOrderedByWeightAndExpanded) {
    Rng rng(test_seed());
    std::vector<Csc> cases = {spd(300, three_unknowns(100, grid_edges(10, 10))), spd(50, dense_edges(50)),
                              spd(100, grid_edges(10, 10)), spd(30, {})};
    for (int trial = 0; trial < 30; ++trial) {
        const auto n = static_cast<std::int32_t>(2 + rng() % 60);
        cases.push_back(spd(n, random_edges(n, static_cast<std::int64_t>(rng() % (2 * n)), rng)));
    }
    for (const Csc& a : cases) {
        const reference::Pattern full = reference::sym_full({a.n, a.colptr, a.rowind});
        const reference::Pattern graph = reference::adjacency_graph(full);
        reference::Compression compressed = reference::graph_compress(graph, 0.0);
        Ints perm(a.n, -1);

        mf_ctrl[CTRL_BLOCKED] = 1;
        ASSERT_TRUE(mf_order(a.n, full.colptr.data(), full.rowind.data(), perm.data()));
        if (compressed.graph.n < a.n) {
            EXPECT_EQ(perm, compressed.expand(partitioner_order(compressed.graph, &compressed.weights)));
        } else {
            EXPECT_EQ(perm, partitioner_order(graph, nullptr));
        }
        mf_ctrl[CTRL_BLOCKED] = 0;
        ASSERT_TRUE(mf_order(a.n, full.colptr.data(), full.rowind.data(), perm.data()));
        EXPECT_EQ(perm, partitioner_order(graph, nullptr));
        std::sort(perm.begin(), perm.end());
        for (std::int32_t k = 0; k < a.n; ++k) ASSERT_EQ(perm[k], k);
    }
}
