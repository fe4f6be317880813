// L L^T by tasks that add to the nodes above them under a lock: for factors out of core, and for updates that
// are passed on ancestor by ancestor.
#include "core/tuning.h"
#include "memory/block_store.h"
#include "memory/factor_storage.h"
#include "numeric/phases.h"
#include "numeric/spd.h"
#include "numeric/update_passing.h"
#include "platform/blas_threads.h"
#include "platform/platform.h"

#include <omp.h>

#include <algorithm>
#include <new>

namespace vyr {

namespace {

/// Doubles of packed operands that one thread needs for any node.
std::int64_t packed_entries(const Analysis& analysis, std::int32_t lanes) noexcept {
    std::int64_t most = 0;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s)
        most = std::max(most, mf_packed_entries(analysis.snodes[s], lanes));
    return most;
}

/// Doubles that one thread needs for what any of the subtrees owes.
std::int64_t owed_entries(const Analysis& analysis) noexcept {
    const Schedule& schedule = analysis.schedule;
    std::int64_t most = 0;
    for (std::int32_t t = 0; t + 1 < schedule.n_tasks; ++t) {
        if (schedule.task_offset[t] == schedule.task_offset[t + 1]) continue;
        const std::int64_t nupd = analysis.snodes[schedule.task_nodes[schedule.task_offset[t + 1] - 1]].nupd;
        most = std::max(most, nupd * nupd);
    }
    return most;
}

/// The tasks of one run, with the lock around additions into top-task blocks of the blocked variant.
class Run {
public:
    Run(Context& context, Factor& factor, std::int32_t n_threads) noexcept
        : context_(context),
          factor_(factor),
          count_(factor.analysis->schedule.n_tasks),
          n_threads_(n_threads),
          memory_(mf_malloc(context.memory, static_cast<std::size_t>(count_) * sizeof(SpdTask))) {
        if (factor.block_store != nullptr) factor.block_store->lock = &lock_;
        if (memory_ == nullptr) return;
        tasks_ = static_cast<SpdTask*>(memory_);
        for (std::int32_t t = 0; t < count_; ++t) prepare(*new (tasks_ + t) SpdTask(context), t);
    }
    ~Run() {
        mf_free(context_.memory, memory_);
        if (factor_.block_store != nullptr) factor_.block_store->lock = nullptr;
    }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    explicit operator bool() const noexcept { return tasks_ != nullptr; }
    SpdTask& operator[](std::int32_t t) noexcept { return tasks_[t]; }
    std::int32_t n_subtrees() const noexcept { return count_ - 1; }

    /// Shortens the top task to the nodes in front of the first failing pivot; none when something else
    /// failed. They depend on no failed node, and one of them may fail itself: then it is the first, on any
    /// number of threads.
    void shorten_top_task() noexcept {
        SpdTask& top = tasks_[n_subtrees()];
        const SpdTask* const failed = first_failure();
        if (failed == nullptr) return;
        const auto* const end = std::partition_point(top.nodes, top.nodes + top.n_nodes, [&](std::int32_t s) {
            return factor_.analysis->snodes[s].first() < failed->failed_column;
        });
        top.n_nodes = static_cast<std::int32_t>(end - top.nodes);
    }

    /// Adds up the statistics of all tasks; the first failure decides status and column.
    Status collect() noexcept {
        double flops = 0, assembly_ns = 0;
        for (std::int32_t t = 0; t < count_; ++t) {
            const SpdTask& task = tasks_[t];
            flops += task.flops;
            assembly_ns += static_cast<double>(task.assembly_ns.load());
        }
        context_.statistics.flops = flops;
        context_.statistics.t_assembly = assembly_ns * 1e-9;
        if (mf_stop(context_)) return Status::CANCELLED;
        const SpdTask* const failed = first_failure();
        if (failed == nullptr) return Status::OK;
        if (failed->failed_column >= 0) context_.statistics.failed_column = failed->failed_column;
        return failed->status;
    }

private:
    /// The task whose failing pivot comes first, or one that failed for want of storage; null when none
    /// failed.
    const SpdTask* first_failure() const noexcept {
        const SpdTask* first = nullptr;
        for (std::int32_t t = 0; t < count_; ++t)
            if (tasks_[t].status != Status::OK &&
                (first == nullptr || tasks_[t].failed_column < first->failed_column))
                first = tasks_ + t;
        return first;
    }

