// The analysis by its definitions: one dense Boolean elimination, and what follows from it.
#include "support/engine.h"
#include "symbolic/analyse.h"
#include "symbolic/ordering.h"
#include "symbolic/pattern.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cfloat>
#include <numeric>

using namespace vyr;
using namespace vyr::test;

namespace {

using Ints = std::vector<std::int32_t>;
using Filled = std::vector<Ints>; // [j][i], i >= j: L(i, j) is not zero

template <typename T>
std::vector<T> list(const T* first, std::int64_t count) {
    return std::vector<T>(first, first + count);
}

/// Where a node lists a row.
std::int32_t position(const mf_snode& node, std::int32_t row) {
    return static_cast<std::int32_t>(std::find(node.rows, node.rows + node.n_rows(), row) - node.rows);
}

Ints inverse_of(const Ints& perm) {
    Ints inverse(perm.size());
    for (std::size_t k = 0; k < perm.size(); ++k) inverse[perm[k]] = static_cast<std::int32_t>(k);
    return inverse;
}

Filled eliminate(const Csc& a, const Ints& perm) {
    const Ints place = inverse_of(perm);
    Filled l(a.n, Ints(a.n));
    for (std::int32_t j = 0; j < a.n; ++j) {
        l[j][j] = 1;
        for (std::int32_t e = a.colptr[j]; e < a.colptr[j + 1]; ++e) {
            const auto [low, high] = std::minmax(place[j], place[a.rowind[e]]);
            l[low][high] = 1;
        }
    }
    for (std::int32_t k = 0; k < a.n; ++k)
        for (std::int32_t j = k + 1; j < a.n; ++j)
            for (std::int32_t i = j; i < a.n; ++i) l[j][i] |= l[k][j] & l[k][i];
    return l;
}

Ints parents(const Filled& l) {
    Ints parent(l.size(), -1);
    for (std::size_t j = 0; j < l.size(); ++j)
        for (std::size_t i = l.size() - 1; i > j; --i)
            if (l[j][i]) parent[j] = static_cast<std::int32_t>(i);
    return parent;
}

/// The order with children before parents; children ascending, roots descending.
Ints postordered(const Csc& a, const Ints& order) {
    const Ints parent = parents(eliminate(a, order));
    Ints result;
    const auto emit = [&](const auto& self, std::int32_t node) -> void {
        for (std::int32_t c = 0; c < node; ++c)
            if (parent[c] == node) self(self, c);
        result.push_back(order[node]);
    };
    for (std::int32_t j = a.n - 1; j >= 0; --j)
        if (parent[j] == -1) emit(emit, j);
    return result;
}

/// The supernode of each column: chains, relaxed while few zeros are added.
Ints column_map(const Filled& l, const Ints& parent) {
    Ints map;
    std::int32_t s = 0, width = 0, zeros = 0;
    const auto count = [&](std::int32_t j) { return std::accumulate(l[j].begin() + j, l[j].end(), 0); };
    for (std::int32_t col = 0; col < static_cast<std::int32_t>(l.size()); ++col) {
        map.push_back(s);
        ++width;
        if (parent[col] == col + 1) {
            zeros += 2 * width * (count(col + 1) - count(col) + 1);
            const std::int32_t side = width + count(col + 1);
            if (width < 2 || zeros <= 0.01 * (side * side - zeros)) continue;
        }
        ++s;
        width = zeros = 0;
    }
    return map;
}

/// The supernodes, given the map of the columns; `counted` from 3 columns and 1000 bytes.
void expect_nodes(const Analysis& got, const Filled& l, const Ints& map, bool in_core,
                  const Statistics& counted) {
    std::int64_t start = 0, front = 0, peak = 0, widest = 0, update = 0, max_level = 0;
    const auto raise = [](auto& largest, auto value) { largest = std::max<std::int64_t>(largest, value); };
    std::int32_t first = 0;
    for (std::int32_t s = 0; s < got.n_snodes; first += got.snodes[s++].npiv) {
        SCOPED_TRACE("supernode " + std::to_string(s));
        const mf_snode& node = got.snodes[s];
        const auto npiv = static_cast<std::int32_t>(std::count(map.begin(), map.end(), s));
        Ints rows(npiv);
        std::iota(rows.begin(), rows.end(), first);
        for (std::int32_t i = first + npiv; i < got.n; ++i)
            if (std::any_of(&l[first], &l[first] + npiv, [&](const auto& column) { return column[i]; }))
                rows.push_back(i);
        ASSERT_EQ(node.npiv, npiv);
        ASSERT_EQ(list(node.rows, node.n_rows()), rows);
        EXPECT_EQ(std::exchange(start, start + node.n_entries()), node.start);
        const std::int32_t parent = node.nupd == 0 ? -1 : map[rows[npiv]];
        ASSERT_EQ(got.snode_parent[s], parent);
        std::int32_t children = 0, level = 0, waiting = 0; // updates for later parents: doubles
        for (std::int32_t c = 0; c <= s; ++c) {
            const mf_snode& before = got.snodes[c];
            if (got.snode_parent[c] == s) ++children, level = std::max(level, before.level + 1);
            if (got.snode_parent[c] > s) waiting += before.nupd * (before.nupd + 1) / 2;
        }
        EXPECT_EQ(node.child_count, children);
        EXPECT_EQ(node.level, level);

        Ints places(npiv), segments;
        for (std::int32_t t = npiv; t < node.n_rows(); ++t)
            places.push_back(position(got.snodes[parent], rows[t]));
        for (std::int32_t a = parent; a != -1 && a <= map[rows.back()]; a = got.snode_parent[a])
            segments.push_back(static_cast<std::int32_t>(
                std::count_if(rows.begin(), rows.end(), [&](std::int32_t i) { return map[i] == a; })));
        const std::int32_t inside = segments.empty() ? 0 : segments[0], below = node.nupd - inside;
        std::uint32_t flags = node.flags & NODE_SHARED;
        if (inside > 0 && rows[npiv + inside - 1] - rows[npiv] == inside - 1) flags |= NODE_PARENT_RUN;
        if (inside > 0 && below == 0) flags |= NODE_ALL_IN_PARENT;
        if (below > 0 && places.back() - places[npiv + inside] == below - 1) flags |= NODE_BELOW_RUN;
        EXPECT_EQ(list(node.rel_index, node.n_rows()), places);
        EXPECT_EQ(list(node.anc_rows, node.anc_count), segments);
        EXPECT_EQ(node.flags, flags);

        raise(front, node.n_rows() * (in_core ? npiv : 16));
        raise(peak, waiting);
        raise(widest, npiv);
        raise(update, node.nupd);
        raise(max_level, level);
    }
    EXPECT_EQ(got.factor_entries, start);
    EXPECT_EQ(got.largest_front, front);
    EXPECT_EQ(got.update_stack_peak, peak);
    EXPECT_EQ(got.largest_update, update);
    EXPECT_EQ(got.max_level, max_level);
    EXPECT_EQ(counted.max_width, static_cast<double>(std::max<std::int64_t>(3, widest)));
    const auto work = std::max<std::int64_t>(update * update, got.n) + 4 * 16 * widest + front;
    EXPECT_EQ(counted.memory_estimate, 1000 + 8.0 * static_cast<double>(work));
}

void expect_value_map(const Analysis& got, const Csc& a, const Ints& perm) {
    ASSERT_EQ(got.n_input, a.nnz());
    const Ints place = inverse_of(perm);
    bool canonical = true;
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t e = a.colptr[j]; e < a.colptr[j + 1]; ++e) {
            const auto [low, high] = std::minmax(place[j], place[a.rowind[e]]);
            const mf_snode& node = got.snodes[got.column_map[low]];
            ASSERT_EQ(got.value_map[e], node.start + position(node, high) * node.npiv + low - node.first());
            canonical &= a.rowind[e] >= j && (e == a.colptr[j] || a.rowind[e] > a.rowind[e - 1]);
        }
    EXPECT_EQ(got.repeated_entries, !canonical);
}

