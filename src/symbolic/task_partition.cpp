#include "symbolic/task_partition.h"

#include "interface/process_state.h"
#include "memory/buffer.h"
#include "report/console.h"
#include "symbolic/flop_count.h"

#include <omp.h>

#include <algorithm>
#include <cfloat>

namespace vyr {

namespace {

constexpr double ROOT_SHARE = 0.1;    ///< least share of all work that makes a root a subtree to start from
constexpr double CHILD_SHARE = 0.005; ///< least share of all work that makes a child a subtree of its own
constexpr double BALANCE_RATIO = 4.0; ///< splitting may stop when the costliest is below this many smallest
constexpr int TASKS_PER_THREAD = 4;   ///< splitting stops at this many subtrees a thread
constexpr int LIST_SLACK = 256;       ///< more than the children one split can add, 1 / CHILD_SHARE

/// Subtrees by decreasing cost; equal costs keep the order in which they came.
struct SubtreeList {
    Buffer<std::int32_t> roots;
    std::int32_t count = 0;

    void insert(std::int32_t root, const double* cost) noexcept {
        std::int32_t k = count++;
        for (; k > 0 && cost[roots[k - 1]] < cost[root]; --k) roots[k] = roots[k - 1];
        roots[k] = root;
    }
    std::int32_t take_first() noexcept {
        const std::int32_t root = roots[0];
        --count;
        for (std::int32_t k = 0; k < count; ++k) roots[k] = roots[k + 1];
        return root;
    }
};

/// The tree seen from above: subtree costs, first descendants, child lists.
struct Forest {
    Buffer<double> cost;
    Buffer<std::int32_t> first_descendant, head, next;
    double total = 0;

    bool build(const mf_solver& solver) noexcept {
        const std::int32_t n_snodes = solver.n_snodes;
        cost = Buffer<double>(n_snodes, 0.0);
        first_descendant = Buffer<std::int32_t>(n_snodes, -1);
        head = Buffer<std::int32_t>(n_snodes, -1);
        next = Buffer<std::int32_t>(n_snodes, -1);
        if (!cost || !first_descendant || !head || !next) return false;
        for (std::int32_t s = 0; s < n_snodes; ++s) {
            const double own = mf_node_cost(solver.snodes[s]);
            total += own;
            cost[s] += own;
            if (first_descendant[s] == -1) first_descendant[s] = s;
            const std::int32_t p = solver.snode_parent[s];
            if (p == -1) continue;
            cost[p] += cost[s];
            if (first_descendant[p] == -1) first_descendant[p] = first_descendant[s];
        }
        for (std::int32_t s = n_snodes - 1; s >= 0; --s) {
            const std::int32_t p = solver.snode_parent[s];
            if (p == -1) continue;
            next[s] = head[p];
            head[p] = s;
        }
        return true;
    }
};

/// A. Pothen and C. Sun, "A mapping algorithm for parallel sparse Cholesky factorization", SIAM J. Sci.
/// Comput. 14 (1993), in a simple form: the costliest subtree is replaced by its children until the list is
/// balanced.
void choose_subtrees(const mf_solver& solver, const Forest& forest, SubtreeList& list) noexcept {
    const std::int32_t n_threads = solver.n_threads;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s)
        if (solver.snode_parent[s] == -1 && forest.cost[s] / forest.total >= ROOT_SHARE)
            list.insert(s, forest.cost.get());
    double smallest = DBL_MAX;
    while (list.count < std::int64_t{TASKS_PER_THREAD} * n_threads && list.count > 0) {
        if (list.count % n_threads == 0 && forest.cost[list.roots[0]] / smallest < BALANCE_RATIO) break;
        for (std::int32_t c = forest.head[list.take_first()]; c != -1; c = forest.next[c]) {
            if (forest.cost[c] / forest.total < CHILD_SHARE) continue;
            list.insert(c, forest.cost.get());
            smallest = std::min(smallest, forest.cost[c]);
        }
    }
}

/// Lists the nodes of every task; `in_top` receives 1 for the nodes of the top task.
void list_task_nodes(mf_solver& solver, const Forest& forest, const SubtreeList& list,
                     std::uint8_t* in_top) noexcept {
    std::fill_n(in_top, solver.n_snodes, std::uint8_t{1});
    std::int32_t place = 0;
    for (std::int32_t t = 0; t < list.count; ++t) {
        solver.task_offset[t] = place;
        for (std::int32_t s = forest.first_descendant[list.roots[t]]; s <= list.roots[t]; ++s) {
            in_top[s] = 0;
            solver.task_nodes[place++] = s;
        }
    }
    solver.task_offset[list.count] = place;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s)
        if (in_top[s]) solver.task_nodes[place++] = s;
    solver.task_offset[list.count + 1] = place;
}

/// Sets NODE_SHARED on every node with rows for an ancestor in the top task; returns how many there are.
std::int32_t mark_shared(mf_solver& solver, const std::uint8_t* in_top) noexcept {
    std::int32_t n_shared = 0;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        mf_snode& node = solver.snodes[s];
        std::int32_t a = solver.snode_parent[s];
        for (std::int32_t k = 0; k < node.anc_count; ++k, a = solver.snode_parent[a]) {
            if (node.anc_rows[k] == 0 || !in_top[a]) continue;
            node.flags |= NODE_SHARED;
            ++n_shared;
            break;
        }
    }
    return n_shared;
}

