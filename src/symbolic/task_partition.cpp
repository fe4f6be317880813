#include "symbolic/steps.h"
#include "symbolic/tree_sums.h"

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
    TreeSums<double> cost;
    Buffer<std::int32_t> head, next;
    double total = 0;

    Forest(Accounting& memory, const Analysis& analysis) noexcept
        : cost(memory, analysis, [&](std::int32_t s) { return mf_node_cost(analysis.snodes[s]); }),
          head(memory, analysis.n_snodes, -1),
          next(memory, analysis.n_snodes, -1) {
        if (!*this) return;
        for (std::int32_t s = 0; s < analysis.n_snodes; ++s) total += mf_node_cost(analysis.snodes[s]);
        for (std::int32_t s = analysis.n_snodes - 1; s >= 0; --s) {
            const std::int32_t p = analysis.snode_parent[s];
            if (p == -1) continue;
            next[s] = head[p];
            head[p] = s;
        }
    }
    /// False when the memory could not be had.
    explicit operator bool() const noexcept { return cost && head && next; }
};

/// A. Pothen and C. Sun, "A mapping algorithm for parallel sparse Cholesky factorization", SIAM J. Sci.
/// Comput. 14 (1993), in a simple form: the costliest subtree is replaced by its children until the list is
/// balanced.
void choose_subtrees(const Analysis& analysis, const Forest& forest, SubtreeList& list) noexcept {
    const std::int32_t n_threads = analysis.schedule.n_threads;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s)
        if (analysis.snode_parent[s] == -1 && forest.cost.sum[s] / forest.total >= ROOT_SHARE)
            list.insert(s, forest.cost.sum.get());
    double smallest = DBL_MAX;
    while (list.count < std::int64_t{TASKS_PER_THREAD} * n_threads && list.count > 0) {
        if (list.count % n_threads == 0 && forest.cost.sum[list.roots[0]] / smallest < BALANCE_RATIO) break;
        for (std::int32_t c = forest.head[list.take_first()]; c != -1; c = forest.next[c]) {
            if (forest.cost.sum[c] / forest.total < CHILD_SHARE) continue;
            list.insert(c, forest.cost.sum.get());
            smallest = std::min(smallest, forest.cost.sum[c]);
        }
    }
}

/// Lists the nodes of every task; `in_top` receives 1 for the nodes of the top task.
void list_task_nodes(Analysis& analysis, const Forest& forest, const SubtreeList& list,
                     std::uint8_t* in_top) noexcept {
    Schedule& schedule = analysis.schedule;
    std::fill_n(in_top, analysis.n_snodes, std::uint8_t{1});
    std::int32_t place = 0;
    for (std::int32_t t = 0; t < list.count; ++t) {
        schedule.task_offset[t] = place;
        for (std::int32_t s = forest.cost.first[list.roots[t]]; s <= list.roots[t]; ++s) {
            in_top[s] = 0;
            schedule.task_nodes[place++] = s;
        }
    }
    schedule.task_offset[list.count] = place;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s)
        if (in_top[s]) schedule.task_nodes[place++] = s;
    schedule.task_offset[list.count + 1] = place;
}