struct Subtrees {
    Ints roots; ///< of those that become tasks, costliest first
    std::string text;
};

Subtrees subtrees(const Analysis& got, std::int64_t work_entries) {
    std::vector<double> cost(got.n_snodes);
    double total = 0, smallest = DBL_MAX, sum = 0;
    for (std::int32_t s = 0; s < got.n_snodes; ++s) {
        const double p = got.snodes[s].npiv, u = got.snodes[s].nupd;
        const double own = 0.5 * (0.6666 * p * p * p + 2 * p * u * u + (u + u) * p * p);
        total += own;
        cost[s] += own;
        if (got.snode_parent[s] != -1) cost[got.snode_parent[s]] += cost[s];
    }
    Ints roots;
    const auto insert_children = [&](std::int32_t parent, double share) {
        for (std::int32_t s = 0; s < got.n_snodes; ++s)
            if (got.snode_parent[s] == parent && cost[s] / total >= share) {
                roots.push_back(s);
                if (parent != -1) smallest = std::min(smallest, cost[s]);
            }
        std::stable_sort(roots.begin(), roots.end(), [&](auto x, auto y) { return cost[x] > cost[y]; });
    };
    insert_children(-1, 0.1);
    const std::int32_t threads = got.schedule.n_threads;
    while (!roots.empty() && std::ssize(roots) < 4 * threads) {
        const std::int32_t head = roots[0];
        if (std::ssize(roots) % threads == 0 && cost[head] / smallest < 4) break;
        roots.erase(roots.begin());
        insert_children(head, 0.005);
    }
    for (const std::int32_t root : roots) sum += cost[root];
    const double ldw = got.largest_update, most = roots.empty() ? 0 : cost[roots[0]] / total;
    char text[400];
    std::snprintf(text, sizeof text,
                  "\t_OPENMP:num_threads=%d\r\n\r\n\t\tnzLU=%d,nNodes=%d,ldw=%g,W_temp=%g"
                  "\r\n\t\tnTask=%d,ksi=%g,max=%g,min=%g,critical=%g\r\n",
                  threads, static_cast<int>(got.factor_entries), got.n_snodes, ldw,
                  ldw > 0 ? static_cast<double>(work_entries) / (ldw * ldw) : 0.0,
                  static_cast<int>(roots.size()), sum / total, most,
                  roots.empty() ? 0 : cost[roots.back()] / total, got.schedule.critical_share);
    return {roots, text};
}