/// Doubles one node's update needs: all of it, or its largest piece for one ancestor.
std::int64_t update_entries(const mf_snode& node, bool blocked) noexcept {
    if (!blocked) return std::int64_t{node.nupd} * node.nupd;
    std::int64_t largest = 0;
    std::int64_t remaining = node.nupd;
    for (std::int32_t k = 0; k < node.anc_count; ++k) {
        largest = std::max(largest, remaining * node.anc_rows[k]);
        remaining -= node.anc_rows[k];
    }
    return largest;
}

void print_partition(const mf_solver& solver, const Forest& forest, const SubtreeList& list) noexcept {
    const double square = static_cast<double>(solver.ldw()) * static_cast<double>(solver.ldw());
    double sum = 0, largest = 0, smallest = list.count > 0 ? DBL_MAX : 0;
    for (std::int32_t t = 0; t < list.count; ++t) {
        const double cost = forest.cost[list.roots[t]];
        sum += cost;
        largest = std::max(largest, cost);
        smallest = std::min(smallest, cost);
    }
    mf_message("\t_OPENMP:num_threads=%d\r\n", solver.n_threads);
    mf_message("\r\n\t\tnzLU=%d,nNodes=%d,ldw=%d,W_temp=%g",
               to_int(static_cast<double>(solver.factor_entries)), solver.n_snodes, solver.largest_update,
               square > 0 ? static_cast<double>(solver.task_work_entries) / square : 0.0);
    mf_message("\r\n\t\tnTask=%d,ksi=%g,max=%g,min=%g,critical=%g\r\n", list.count, sum / forest.total,
               largest / forest.total, smallest / forest.total, solver.critical_share);
}

} // namespace

Status mf_task_work_blocks(mf_solver& solver, bool blocked) noexcept {
    if (solver.task_work_block != nullptr && solver.task_work_blocked == blocked) return VYR_OK;
    const std::int32_t n_subtrees = solver.n_tasks - 1;
    std::int64_t sum = 0, top = 0;
    Buffer<std::int64_t> offset(solver.n_tasks);
    if (!offset) return VYR_ERR_FACTOR_STORAGE;
    for (std::int32_t t = 0; t < solver.n_tasks; ++t) {
        std::int64_t need = 0;
        for (std::int32_t k = solver.task_offset[t]; k < solver.task_offset[t + 1]; ++k)
            need = std::max(need, update_entries(solver.snodes[solver.task_nodes[k]], blocked));
        offset[t] = t < n_subtrees ? sum : 0; // the top task runs alone and reuses the first task's block
        (t < n_subtrees ? sum : top) += need;
    }
    const std::int64_t entries = std::max(sum, top);
    if (solver.task_work_block == nullptr || entries > solver.task_work_entries) {
        mf_free(solver.task_work_block);
        solver.task_work_entries = 0;
        // Zeroed only so that pages no update touches never become resident.
        solver.task_work_block = static_cast<double*>(
            mf_calloc(static_cast<std::size_t>(std::max<std::int64_t>(entries, 1)) * sizeof(double)));
        if (solver.task_work_block == nullptr) return VYR_ERR_FACTOR_STORAGE;
        solver.task_work_entries = entries;
    }
    for (std::int32_t t = 0; t < solver.n_tasks; ++t)
        solver.task_work[t] = solver.task_work_block + offset[t];
    solver.task_work_blocked = blocked;
    return VYR_OK;
}

Status mf_task_partition(mf_solver& solver) noexcept {
    solver.n_threads = std::max(1, omp_get_max_threads());
    Forest forest;
    SubtreeList list;
    list.roots = Buffer<std::int32_t>(std::int64_t{TASKS_PER_THREAD} * solver.n_threads + LIST_SLACK);
    Buffer<std::uint8_t> in_top(solver.n_snodes);
    if (!forest.build(solver) || !list.roots || !in_top) return VYR_ERR_FACTOR_STORAGE;
    choose_subtrees(solver, forest, list);

    solver.n_tasks = list.count + 1;
    solver.partition_count = solver.n_tasks;
    solver.task_offset = mf_array<std::int32_t>(std::int64_t{solver.n_tasks} + 1);
    solver.task_nodes = mf_array<std::int32_t>(solver.n_snodes);
    solver.task_work = mf_array<double*>(solver.n_tasks);
    if (!solver.task_offset || !solver.task_nodes || !solver.task_work) return VYR_ERR_FACTOR_STORAGE;
    list_task_nodes(solver, forest, list, in_top.get());
    solver.critical_share = static_cast<double>(mark_shared(solver, in_top.get())) / solver.n_snodes;

    const Status status = mf_task_work_blocks(solver, ctrl_int(CTRL_BLOCKED) == 1);
    if (status == VYR_OK && messages_on()) print_partition(solver, forest, list);
    return status;
}

} // namespace vyr
