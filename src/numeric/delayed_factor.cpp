#include "memory/block_store.h"
#include "memory/entry_lists.h"
#include "numeric/delayed.h"
#include "numeric/phases.h"
#include "platform/blas_threads.h"

#include <omp.h>

#include <algorithm>
#include <cmath>
#include <new>

namespace vyr {

namespace {

/// Share of the matrix's largest entry by which pivots are replaced: the square root of the precision, after
/// Schenk and Gärtner (2006).
constexpr double REPLACED_SHARE = 1e-8;

/// The tasks of one run, and how they end.
class Tasks {
public:
    explicit Tasks(DelayedRun& run) noexcept
        : run_(run),
          count_(run.factor.analysis->schedule.n_tasks),
          memory_(mf_malloc(run.context.memory, static_cast<std::size_t>(count_) * sizeof(DelayedTask))) {
        if (memory_ == nullptr) return;
        const Schedule& schedule = run.factor.analysis->schedule;
        tasks_ = static_cast<DelayedTask*>(memory_);
        for (std::int32_t t = 0; t < count_; ++t) {
            DelayedTask& task = *new (tasks_ + t) DelayedTask;
            task.nodes = schedule.task_nodes.get() + schedule.task_offset[t];
            task.n_nodes = schedule.task_offset[t + 1] - schedule.task_offset[t];
        }
        share_storage();
    }
    ~Tasks() {
        for (std::int32_t t = 0; t < count_ && tasks_ != nullptr; ++t) tasks_[t].~DelayedTask();
        mf_free(run_.context.memory, memory_);
    }
    Tasks(const Tasks&) = delete;
    Tasks& operator=(const Tasks&) = delete;

    explicit operator bool() const noexcept { return tasks_ != nullptr; }

    void execute(std::int32_t n_threads) noexcept {
        const std::int32_t n_subtrees = count_ - 1;
        // A thread that finds no more subtrees waits at the end of the region and takes strips of large
        // fronts.
#pragma omp parallel num_threads(n_threads) if (n_threads > 1 && n_subtrees > 0)
        {
#pragma omp for schedule(dynamic, 1) nowait
            for (std::int32_t t = 0; t < n_subtrees; ++t) work_on(t);
        }
        if (status() != Status::OK) return;
            // The calling thread runs the top task; the others only take strips of its large fronts.
#pragma omp parallel num_threads(n_threads) if (n_threads > 1)
        {
#pragma omp master
            work_on(n_subtrees);
        }
    }

    /// That of the first failing task.
    Status status() const noexcept {
        for (std::int32_t t = 0; t < count_; ++t)
            if (tasks_[t].status != Status::OK) return tasks_[t].status;
        return Status::OK;
    }

    void collect() const noexcept {
        Statistics& statistics = run_.context.statistics;
        Pivoted& pivoted = run_.factor.pivoted;
        for (std::int32_t t = 0; t < count_; ++t) {
            const DelayedTask& task = tasks_[t];
            pivoted.n_entries += task.used;
            statistics.flops += task.flops;
            statistics.t_assembly += task.assembly_ms / 1000;
            statistics.n_two_by_two += task.n_two_by_two;
            pivoted.n_delayed += task.n_delayed;
            pivoted.n_zero += task.n_zero;
            pivoted.n_perturbed += task.n_perturbed;
        }
    }

private:
    /// Parts of factor.lu_values, in proportion to what the analysis foresees for the tasks.
    void share_storage() noexcept {
        Buffer<double>& values = run_.factor.lu_values;
        if (!values) return;
        const Analysis& analysis = *run_.factor.analysis;
        const double share =
            static_cast<double>(values.count()) / static_cast<double>(analysis.factor_entries);
        std::int64_t foreseen = 0, begin = 0;
        for (std::int32_t t = 0; t < count_; ++t) {
            DelayedTask& task = tasks_[t];
            for (std::int32_t k = 0; k < task.n_nodes; ++k)
                foreseen += analysis.snodes[task.nodes[k]].n_entries();
            const auto end = static_cast<std::int64_t>(share * static_cast<double>(foreseen));
            task.storage = values.get() + begin;
            task.capacity = std::min(end, values.count()) - begin;
            begin += task.capacity;
        }
    }
    void work_on(std::int32_t t) noexcept {
        mf_delayed_nodes(run_, tasks_[t]);
        tasks_[t].w.reset();
    }