void expect_schedule(const Analysis& got, const Ints& roots) {
    const Schedule& schedule = got.schedule;
    const auto top = static_cast<std::int32_t>(roots.size());
    ASSERT_EQ(schedule.n_tasks, top + 1);
    Ints task(got.n_snodes, top), nodes, offset{0};
    for (std::int32_t s = got.n_snodes - 1; s >= 0; --s) {
        if (got.snode_parent[s] != -1) task[s] = task[got.snode_parent[s]];
        const auto root = std::find(roots.begin(), roots.end(), s);
        if (root != roots.end()) task[s] = static_cast<std::int32_t>(root - roots.begin());
    }
    std::int32_t n_shared = 0;
    std::int64_t sum[2] = {}; // of whole updates, of pieces
    for (std::int32_t t = 0; t <= top; ++t) {
        std::int64_t largest[2] = {};
        for (std::int32_t s = 0; s < got.n_snodes; ++s) {
            if (task[s] != t) continue;
            const mf_snode& node = got.snodes[s];
            nodes.push_back(s);
            std::int64_t left = node.nupd;
            largest[0] = std::max(largest[0], left * left);
            for (std::int32_t k = 0; k < node.anc_count; left -= node.anc_rows[k++])
                largest[1] = std::max(largest[1], left * node.anc_rows[k]);
            const bool shared = std::any_of(node.update_rows(), node.update_rows() + node.nupd,
                                            [&](auto i) { return task[got.column_map[i]] == top; });
            EXPECT_EQ((node.flags & NODE_SHARED) != 0, shared) << "supernode " << s;
            n_shared += shared;
        }
        offset.push_back(static_cast<std::int32_t>(nodes.size()));
        for (const int k : {0, 1}) {
            EXPECT_EQ(schedule.work_offset[k * (top + 1) + t], t < top ? sum[k] : 0);
            sum[k] = t < top ? sum[k] + largest[k] : std::max(sum[k], largest[k]);
        }
    }
    EXPECT_EQ(list(schedule.work_entries, 2), list(sum, 2));
    EXPECT_EQ(list(schedule.task_offset.get(), top + 2), offset);
    EXPECT_EQ(list(schedule.task_nodes.get(), got.n_snodes), nodes);
    EXPECT_EQ(schedule.critical_share, static_cast<double>(n_shared) / got.n_snodes);
}

