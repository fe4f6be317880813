// The analysis by its definitions: one dense Boolean elimination, and what follows from it.
#include "core/tuning.h"
#include "support/engine.h"
#include "symbolic/analyse.h"
#include "symbolic/ordering.h"
#include "symbolic/pattern.h"

#include <metis.h>
#include <omp.h>

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
    for (std::int32_t j = 0; j < a.n; ++j) l[j][j] = 1;
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t e = a.colptr[j]; e < a.colptr[j + 1]; ++e) {
            const auto [low, high] = std::minmax(place[j], place[a.rowind[e]]);
            l[low][high] = 1;
        }
    for (std::int32_t k = 0; k < a.n; ++k)
        for (std::int32_t j = k + 1; j < a.n; ++j)
            for (std::int32_t i = j; i < a.n; ++i) l[j][i] |= l[k][j] & l[k][i];
    return l;
}

Ints parents(const Filled& l) {
    Ints parent;
    for (const Ints& column : l) {
        const auto below = std::find(column.begin() + std::ssize(parent) + 1, column.end(), 1);
        parent.push_back(below == column.end() ? -1 : static_cast<std::int32_t>(below - column.begin()));
    }
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

/// The map when every node takes in its last child, the one before it, as long as that saves memory.
Ints merged(Ints map, const Filled& l, const Ints& parent) {
    const auto size = [&](std::int32_t s) { // of the entries, the row lists, the records
        const auto begin = std::find(map.begin(), map.end(), s), end = std::find(begin, map.end(), s + 1);
        const auto last = end - map.begin() - 1, width = end - begin;
        const auto rows = width - 1 + std::accumulate(l[last].begin() + last, l[last].end(), 0);
        return (width + 1) * rows + tuning::NODE_DOUBLES;
    };
    for (std::int32_t s = 1; s <= map.back();) {
        const auto begin = std::find(map.begin(), map.end(), s) - map.begin();
        Ints joined = map;
        for (auto k = begin; k < std::ssize(map); ++k) --joined[k];
        const auto before = size(s - 1) + size(s);
        std::swap(map, joined);
        const bool is_child = parent[begin - 1] != -1 && map[parent[begin - 1]] == s - 1;
        if (is_child && size(s - 1) <= before)
            s = std::max(s - 1, 1);
        else
            std::swap(map, joined), ++s;
    }
    return map;
}

/// The supernodes, given the map of the columns; `counted` from 3 columns and 1000 bytes.
void expect_nodes(const Analysis& got, const Filled& l, const Ints& map, bool in_core,
                  const Statistics& counted) {
    std::int64_t start = 0, front = 0, peak = 0, widest = 0, update = 0, max_level = 0;
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
        EXPECT_TRUE(node.child_count == children && node.level == level);
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
        front = std::max<std::int64_t>(front, node.n_rows() * (in_core ? npiv : 16));
        peak = std::max<std::int64_t>(peak, waiting);
        widest = std::max<std::int64_t>(widest, npiv);
        update = std::max<std::int64_t>(update, node.nupd);
        max_level = std::max<std::int64_t>(max_level, level);
    }
    EXPECT_TRUE(got.factor_entries == start && got.largest_front == front && got.max_level == max_level);
    EXPECT_TRUE(got.update_stack_peak == peak && got.largest_update == update);
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

/// The roots of the subtrees that become tasks, costliest first.
Ints subtrees(const Analysis& got) {
    std::vector<double> cost(got.n_snodes);
    double total = 0, smallest = DBL_MAX;
    for (std::int32_t s = 0; s < got.n_snodes; ++s) {
        total += mf_node_cost(got.snodes[s]);
        cost[s] += mf_node_cost(got.snodes[s]);
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
    return roots;
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

/// Scattered edges, an arrow, all edges or none, a forest grown at random with some edges more or with twins.
Edges random_graph(std::int32_t n, Rng& rng) {
    const auto kind = rng() % 6, reach = 1 + rng() % n;
    if (kind == 0) return random_edges(n, static_cast<std::int64_t>(rng() % (3 * n)), rng);
    if (kind == 1) return arrow_edges(n, static_cast<std::int32_t>(reach % 4 == 3 ? n : reach % 2));
    Edges edges;
    for (std::int32_t j = 0; j + 1 < n; ++j)
        for (auto k = 1 + rng() % kind; k > 1 && rng() % 50 > 0; --k)
            edges.emplace_back(j, j + 1 + rng() % std::min<std::uint64_t>(n - j - 1, reach));
    for (std::int32_t i = 4; kind == 2 && i < n; i += static_cast<std::int32_t>(1 + rng() % 9))
        for (std::size_t e = edges.size(); e-- > 0;)
            if (edges[e].first == i % 3) edges.insert(edges.end(), {{i, edges[e].second}, {i, i % 3}});
    return edges;
}

/// The pattern as a host may store it: the sorted lower triangle, or in any order, triangle and number.
Csc stored(std::int32_t n, Edges edges, Rng& rng) {
    if (rng() % 2) return spd(n, edges);
    for (std::int32_t j = 0; j < n; ++j)
        if (rng() % 8 > 0 || j == 0) edges.insert(edges.end(), 1 + rng() % 2, {j, j});
    for (auto& [i, j] : edges) // (column, row)
        if (rng() % 2) std::swap(i, j);
    std::sort(edges.begin(), edges.end());
    Csc a{n, Ints(n + 1), {}, std::vector<double>(edges.size())};
    for (auto [column, row] : edges) a.rowind.push_back(row), ++a.colptr[column + 1];
    std::partial_sum(a.colptr.begin(), a.colptr.end(), a.colptr.begin());
    return shuffled(a, rng);
}

struct Trial {
    TestContext test;
    Analysis got;
    double ordering_ms = -1;
    Status analyse(const Pattern& pattern) { return mf_analyse(test.context, pattern, got, ordering_ms); }
};

/// The order by the partitioner; vertices with one closed neighbourhood go in as one when `compress`.
Status order_of(Context& context, const Csc& full, bool compress, Ints& order) {
    std::vector<Ints> closed, members;
    Ints group, xadj{0}, adjacency, weights;
    for (std::int32_t j = 0; j < full.n; ++j) {
        closed.emplace_back(&full.rowind[full.colptr[j]], full.rowind.data() + full.colptr[j + 1]);
        const auto like = compress ? std::find(closed.begin(), closed.end(), closed[j]) - closed.begin() : j;
        if (like == j) members.emplace_back();
        group.push_back(like == j ? static_cast<std::int32_t>(members.size()) - 1 : group[like]);
        members[group[j]].insert(members[group[j]].begin(), j); // decreasing
    }
    for (const Ints& vertices : members) {
        for (const std::int32_t c : closed[vertices.back()])
            if (c != vertices.back() && members[group[c]].back() == c) adjacency.push_back(group[c]);
        xadj.push_back(static_cast<std::int32_t>(adjacency.size()));
        weights.push_back(static_cast<std::int32_t>(vertices.size()));
    }
    const auto n = static_cast<std::int32_t>(members.size());
    Ints perm(n), inverse(n);
    const Status status = n < full.n ? METIS_NodeWND_order(context, n, xadj.data(), adjacency.data(),
                                                           weights.data(), perm.data(), inverse.data())
                                     : METIS_NodeND_order(context, n, xadj.data(), adjacency.data(),
                                                          perm.data(), inverse.data());
    for (const std::int32_t k : perm) order.insert(order.end(), members[k].begin(), members[k].end());
    return status;
}

} // namespace

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

/// Nobody here asks for a separator; without this one the partitioner's own object would come in.
int METIS_ComputeVertexSeparator(idx_t*, idx_t*, idx_t*, idx_t*, idx_t*, idx_t*, idx_t*) {
    return METIS_ERROR;
}

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
        context.settings.compress = rng() % 2;
        context.settings.merge_nodes = rng() % 2;
        context.settings.core_mode = rng() % 2 ? CORE_IN : CORE_OUT;
        const int threads = context.settings.n_threads = std::vector{0, 1, 2, 3, 8}[rng() % 5];
        context.log.messages = rng() % 2;
        context.statistics.max_width = 3;
        context.statistics.memory_estimate = 1000;
        Ints order;
        const bool compress = context.settings.blocked || context.settings.compress;
        const Csc lower = spd(n, edges), full = both_triangles(lower);
        EXPECT_EQ(mf_full_entries(pattern_of(lower)), full.nnz());
        const Status status = order_of(context, full, compress, order);
        ASSERT_EQ(run.analyse(pattern_of(a)), status);
        if (status != Status::OK) continue; // the partitioner gave up
        const Ints perm = postordered(a, order);
        const Filled l = eliminate(a, perm);
        const Ints parent = parents(l), chains = column_map(l, parent);
        const Ints map = context.settings.merge_nodes ? merged(chains, l, parent) : chains;
        ASSERT_EQ(list(got.perm.get(), n), perm);
        ASSERT_EQ(list(got.parent.get(), n), parent);
        EXPECT_EQ(got.root_count, std::count(parent.begin(), parent.end(), -1));
        ASSERT_EQ(list(got.column_map.get(), n), map);
        ASSERT_EQ(got.n_snodes, map.back() + 1);
        expect_nodes(got, l, map, context.settings.core_mode == CORE_IN, context.statistics);
        if (HasFailure()) return; // the rest stands on the records
        expect_value_map(got, a, perm);
        ASSERT_EQ(got.schedule.n_threads, threads > 0 ? threads : omp_get_max_threads());
        expect_schedule(got, subtrees(got));
        EXPECT_EQ(run.test.text.empty(), !context.log.messages);
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
