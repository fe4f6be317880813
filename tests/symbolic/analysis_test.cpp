// The analysis against the reference version, field by field, given the same fill-reducing ordering.
#include "reference/reference_analysis.h"
#include "support/session.h"
#include "symbolic/ordering.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <set>

using namespace vyr;
using namespace vyr::test;
using reference::Ints;

namespace {

struct Setting {
    int core_mode = CORE_IN;
    int threads = 1;
    bool blocked = false;
};

template <typename T>
std::vector<T> copy(const T* data, std::int64_t count) {
    return data == nullptr ? std::vector<T>{} : std::vector<T>(data, data + count);
}

void expect_same_nodes(const Solver& solver, const reference::ReferenceAnalysis& expected) {
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        SCOPED_TRACE("supernode " + std::to_string(s));
        const mf_snode& node = solver.snodes[s];
        const reference::Snode& want = expected.tree.snodes[s];
        EXPECT_EQ(node.start, want.start);
        EXPECT_EQ(node.flags, want.flags | (expected.tasks.shared[s] ? NODE_SHARED : 0u));
        EXPECT_EQ(node.file_number, 0u);
        EXPECT_EQ(node.level, want.level);
        EXPECT_EQ(node.child_count, want.child_count);
        EXPECT_EQ(node.npiv, want.npiv);
        ASSERT_EQ(node.nupd, want.nupd);
        ASSERT_EQ(copy(node.rows, node.n_rows()), want.rows);
        ASSERT_EQ(copy(node.anc_rows, node.anc_count), want.anc_rows);
        if (solver.snode_parent[s] == -1) continue;
        ASSERT_EQ(copy(node.rel_index + node.npiv, node.nupd),
                  Ints(want.rel_index.begin() + want.npiv, want.rel_index.end()));
    }
}

void expect_same_tasks(const Solver& solver, const reference::Tasks& expected, int threads) {
    EXPECT_EQ(solver.n_threads, threads);
    ASSERT_EQ(solver.n_tasks, static_cast<int>(expected.nodes.size()));
    EXPECT_EQ(solver.partition_count, solver.n_tasks);
    for (std::int32_t t = 0; t < solver.n_tasks; ++t)
        EXPECT_EQ(copy(solver.task_nodes + solver.task_offset[t],
                       solver.task_offset[t + 1] - solver.task_offset[t]),
                  expected.nodes[t])
            << "task " << t;
    EXPECT_DOUBLE_EQ(solver.critical_share, expected.critical_share);
    EXPECT_EQ(solver.task_work_entries, expected.work_entries);
}

/// Runs the analysis on `a` and compares everything it leaves behind.
void expect_reference_result(const Csc& a, Setting setting = {}) {
    omp_set_num_threads(setting.threads);
    Session session;
    session.param[VYR_PARAM_BLOCKED] = setting.blocked;
    ASSERT_EQ(session.init(a, a.n == 1 ? VYR_TYPE_SPD : VYR_TYPE_BOTH_TRIANGLES), 0);
    mf_ctrl[CTRL_CORE_MODE] = setting.core_mode;
    ASSERT_TRUE(session.symbol(a));
    const Solver& solver = session.solver();

    const auto canonical = reference::canonical_pattern({a.n, a.colptr, a.rowind});
    const reference::Pattern full = reference::sym_full(canonical.lower);
    Ints ordering(a.n, -1);
    ASSERT_TRUE(mf_order(a.n, full.colptr.data(), full.rowind.data(), ordering.data()));
    const auto expected =
        reference::analyse(canonical.lower, ordering, setting.core_mode, setting.threads, setting.blocked);
    const reference::AssemblyTree& tree = expected.tree;

    EXPECT_EQ(copy(solver.perm, a.n), expected.perm);
    EXPECT_EQ(copy(solver.parent, a.n), expected.parent);
    EXPECT_EQ(solver.root_count, expected.root_count);
    EXPECT_EQ(solver.child_count, nullptr);
    EXPECT_EQ(solver.column_count, nullptr);
    ASSERT_EQ(solver.n_snodes, static_cast<int>(tree.snodes.size()));
    EXPECT_EQ(copy(solver.snode_parent, solver.n_snodes), tree.snode_parent);
    EXPECT_EQ(copy(solver.column_map, a.n), tree.column_map);
    expect_same_nodes(solver, expected);
    expect_same_tasks(solver, expected.tasks, setting.threads);

    ASSERT_EQ(solver.n_input, a.nnz());
    for (std::int32_t e = 0; e < a.nnz(); ++e)
        ASSERT_EQ(solver.value_map[e], expected.value_map[canonical.entry_of[e]]) << "entry " << e;
    EXPECT_EQ(solver.n, a.n);
    EXPECT_EQ(solver.n_cols, a.n);
    EXPECT_EQ(solver.factor_entries, tree.factor_entries);
    EXPECT_EQ(solver.largest_front, tree.largest_front);
    EXPECT_EQ(solver.largest_update, tree.largest_update);
    EXPECT_EQ(solver.stack_depth, tree.stack_depth);
    EXPECT_EQ(solver.update_stack_peak, tree.update_stack_peak);
    EXPECT_EQ(solver.max_level, tree.max_level);
    EXPECT_EQ(solver.storage_cursor, 0);
    EXPECT_EQ(solver.lu_values != nullptr, setting.core_mode == CORE_IN);
    EXPECT_EQ(solver.update_stack != nullptr, setting.core_mode == CORE_MAPPED);
    for (std::int32_t s = 0; s < solver.n_snodes; ++s)
        EXPECT_EQ(solver.snodes[s].factor_block,
                  solver.lu_values ? solver.lu_values + tree.snodes[s].start : nullptr);

    EXPECT_EQ(mf_info[INFO_MAX_WIDTH], tree.largest_width);
    EXPECT_EQ(mf_info[INFO_NODES], solver.n_snodes);
    EXPECT_EQ(mf_info[INFO_NZLU], static_cast<double>(tree.factor_entries));
    EXPECT_EQ(mf_info[INFO_NZLU_SYM], static_cast<double>(tree.factor_entries));
    EXPECT_EQ(mf_ctrl[CTRL_MEMORY_ESTIMATE], static_cast<double>(tree.memory_estimate));
}

} // namespace