    void prepare(SpdTask& task, std::int32_t t) noexcept {
        const Analysis& analysis = *factor_.analysis;
        const Schedule& schedule = analysis.schedule;
        task.nodes = schedule.task_nodes.get() + schedule.task_offset[t];
        task.n_nodes = schedule.task_offset[t + 1] - schedule.task_offset[t];
        const std::int64_t variant = context_.settings.blocked ? schedule.n_tasks : 0;
        task.work = factor_.work.task_work.get() + schedule.work_offset[variant + t];
        task.scratch =
            factor_.work.node_work.get() + 2 * static_cast<std::int64_t>(t) * analysis.largest_update;
        // A subtree's nodes end with its root: every ancestor beyond it belongs to the top task.
        if (t == n_subtrees() || task.n_nodes == 0 || n_threads_ == 1) return;
        task.limit = task.nodes[task.n_nodes - 1] + 1;
        task.lock = &lock_;
    }

    Context& context_;
    Factor& factor_;
    Lock lock_;
    std::int32_t count_;
    std::int32_t n_threads_;
    void* memory_;
    SpdTask* tasks_ = nullptr;
};

/// Adds what a finished subtree owes into the nodes of the top task.
Status pass_owed(const Factor& factor, SpdTask& task) noexcept {
    const std::int32_t root = task.limit - 1;
    const std::int32_t nupd = factor.analysis->snodes[root].nupd;
    const Hold hold(task.lock);
    const double start_ms = platform::clock_ms();
    const Status status = mf_pass_columns(factor, root, 0, INT32_MAX, task.owed, nupd, 0, nupd, task.scratch);
    task.assembly_ns += static_cast<std::int64_t>((platform::clock_ms() - start_ms) * 1e6);
    return status;
}

/// Eliminates the nodes of one subtree with the work space of the calling thread.
void run_subtree(Factor& factor, SpdTask& task, double* packed, double* owed) noexcept {
    task.packed = packed;
    task.owed = owed;
    const bool owes = task.limit != INT32_MAX && !task.context->settings.blocked;
    if (owes) mf_clear_update(owed, factor.analysis->snodes[task.limit - 1].nupd);
    mf_spd_node(factor, task);
    if (owes && task.status == Status::OK) task.status = pass_owed(factor, task);
}

} // namespace

double mf_task_work_bytes(const Analysis& analysis, std::int32_t n_threads) noexcept {
    constexpr std::int32_t MOST_LANES = 8;
    const std::int64_t owed = n_threads > 1 ? owed_entries(analysis) : 0;
    return 8.0 * n_threads * static_cast<double>(packed_entries(analysis, MOST_LANES) + owed);
}

Status mf_task_factor(Context& context, Factor& factor) noexcept {
    const bool blocked = context.settings.blocked;
    if (const Status status = mf_task_work_blocks(context, factor, blocked); status != Status::OK)
        return status;
    const std::int32_t n_threads = mf_numeric_threads(context, factor);
    if (!make_room(factor.work.node_work, *factor.memory,
                   2 * std::int64_t{factor.analysis->schedule.n_tasks} * factor.analysis->largest_update))
        return out_of_memory(context);
    Run run(context, factor, n_threads);
    if (!run) return out_of_memory(context);
    const std::int64_t n_packed = packed_entries(*factor.analysis, run[0].kernel->lanes);
    Buffer<double>& packed = factor.work.packed;
    if (!make_room(packed, *factor.memory, n_packed * n_threads)) return out_of_memory(context);
    const std::int32_t n_subtrees = run.n_subtrees();
    // Threads share the work among themselves; every BLAS call stays on the thread that makes it.
    const blas::ThreadLimit one_blas_thread(1);

    // A thread has one place for what its subtrees owe, one after the other, if there is room for that.
    const std::int64_t n_owed = owed_entries(*factor.analysis);
    const bool by_thread = n_owed * n_threads <= factor.work.task_work.count();

    // A thread that finds no more subtrees waits at the end of the region and takes strips of large fronts.
#pragma omp parallel num_threads(n_threads) if (n_threads > 1 && n_subtrees > 0)
    {
#pragma omp for schedule(dynamic, 1) nowait
        for (std::int32_t t = 0; t < n_subtrees; ++t) {
            const std::int64_t thread = omp_get_thread_num();
            run_subtree(factor, run[t], packed.get() + thread * n_packed,
                        by_thread ? factor.work.task_work.get() + thread * n_owed : run[t].work);
        }
    }
    run.shorten_top_task();
    SpdTask& top = run[n_subtrees];
    top.packed = packed.get();
    if (top.n_nodes > 0) {
        // The calling thread runs the top task; the others only take strips of its large fronts.
#pragma omp parallel num_threads(n_threads) if (n_threads > 1)
        {
#pragma omp master
            mf_spd_node(factor, top);
        }
    }
    return run.collect();
}

} // namespace vyr