/// A forest grown at random with some edges more, scattered edges, an arrow, all edges or none.
Edges random_graph(std::int32_t n, Rng& rng) {
    const auto kind = rng() % 6, reach = 1 + rng() % n;
    if (kind == 0) return random_edges(n, static_cast<std::int64_t>(rng() % (3 * n)), rng);
    if (kind == 1) return arrow_edges(n, static_cast<std::int32_t>(reach % 4 == 3 ? n : reach % 2));
    Edges edges;
    for (std::int32_t j = 0; j + 1 < n; ++j)
        for (auto k = 1 + rng() % kind; k > 1 && rng() % 50 > 0; --k)
            edges.emplace_back(j, j + 1 + rng() % std::min<std::uint64_t>(n - j - 1, reach));
    return edges;
}

/// The pattern as a host may store it: the sorted lower triangle, or in any order, triangle and number.
Csc stored(std::int32_t n, Edges edges, Rng& rng) {
    const bool messy = rng() % 2;
    for (std::int32_t j = 0; j < n; ++j)
        for (auto copies = rng() % 8 > 0 || j == 0 ? 1 + rng() % 2 : 0; copies > 0; --copies)
            edges.emplace_back(j, j);
    for (auto& [i, j] : edges)
        if (messy ? rng() % 2 : i > j) std::swap(i, j); // (column, row)
    std::sort(edges.begin(), edges.end());
    if (!messy) edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
    Csc a{n, Ints(n + 1), {}, std::vector<double>(edges.size())};
    for (auto [column, row] : edges) a.rowind.push_back(row), ++a.colptr[column + 1];
    std::partial_sum(a.colptr.begin(), a.colptr.end(), a.colptr.begin());
    return messy ? shuffled(a, rng) : a;
}

/// One analysis and what it counts into.
struct Trial {
    TestContext test;
    Analysis got;
    double ordering_ms = -1;
    Status analyse(const Pattern& pattern) { return mf_analyse(test.context, pattern, got, ordering_ms); }
};

} // namespace

TEST(Analysis, IsWhatItsDefinitionsSay) {
    Rng rng(test_seed());
    for (int trial = 0; trial < 3000 && !HasFailure(); ++trial) {
        SCOPED_TRACE("trial " + std::to_string(trial));
        const auto n = static_cast<std::int32_t>(1 + rng() % 60);
        const Edges edges = random_graph(n, rng);
        const Csc a = stored(n, edges, rng);
        Trial run;
        const Analysis& got = run.got;
        Context& context = run.test.context;
        context.settings.blocked = rng() % 2;
        context.settings.core_mode = rng() % 2 ? CORE_IN : CORE_OUT;
        context.settings.n_threads = std::vector{0, 1, 2, 3, 8}[rng() % 5];
        context.log.messages = rng() % 2;
        context.statistics.max_width = 3;
        context.statistics.memory_estimate = 1000;
        Ints order(n);
        const Status status = mf_order(context, pattern_of(both_triangles(spd(n, edges))), order.data());
        ASSERT_EQ(run.analyse(pattern_of(a)), status);
        EXPECT_TRUE(run.ordering_ms >= 0 && run.ordering_ms < 1e5);
        if (status != Status::OK) continue; // the partitioner gave up

        const Ints perm = postordered(a, order);
        const Filled l = eliminate(a, perm);
        const Ints parent = parents(l), map = column_map(l, parent);
        EXPECT_EQ(got.n, n);
        ASSERT_EQ(list(got.perm.get(), n), perm);
        ASSERT_EQ(list(got.parent.get(), n), parent);
        EXPECT_EQ(got.root_count, std::count(parent.begin(), parent.end(), -1));
        ASSERT_EQ(list(got.column_map.get(), n), map);
        ASSERT_EQ(got.n_snodes, map.back() + 1);
        expect_nodes(got, l, map, context.settings.core_mode == CORE_IN, context.statistics);
        if (HasFailure()) return; // the rest stands on the records
        expect_value_map(got, a, perm);
        const std::int32_t wanted = context.settings.n_threads;
        ASSERT_EQ(got.schedule.n_threads, wanted > 0 ? wanted : omp_get_max_threads());
        const auto [roots, text] = subtrees(got, got.schedule.work_entries[context.settings.blocked]);
        expect_schedule(got, roots);
        EXPECT_EQ(run.test.text, context.log.messages ? text : "");
    }
}