TEST(Analysis, MatchesTheReferenceOnRandomPatterns) {
    Rng rng(test_seed());
    for (int trial = 0; trial < 60; ++trial) {
        const auto n = static_cast<std::int32_t>(1 + rng() % 150);
        const Csc a = spd(n, random_edges(n, static_cast<std::int64_t>(rng() % (4 * n)), rng));
        const Setting setting{trial % 5 == 4 ? CORE_OUT : CORE_IN, 1 + trial % 3, trial % 2 == 1};
        SCOPED_TRACE("trial " + std::to_string(trial));
        expect_reference_result(a, setting);
        if (HasFatalFailure()) return;
    }
}

TEST(Analysis, MatchesTheReferenceOnStructuredPatterns) {
    const std::vector<std::pair<const char*, Csc>> cases = {
        {"order 1", spd(1, {})},
        {"diagonal", spd(40, {})},
        {"tridiagonal", spd(200, band_edges(200, 1))},
        {"band of 7", spd(300, band_edges(300, 7))},
        {"arrow", spd(150, arrow_edges(150, 2))},
        {"one arrow head", spd(90, arrow_edges(90, 1))},
        {"dense", spd(120, dense_edges(120))},
        {"plane grid", spd(40 * 33, grid_edges(40, 33))},
        {"cube grid", spd(12 * 11 * 10, grid_edges(12, 11, 10))},
        {"separate grids", spd(5 * 48, disconnected_grid_edges(5, 8, 6))},
        {"many separate edges", spd(200,
                                    [] {
                                        Edges edges;
                                        for (std::int32_t j = 0; j < 200; j += 2)
                                            edges.emplace_back(j, j + 1);
                                        return edges;
                                    }())},
    };
    for (const auto& [name, a] : cases)
        for (const Setting setting : {Setting{}, Setting{CORE_IN, 2, true}, Setting{CORE_OUT, 4, false},
                                      Setting{CORE_MAPPED, 3, false}, Setting{CORE_IN, 16, false}}) {
            SCOPED_TRACE(std::string(name) + ", core mode " + std::to_string(setting.core_mode));
            expect_reference_result(a, setting);
        }
}

TEST(Analysis, CutsALargeDenseMatrixAtTheWidthLimit) {
    expect_reference_result(spd(2000, dense_edges(2000)));
    EXPECT_EQ(mf_info[INFO_NODES], 2); // 1024 and 976 columns
    EXPECT_EQ(mf_info[INFO_MAX_WIDTH], 1024);
}

TEST(Analysis, FoldsBothTrianglesAndDisorderToOnePattern) {
    Rng rng(test_seed());
    const Csc lower = spd(120, grid_edges(12, 10));
    expect_reference_result(both_triangles(lower));
    expect_reference_result(shuffled(lower, rng));
    expect_reference_result(shuffled(both_triangles(lower), rng));
    Csc upper = lower; // row and column exchanged: the transpose of the lower triangle
    upper.colptr.assign(1, 0);
    upper.rowind.clear();
    const Csc full = both_triangles(lower);
    for (std::int32_t j = 0; j < full.n; ++j) {
        for (std::int32_t e = full.colptr[j]; e < full.colptr[j + 1]; ++e)
            if (full.rowind[e] <= j) upper.rowind.push_back(full.rowind[e]);
        upper.colptr.push_back(static_cast<std::int32_t>(upper.rowind.size()));
    }
    expect_reference_result(upper);
}

TEST(Analysis, AcceptsMissingDiagonalEntriesAndEmptyColumns) {
    Csc a;
    a.n = 5; // column 1 and 4 empty, no diagonal in column 0
    a.colptr = {0, 2, 2, 3, 4, 4};
    a.rowind = {2, 4, 2, 3};
    a.values.assign(4, 1.0);
    Session session;
    ASSERT_EQ(session.init(a), 0);
    ASSERT_TRUE(session.symbol(a));
    EXPECT_EQ(session.solver().n_input, 4);
    EXPECT_EQ(mf_info[INFO_NO_DIAGONAL], 3);
}

TEST(Analysis, GivesEveryLowerEntryAPlaceOfItsOwn) {
    const Csc a = spd(12 * 11 * 10, grid_edges(12, 11, 10));
    Session session;
    ASSERT_EQ(session.init(a), 0);
    ASSERT_TRUE(session.symbol(a));
    const Solver& solver = session.solver();
    const std::set<std::int64_t> places(solver.value_map, solver.value_map + a.nnz());
    EXPECT_EQ(places.size(), static_cast<std::size_t>(a.nnz()));
    EXPECT_GE(*places.begin(), 0);
    EXPECT_LT(*places.rbegin(), solver.factor_entries);
}
