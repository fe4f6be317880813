#include "numeric/parallel_factor.h"

#include "interface/process_state.h"
#include "memory/buffer.h"
#include "numeric/block_store.h"
#include "numeric/spd_kernel.h"
#include "platform/blas_threads.h"
#include "symbolic/task_partition.h"

#include <omp.h>

#include <new>

namespace vyr {

namespace {

/// The tasks of one run, with the lock around additions into top-task blocks.
class Run {
public:
    explicit Run(mf_solver& solver) noexcept : solver_(solver), memory_(mf_malloc(bytes())) {
        omp_init_lock(&lock_);
        if (solver.block_store != nullptr) solver.block_store->lock = &lock_;
        if (memory_ == nullptr) return;
        tasks_ = static_cast<SpdTask*>(memory_);
        const bool blocked = ctrl_int(CTRL_BLOCKED) == 1;
        for (std::int32_t t = 0; t < solver.n_tasks; ++t) {
            SpdTask& task = *new (tasks_ + t) SpdTask;
            task.nodes = solver.task_nodes + solver.task_offset[t];
            task.n_nodes = solver.task_offset[t + 1] - solver.task_offset[t];
            task.work = solver.task_work[t];
            task.scratch = solver.node_work + 2 * static_cast<std::int64_t>(t) * solver.n;
            task.blocked = blocked;
            task.pivot_min = mf_ctrl[CTRL_PIVOT_MIN];
            // A subtree's nodes end with its root: every ancestor beyond it belongs to the top task.
            if (t < solver.n_tasks - 1 && task.n_nodes > 0)
                task.shared = SharedNodes{task.nodes[task.n_nodes - 1] + 1, &lock_};
        }
    }
    ~Run() {
        mf_free(memory_);
        if (solver_.block_store != nullptr) solver_.block_store->lock = nullptr;
        omp_destroy_lock(&lock_);
    }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    explicit operator bool() const noexcept { return tasks_ != nullptr; }
    SpdTask& operator[](std::int32_t t) noexcept { return tasks_[t]; }

private:
    std::size_t bytes() const noexcept { return static_cast<std::size_t>(solver_.n_tasks) * sizeof(SpdTask); }

    mf_solver& solver_;
    omp_lock_t lock_;
    void* memory_;
    SpdTask* tasks_ = nullptr;
};

/// Adds up the statistics of all tasks; the last failing one in task order decides status and column.
Status collect(const mf_solver& solver, Run& run) noexcept {
    Status status = VYR_OK;
    double flops = 0, assembly_ns = 0;
    for (std::int32_t t = 0; t < solver.n_tasks; ++t) {
        const SpdTask& task = run[t];
        flops += task.flops;
        assembly_ns += static_cast<double>(task.assembly_ns.load());
        if (task.status != VYR_OK) status = task.status;
        if (task.failed_column >= 0) mf_info[INFO_FAILED_COLUMN] = task.failed_column;
    }
    mf_info[INFO_FLOPS] = flops;
    mf_info[INFO_T_ASSEMBLY] = assembly_ns * 1e-9;
    return status;
}

} // namespace

Status mf_parallel_factor(mf_solver& solver) noexcept {
    if (const Status status = mf_task_work_blocks(solver, ctrl_int(CTRL_BLOCKED) == 1); status != VYR_OK)
        return status;
    Run run(solver);
    if (!run) return VYR_ERR_MEMORY;
    const std::int32_t n_subtrees = solver.n_tasks - 1;
    // Threads share the work among themselves; every BLAS call stays on the thread that makes it.
    const blas::ThreadLimit one_blas_thread(1);

    // A thread that finds no more subtrees waits at the end of the region and takes strips of large fronts.
#pragma omp parallel num_threads(solver.n_threads) if (solver.n_threads > 1 && n_subtrees > 0)
    {
#pragma omp for schedule(dynamic, 1) nowait
        for (std::int32_t t = 0; t < n_subtrees; ++t) mf_spd_node(solver, run[t]);
    }
    bool failed = false;
    for (std::int32_t t = 0; t < n_subtrees; ++t) failed = failed || run[t].result != 0;
    if (!failed && run[n_subtrees].n_nodes > 0) {
        // The calling thread runs the top task; the others only take strips of its large fronts.
#pragma omp parallel num_threads(solver.n_threads) if (solver.n_threads > 1)
        {
#pragma omp master
            mf_spd_node(solver, run[n_subtrees]);
        }
    }
    return collect(solver, run);
}

} // namespace vyr
