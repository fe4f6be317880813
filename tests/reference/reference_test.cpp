// The reference versions against results worked out by hand.
#include "reference/reference_analysis.h"

#include <gtest/gtest.h>

#include <numeric>

using namespace vyr::reference;

namespace {

/// Lower triangle with a full diagonal from (row, column) pairs, ordered by column.
Pattern lower_pattern(std::int32_t n, std::vector<std::pair<std::int32_t, std::int32_t>> below) {
    Pattern stored;
    stored.n = n;
    for (std::int32_t j = 0; j < n; ++j) {
        stored.rowind.push_back(j);
        for (auto [i, column] : below)
            if (column == j) stored.rowind.push_back(i);
        stored.colptr.push_back(static_cast<std::int32_t>(stored.rowind.size()));
    }
    return stored;
}

Pattern dense_pattern(std::int32_t n) {
    std::vector<std::pair<std::int32_t, std::int32_t>> below;
    for (std::int32_t j = 0; j < n; ++j)
        for (std::int32_t i = j + 1; i < n; ++i) below.emplace_back(i, j);
    return lower_pattern(n, below);
}

Ints identity(std::int32_t n) {
    Ints perm(n);
    std::iota(perm.begin(), perm.end(), 0);
    return perm;
}

} // namespace

TEST(Reference, FullPatternAndItsOriginsOfASmallMatrix) {
    // x . .
    // . x .     entries in order: (0,0) (2,0) (1,1) (2,1) (2,2)
    // x x x
    const Pattern lower = lower_pattern(3, {{2, 0}, {2, 1}});
    const Pattern full = sym_full(lower);
    EXPECT_EQ(full.colptr, (Ints{0, 2, 4, 7}));
    EXPECT_EQ(full.rowind, (Ints{0, 2, 1, 2, 0, 1, 2}));
    EXPECT_EQ(sym_map(full, lower), (Ints{0, 1, 2, 3, 1, 3, 4}));

    Ints new_place;
    const Pattern permuted = sym_permute(full, {2, 0, 1}, new_place);
    EXPECT_EQ(permuted.colptr, (Ints{0, 3, 5, 7}));
    EXPECT_EQ(permuted.rowind, (Ints{0, 1, 2, 0, 1, 0, 2}));
    EXPECT_EQ(new_place, (Ints{4, 3, 6, 5, 1, 2, 0}));
}

TEST(Reference, FoldsBothTrianglesAndRepeatsToOneLowerTriangle) {
    Pattern stored; // column 0: rows 1 0; column 1: rows 1 0 1
    stored.n = 2;
    stored.colptr = {0, 2, 5};
    stored.rowind = {1, 0, 1, 0, 1};
    const CanonicalPattern canonical = canonical_pattern(stored);
    EXPECT_EQ(canonical.lower.colptr, (Ints{0, 2, 3}));
    EXPECT_EQ(canonical.lower.rowind, (Ints{0, 1, 1}));
    EXPECT_EQ(canonical.entry_of, (Ints{1, 0, 2, 1, 2}));
}

TEST(Reference, DiagonalMatrixHasOneRootPerColumnAndReversesTheOrder) {
    const ReferenceAnalysis a = analyse(lower_pattern(4, {}), {2, 0, 3, 1});
    EXPECT_EQ(a.root_count, 4);
    EXPECT_EQ(a.perm, (Ints{1, 3, 0, 2}));
    EXPECT_EQ(a.parent, Ints(4, -1));
    EXPECT_EQ(a.column_count, Ints(4, 1));
    EXPECT_EQ(a.tree.snodes.size(), 4u);
    EXPECT_EQ(a.value_map, (Longs{2, 0, 3, 1}));
    EXPECT_EQ(a.tree.stack_depth, 0);
    EXPECT_EQ(a.tree.update_stack_peak, 0);
    EXPECT_EQ(a.tree.memory_estimate, 8 * (4 + 4 * 16 + 1));
}

TEST(Reference, DenseMatrixIsOneChainCutAtTheWidthLimit) {
    const ReferenceAnalysis small = analyse(dense_pattern(5), identity(5));
    EXPECT_EQ(small.parent, (Ints{1, 2, 3, 4, -1}));
    EXPECT_EQ(small.column_count, (Ints{5, 4, 3, 2, 1}));
    ASSERT_EQ(small.tree.snodes.size(), 1u);
    EXPECT_EQ(small.tree.max_level, 0);
    EXPECT_EQ(small.tree.factor_entries, 25);

    const ReferenceAnalysis large = analyse(dense_pattern(1030), identity(1030));
    ASSERT_EQ(large.tree.snodes.size(), 2u);
    EXPECT_EQ(large.tree.snodes[0].npiv, 1024);
    EXPECT_EQ(large.tree.snodes[0].nupd, 6);
    EXPECT_EQ(large.tree.snodes[1].npiv, 6);
    EXPECT_EQ(large.tree.snodes[0].flags, 16u | 64u);
    EXPECT_EQ(large.tree.factor_entries, 1024 * 1030 + 6 * 6);
    EXPECT_EQ(large.tree.update_stack_peak, 6 * 7 / 2);
}

