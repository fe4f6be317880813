// The parallel factorization of a positive definite matrix.
#include "memory/block_store.h"
#include "memory/factor_storage.h"
#include "numeric/phases.h"
#include "numeric/spd.h"
#include "platform/blas_threads.h"

#include <omp.h>

#include <algorithm>
#include <new>

namespace vyr {

namespace {

/// The tasks of one run, with the lock around additions into top-task blocks.
class Run {
public:
    Run(Context& context, Factor& factor) noexcept
        : context_(context),
          factor_(factor),
          count_(factor.analysis->schedule.n_tasks),
          memory_(mf_malloc(context.memory, static_cast<std::size_t>(count_) * sizeof(SpdTask))) {
        if (factor.block_store != nullptr) factor.block_store->lock = &lock_;
        if (memory_ == nullptr) return;
        tasks_ = static_cast<SpdTask*>(memory_);
        for (std::int32_t t = 0; t < count_; ++t) prepare(*new (tasks_ + t) SpdTask, t);
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
        task.context = &context_;
        task.loops = &mf_vector_loops(context_.settings.instructions);
        task.nodes = schedule.task_nodes.get() + schedule.task_offset[t];
        task.n_nodes = schedule.task_offset[t + 1] - schedule.task_offset[t];
        const std::int64_t variant = context_.settings.blocked ? schedule.n_tasks : 0;
        task.work = factor_.work.task_work.get() + schedule.work_offset[variant + t];
        task.scratch = factor_.work.node_work.get() + 2 * static_cast<std::int64_t>(t) * analysis.n;
        // A subtree's nodes end with its root: every ancestor beyond it belongs to the top task.
        if (t < n_subtrees() && task.n_nodes > 0)
            task.shared = SharedNodes{task.nodes[task.n_nodes - 1] + 1, &lock_};
    }

    Context& context_;
    Factor& factor_;
    Lock lock_;
    std::int32_t count_;
    void* memory_;
    SpdTask* tasks_ = nullptr;
};

} // namespace

Status mf_parallel_factor(Context& context, Factor& factor) noexcept {
    if (const Status status = mf_task_work_blocks(context, factor, context.settings.blocked);
        status != Status::OK)
        return status;
    Run run(context, factor);
    if (!run) return out_of_memory(context);
    const std::int32_t n_subtrees = run.n_subtrees();
    const std::int32_t n_threads = mf_numeric_threads(context, factor);
    // Threads share the work among themselves; every BLAS call stays on the thread that makes it.
    const blas::ThreadLimit one_blas_thread(1);

    // A thread that finds no more subtrees waits at the end of the region and takes strips of large fronts.
#pragma omp parallel num_threads(n_threads) if (n_threads > 1 && n_subtrees > 0)
    {
#pragma omp for schedule(dynamic, 1) nowait
        for (std::int32_t t = 0; t < n_subtrees; ++t) mf_spd_node(factor, run[t]);
    }
    run.shorten_top_task();
    if (run[n_subtrees].n_nodes > 0) {
        // The calling thread runs the top task; the others only take strips of its large fronts.
#pragma omp parallel num_threads(n_threads) if (n_threads > 1)
        {
#pragma omp master
            mf_spd_node(factor, run[n_subtrees]);
        }
    }
    return run.collect();
}

} // namespace vyr
