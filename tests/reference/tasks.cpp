#include "reference/tasks.h"

#include <algorithm>
#include <limits>
#include <list>

namespace vyr::reference {

namespace {

double node_cost(const Snode& node) {
    const double p = node.npiv, u = node.nupd;
    return 0.5 * (0.6666 * p * p * p + 2 * p * u * u + (u + u) * p * p);
}

/// Doubles of work block that one node needs.
std::int64_t node_work(const Snode& node, bool blocked) {
    std::int64_t remaining = node.nupd, largest = 0;
    if (!blocked) return remaining * remaining;
    for (const std::int32_t rows : node.anc_rows) {
        largest = std::max(largest, remaining * rows);
        remaining -= rows;
    }
    return largest;
}

/// Roots of the subtrees that become tasks, costliest first.
std::list<std::int32_t> subtree_roots(const AssemblyTree& tree, std::int32_t threads) {
    const auto n_snodes = static_cast<std::int32_t>(tree.snodes.size());
    std::vector<double> cost(n_snodes);
    double total = 0;
    for (std::int32_t v = 0; v < n_snodes; ++v) {
        cost[v] += node_cost(tree.snodes[v]);
        total += node_cost(tree.snodes[v]);
        if (tree.snode_parent[v] != -1) cost[tree.snode_parent[v]] += cost[v];
    }
    std::list<std::int32_t> list;
    auto insert = [&](std::int32_t v) {
        list.insert(std::find_if(list.begin(), list.end(), [&](auto u) { return cost[u] < cost[v]; }), v);
    };
    for (std::int32_t v = 0; v < n_snodes; ++v)
        if (tree.snode_parent[v] == -1 && cost[v] / total >= 0.1) insert(v);

    double smallest = std::numeric_limits<double>::max();
    while (!list.empty() && list.size() < 4 * static_cast<std::size_t>(threads)) {
        const std::int32_t head = list.front();
        if (list.size() % static_cast<std::size_t>(threads) == 0 && cost[head] / smallest < 4.0) break;
        list.pop_front();
        for (std::int32_t c = 0; c < head; ++c) {
            if (tree.snode_parent[c] != head || cost[c] / total < 0.005) continue;
            insert(c);
            smallest = std::min(smallest, cost[c]);
        }
    }
    return list;
}

} // namespace

Tasks task_partition(const AssemblyTree& tree, std::int32_t threads, bool blocked) {
    const auto n_snodes = static_cast<std::int32_t>(tree.snodes.size());
    Tasks tasks;
    Ints task_of(n_snodes, -1);
    for (const std::int32_t root : subtree_roots(tree, threads)) {
        task_of[root] = static_cast<std::int32_t>(tasks.nodes.size());
        tasks.nodes.emplace_back();
    }
    tasks.nodes.emplace_back();
    const auto top = static_cast<std::int32_t>(tasks.nodes.size()) - 1;
    for (std::int32_t v = n_snodes - 1; v >= 0; --v)
        if (task_of[v] == -1) task_of[v] = tree.snode_parent[v] == -1 ? top : task_of[tree.snode_parent[v]];
    for (std::int32_t v = 0; v < n_snodes; ++v) tasks.nodes[task_of[v]].push_back(v);

    tasks.shared.assign(n_snodes, false);
    for (std::int32_t v = 0; v < n_snodes; ++v) {
        std::int32_t a = tree.snode_parent[v];
        for (const std::int32_t rows : tree.snodes[v].anc_rows) {
            if (rows > 0 && task_of[a] == top) tasks.shared[v] = true;
            a = tree.snode_parent[a];
        }
    }
    tasks.critical_share =
        static_cast<double>(std::count(tasks.shared.begin(), tasks.shared.end(), true)) / n_snodes;

    std::int64_t sum = 0, top_need = 0;
    for (std::int32_t t = 0; t <= top; ++t) {
        std::int64_t need = 0;
        for (const std::int32_t v : tasks.nodes[t]) need = std::max(need, node_work(tree.snodes[v], blocked));
        (t == top ? top_need : sum) += need;
    }
    tasks.work_entries = std::max(sum, top_need);
    return tasks;
}

} // namespace vyr::reference