TEST(Analysis, CutsLongChainsAtTheWidthLimitAndWhereTheSquareWraps) {
    const std::int32_t n = 46500; // in natural order: the head comes first, and all of L fills
    Trial run;
    ASSERT_EQ(run.analyse(pattern_of(spd(n, arrow_edges(n, 1)))), Status::OK);
    std::int32_t s = 0;
    for (std::int64_t first = 0; first < n; first += run.got.snodes[s++].npiv) {
        const bool wraps = (n - first) * (n - first) > INT32_MAX;
        ASSERT_EQ(run.got.snodes[s].npiv, wraps ? 2 : std::min<std::int64_t>(1024, n - first)) << first;
    }
    EXPECT_EQ(run.got.n_snodes, s);
    EXPECT_EQ(run.got.value_map[run.got.n_input - 1], run.got.factor_entries - 1);
}

TEST(Analysis, MalformedPatternsAreRefused) {
    const Ints good{0, 1, 3}, decreasing{0, 4, 3}, negative{0, -1, 3}, late{1, 1, 3}, empty{0, 0, 0};
    const Ints rows{0, 1, 1}, low{0, -1, 1}, high{0, 1, 2};
    const auto analyse = [](std::int32_t n, const Ints* col_ptr, const Ints* row_ind) {
        Trial run;
        const Status status =
            run.analyse({n, col_ptr ? col_ptr->data() : nullptr, row_ind ? row_ind->data() : nullptr});
        EXPECT_GE(run.ordering_ms, 0);
        return status;
    };
    EXPECT_EQ(analyse(2, &good, &rows), Status::OK);
    EXPECT_EQ(analyse(2, nullptr, &rows), Status::NULL_MATRIX);
    EXPECT_EQ(analyse(0, &good, nullptr), Status::NULL_MATRIX);
    EXPECT_EQ(analyse(0, &late, &rows), Status::EMPTY_MATRIX);
    EXPECT_EQ(analyse(2, &empty, &rows), Status::EMPTY_MATRIX);
    EXPECT_EQ(analyse(2, &decreasing, &rows), Status::STRUCTURE);
    EXPECT_EQ(analyse(2, &negative, &rows), Status::STRUCTURE);
    EXPECT_EQ(analyse(2, &late, &rows), Status::STRUCTURE);
    EXPECT_EQ(analyse(2, &good, &low), Status::STRUCTURE);
    EXPECT_EQ(analyse(2, &good, &high), Status::STRUCTURE);
    EXPECT_EQ(mf_full_entries({2, good.data(), &low[1]}), 6 - 1); // the diagonal of column 1 alone
}

TEST(Analysis, EveryFailedAllocationIsAStatusAndLeavesNothing) {
    for (int form = 0; form < 8; ++form) {
        Csc a = spd(12, form & 1 ? dense_edges(12) : grid_edges(4, 3));
        if (form & 2) a = both_triangles(a);
        Status last = Status::MEMORY; // FACTOR_STORAGE comes later
        for (std::int64_t k = 1;; ++k) {
            SCOPED_TRACE("form " + std::to_string(form) + ", allocation " + std::to_string(k));
            Trial run;
            run.test.context.settings.blocked = form & 4;
            run.test.faults.allocation.set(k);
            const Status status = run.analyse(pattern_of(a));
            ASSERT_EQ(status == Status::OK, run.test.faults.allocation.armed());
            if (status == Status::OK) break;
            EXPECT_TRUE(status == last || status == Status::FACTOR_STORAGE);
            EXPECT_NE(run.test.context.reason[0], '\0');
            last = status;
        }
        EXPECT_EQ(last, Status::FACTOR_STORAGE);
    }
}