    DelayedRun& run_;
    std::int32_t count_;
    void* memory_;
    DelayedTask* tasks_ = nullptr;
};

Status check_rank(Context& context, const Factor& factor) noexcept {
    const std::int32_t n_zero = factor.pivoted.n_zero;
    if (n_zero == 0 || context.settings.zero_pivots) return Status::OK;
    const std::int32_t n = factor.analysis->n;
    return fail(context, Status::ILL_CONDITIONED,
                "the matrix is singular to working precision: its rank is %d, %d less than its order",
                n - n_zero, n_zero);
}

} // namespace

DelayedRun::~DelayedRun() {
    if (factor.block_store != nullptr) factor.block_store->lock = nullptr;
    const std::int64_t n_snodes = std::min(updates.count(), passed.count()); // 0 without memory for one
    for (std::int64_t s = 0; s < n_snodes; ++s) release_passed_on(static_cast<std::int32_t>(s));
}

void DelayedRun::release_passed_on(std::int32_t s) noexcept {
    for (double** memory : {&updates[s], &passed[s]}) {
        mf_free(context.memory, *memory);
        *memory = nullptr;
    }
}

std::int32_t DelayedRun::n_passed_on(std::int32_t s) const noexcept {
    std::int32_t count = 0;
    for_children(s, [&](std::int32_t c) noexcept { count += factor.pivoted.nodes[c].n_delayed(); });
    return count;
}

Status DelayedRun::prepare() noexcept {
    const Analysis& analysis = *factor.analysis;
    const std::int32_t n = analysis.n, n_snodes = analysis.n_snodes;
    // 1. What the factor keeps.
    factor.release_pivoted();
    Pivoted& pivoted = factor.pivoted;
    pivoted.nodes = Buffer<PivotedNode>(*factor.memory, n_snodes, PivotedNode());
    pivoted.columns = Buffer<std::int32_t>(*factor.memory, n);
    pivoted.beside = Buffer<double>(*factor.memory, n, 0.0);
    if (!pivoted.nodes || !pivoted.columns || !pivoted.beside) return out_of_memory(context);
    FactorWork& work = factor.work;
    if (!work.entry_offset)
        if (const Status status = mf_list_entries(context, analysis, work.entries, work.entry_offset);
            status != Status::OK)
            return status;
    // 2. The tree by children, ascending.
    first_child = Buffer<std::int32_t>(context.memory, n_snodes, -1);
    next_sibling = Buffer<std::int32_t>(context.memory, n_snodes, -1);
    updates = Buffer<double*>(context.memory, n_snodes, static_cast<double*>(nullptr));
    passed = Buffer<double*>(context.memory, n_snodes, static_cast<double*>(nullptr));
    if (!first_child || !next_sibling || !updates || !passed) return out_of_memory(context);
    for (std::int32_t s = n_snodes - 1; s >= 0; --s) {
        const std::int32_t p = analysis.snode_parent[s];
        if (p < 0) continue;
        next_sibling[s] = first_child[p];
        first_child[p] = s;
    }
    // 3. The rules for pivots.
    rules.threshold = context.settings.pivot_share;
    rules.host = &context;
    rules.loops = &mf_front_loops(context.settings.instructions);
    const double largest = rules.loops->max_abs(analysis.n_input, values);
    rules.zero = context.settings.zero_pivot * largest;
    if (context.settings.pivot_mode == PIVOTING_STATIC) rules.least_pivot = REPLACED_SHARE * largest;
    if (factor.block_store != nullptr) factor.block_store->lock = &lock;
    return Status::OK;
}

Status mf_delayed_factor(Context& context, const double* values, Factor& factor) noexcept {
    DelayedRun run(context, factor, values);
    if (const Status status = run.prepare(); status != Status::OK) return status;
    Tasks tasks(run);
    if (!tasks) return out_of_memory(context);
    const std::int32_t n_threads = mf_numeric_threads(context, factor);
    // Threads share the work among themselves; every BLAS call stays on the thread that makes it.
    const blas::ThreadLimit one_blas_thread(1);
    tasks.execute(n_threads);
    tasks.collect();
    if (mf_stop(context)) return Status::CANCELLED;
    const Status status = tasks.status();
    if (status == Status::MEMORY || status == Status::FACTOR_STORAGE)
        return context.reason[0] != '\0' ? status : out_of_memory(context, status);
    return status == Status::OK ? check_rank(context, factor) : status;
}

} // namespace vyr