TEST(Reference, TridiagonalMatrixPairsColumnsBecauseOneColumnAlwaysExtends) {
    // Along the chain the first merge is free (width 1); the second would add 4 zeros to a 4 x 4 front.
    const Pattern lower = lower_pattern(6, {{1, 0}, {2, 1}, {3, 2}, {4, 3}, {5, 4}});
    const ReferenceAnalysis a = analyse(lower, identity(6));
    EXPECT_EQ(a.column_count, (Ints{2, 2, 2, 2, 2, 1}));
    ASSERT_EQ(a.tree.snodes.size(), 3u);
    EXPECT_EQ(a.tree.snode_parent, (Ints{1, 2, -1}));
    EXPECT_EQ(a.tree.snodes[0].rows, (Ints{0, 1, 2}));
    EXPECT_EQ(a.tree.snodes[2].rows, (Ints{4, 5}));
    EXPECT_EQ(a.tree.snodes[2].level, 2);
    EXPECT_EQ(a.tree.factor_entries, 2 * 3 + 2 * 3 + 2 * 2);
    // (0,0) (1,0) (1,1) (2,1): rows of two doubles from position 0.
    EXPECT_EQ((Longs(a.value_map.begin(), a.value_map.begin() + 4)), (Longs{0, 2, 3, 5}));
}

TEST(Reference, TreeDrawnByHandWithSkippedAncestors) {
    // Elimination tree: 0, 1 -> 2;  2, 3 -> 4;  4, 5 -> 6;  6 -> 7. Column 0 also reaches row 7.
    const Pattern lower = lower_pattern(8, {{2, 0}, {7, 0}, {2, 1}, {4, 2}, {4, 3}, {6, 4}, {6, 5}, {7, 6}});
    const ReferenceAnalysis a = analyse(lower, identity(8));
    EXPECT_EQ(a.perm, identity(8));
    EXPECT_EQ(a.parent, (Ints{2, 2, 4, 4, 6, 6, 7, -1}));
    EXPECT_EQ(a.child_count, (Ints{0, 0, 2, 0, 2, 0, 2, 1}));
    EXPECT_EQ(a.column_count, (Ints{3, 2, 3, 2, 3, 2, 2, 1}));
    const auto& nodes = a.tree.snodes; // {0} {1 2} {3 4} {5 6} {7}
    ASSERT_EQ(nodes.size(), 5u);
    EXPECT_EQ(a.tree.snode_parent, (Ints{1, 2, 3, 4, -1}));
    EXPECT_EQ(nodes[0].rows, (Ints{0, 2, 7}));
    EXPECT_EQ(nodes[1].rows, (Ints{1, 2, 4, 7}));
    EXPECT_EQ(nodes[3].rows, (Ints{5, 6, 7}));
    EXPECT_EQ(nodes[0].rel_index, (Ints{0, 1, 3}));
    EXPECT_EQ(nodes[0].anc_rows, (Ints{1, 0, 0, 1}));
    EXPECT_EQ(nodes[1].anc_rows, (Ints{1, 0, 1}));
    EXPECT_EQ(nodes[0].flags, 16u | 32u);
    EXPECT_EQ(nodes[3].flags, 16u | 64u);
    EXPECT_EQ(a.tree.max_level, 4);
    EXPECT_EQ(a.tree.factor_entries, 3 + 8 + 8 + 6 + 1);
    EXPECT_EQ((Longs(a.value_map.begin(), a.value_map.begin() + 7)), (Longs{0, 1, 2, 3, 5, 6, 8}));
    EXPECT_EQ(a.tree.stack_depth, 1);
    EXPECT_EQ(a.tree.update_stack_peak, 3);
    EXPECT_EQ(a.tree.memory_estimate, 8 * (8 + 4 * 16 * 2 + 8));
    // An order that puts children before parents but is no postorder.
    const ReferenceAnalysis b = analyse(lower, {1, 0, 3, 2, 5, 4, 6, 7});
    EXPECT_EQ(b.perm, (Ints{5, 3, 1, 0, 2, 4, 6, 7}));
    EXPECT_EQ(b.parent, (Ints{6, 5, 4, 4, 5, 6, 7, -1}));
}

TEST(Reference, TasksOfATreeDrawnByHand) {
    // Supernodes {0} {1 2} {3 4} {5 6}, tree 0 -> 1 -> 3 and 2 -> 3.
    const Pattern lower = lower_pattern(7, {{2, 0}, {6, 0}, {2, 1}, {5, 1}, {4, 3}, {5, 4}, {6, 5}});
    auto tasks_of = [&](std::int32_t threads) { return analyse(lower, identity(7), 0, threads).tasks; };
    // One thread: the one root is a task, and the top task is empty.
    EXPECT_EQ(tasks_of(1).nodes, (std::vector<Ints>{{0, 1, 2, 3}, {}}));
    EXPECT_EQ(tasks_of(1).critical_share, 0.0);
    EXPECT_EQ(tasks_of(1).work_entries, 4);
    // Two threads: one root is no multiple of two; its children cost 25.0 and 8.7, a ratio below four.
    EXPECT_EQ(tasks_of(2).nodes, (std::vector<Ints>{{0, 1}, {2}, {3}}));
    EXPECT_EQ(tasks_of(2).critical_share, 0.75);
    EXPECT_EQ(tasks_of(2).work_entries, 4 + 1);
    // Three threads: never a multiple of three, so every subtree is split until none is left.
    EXPECT_EQ(tasks_of(3).nodes, (std::vector<Ints>{{0, 1, 2, 3}}));
}

TEST(Reference, CompressionMergesOnlyEqualClosedNeighbourhoods) {
    // A triangle 0 1 2 with a tail 3 at vertex 2: only 0 and 1 see the same vertices.
    const Compression c =
        graph_compress(adjacency_graph(sym_full(lower_pattern(4, {{1, 0}, {2, 0}, {2, 1}, {3, 2}}))), 0.0);
    EXPECT_EQ(c.group, (Ints{0, 0, 1, 2}));
    EXPECT_EQ(c.weights, (Ints{2, 1, 1}));
    EXPECT_EQ(c.graph.colptr, (Ints{0, 1, 3, 4}));
    EXPECT_EQ(c.graph.rowind, (Ints{1, 0, 2, 1}));
    EXPECT_EQ(c.expand({2, 0, 1}), (Ints{3, 1, 0, 2}));
}