/// Sets NODE_SHARED on every node with rows for an ancestor in the top task; returns how many there are.
std::int32_t mark_shared(Analysis& analysis, const std::uint8_t* in_top) noexcept {
    std::int32_t n_shared = 0;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
        mf_snode& node = analysis.snodes[s];
        std::int32_t a = analysis.snode_parent[s];
        for (std::int32_t k = 0; k < node.anc_count; ++k, a = analysis.snode_parent[a]) {
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

/// Lays out the tasks' work blocks for one update variant: those of the subtree tasks back to back; the top
/// task runs alone and reuses the first one's place. Fills `offset`, n_tasks; returns the doubles in all
/// blocks.
std::int64_t place_work_blocks(const Analysis& analysis, bool blocked, std::int64_t* offset) noexcept {
    const Schedule& schedule = analysis.schedule;
    const std::int32_t n_subtrees = schedule.n_tasks - 1;
    std::int64_t sum = 0, top = 0;
    for (std::int32_t t = 0; t < schedule.n_tasks; ++t) {
        std::int64_t need = 0;
        for (std::int32_t k = schedule.task_offset[t]; k < schedule.task_offset[t + 1]; ++k)
            need = std::max(need, update_entries(analysis.snodes[schedule.task_nodes[k]], blocked));
        offset[t] = t < n_subtrees ? sum : 0;
        (t < n_subtrees ? sum : top) += need;
    }
    return std::max(sum, top);
}

void print_partition(const Context& context, const Analysis& analysis, const Forest& forest,
                     const SubtreeList& list) noexcept {
    const Schedule& schedule = analysis.schedule;
    const double square = static_cast<double>(analysis.ldw()) * static_cast<double>(analysis.ldw());
    const auto work = static_cast<double>(schedule.work_entries[context.settings.blocked]);
    double sum = 0, largest = 0, smallest = list.count > 0 ? DBL_MAX : 0;
    for (std::int32_t t = 0; t < list.count; ++t) {
        const double cost = forest.cost.sum[list.roots[t]];
        sum += cost;
        largest = std::max(largest, cost);
        smallest = std::min(smallest, cost);
    }
    mf_message(context, "\t_OPENMP:num_threads=%d\r\n", schedule.n_threads);
    mf_message(context, "\r\n\t\tnzLU=%d,nNodes=%d,ldw=%d,W_temp=%g",
               static_cast<int>(std::min<std::int64_t>(analysis.factor_entries, INT32_MAX)),
               analysis.n_snodes, analysis.largest_update, square > 0 ? work / square : 0.0);
    mf_message(context, "\r\n\t\tnTask=%d,ksi=%g,max=%g,min=%g,critical=%g\r\n", list.count,
               sum / forest.total, largest / forest.total, smallest / forest.total, schedule.critical_share);
}

} // namespace

Status mf_task_partition(Context& context, Analysis& analysis) noexcept {
    Schedule& schedule = analysis.schedule;
    const std::int32_t wanted = context.settings.n_threads;
    schedule.n_threads = wanted > 0 ? wanted : std::max(1, omp_get_max_threads());
    const Forest forest(context.memory, analysis);
    SubtreeList list;
    list.roots = Buffer<std::int32_t>(context.memory,
                                      std::int64_t{TASKS_PER_THREAD} * schedule.n_threads + LIST_SLACK);
    Buffer<std::uint8_t> in_top(context.memory, analysis.n_snodes);
    if (!forest || !list.roots || !in_top) return out_of_memory(context, Status::FACTOR_STORAGE);
    choose_subtrees(analysis, forest, list);

    schedule.n_tasks = list.count + 1;
    schedule.task_offset = Buffer<std::int32_t>(context.memory, std::int64_t{schedule.n_tasks} + 1);
    schedule.task_nodes = Buffer<std::int32_t>(context.memory, analysis.n_snodes);
    schedule.work_offset = Buffer<std::int64_t>(context.memory, 2 * std::int64_t{schedule.n_tasks});
    if (!schedule.task_offset || !schedule.task_nodes || !schedule.work_offset)
        return out_of_memory(context, Status::FACTOR_STORAGE);
    list_task_nodes(analysis, forest, list, in_top.get());
    schedule.critical_share = static_cast<double>(mark_shared(analysis, in_top.get())) / analysis.n_snodes;

    std::int64_t* offset = schedule.work_offset.get();
    schedule.work_entries[0] = place_work_blocks(analysis, false, offset);
    schedule.work_entries[1] = place_work_blocks(analysis, true, offset + schedule.n_tasks);
    if (context.log.messages) print_partition(context, analysis, forest, list);
    return Status::OK;
}

} // namespace vyr
