// Whoever finishes what a step waits for last hands the step to the ready queue. A panel is factorised when
// its diagonal block has received everything; it solves columns as soon as they have received, in its own
// block, what comes before it; it contributes to columns when they and those before them are solved and it is
// its turn there. Subtrees and panels need a place to work in, which they get in their order: the earliest
// one at work never waits for a later one.
#include "core/tuning.h"
#include "numeric/panel_steps.h"
#include "numeric/phases.h"
#include "numeric/ready_queue.h"
#include "numeric/spd.h"
#include "numeric/update_passing.h"
#include "numeric/work_plan.h"
#include "platform/blas_threads.h"
#include "platform/platform.h"

#include <omp.h>

#include <algorithm>
#include <atomic>

namespace vyr {

namespace {

/// Counts down from several threads; true for the one who comes last.
bool is_last(std::int32_t& count) noexcept {
    return std::atomic_ref<std::int32_t>(count).fetch_sub(1, std::memory_order_acq_rel) == 1;
}

class GraphRun {
public:
    GraphRun(Context& context, Factor& factor, const WorkPlan& plan, double* work) noexcept
        : context_(context),
          factor_(factor),
          analysis_(*factor.analysis),
          graph_(analysis_.graph),
          plan_(plan),
          work_(work),
          loops_(mf_vector_loops(context.settings.instructions)),
          kernel_(mf_product_kernel(context.settings.instructions)),
          to_solve_(context.memory, graph_.n_columns, 1),
          to_reach_(context.memory, graph_.n_columns, 2),
          to_contribute_(context.memory, graph_.n_contributions, 1),
          to_factorise_(context.memory, graph_.n_panels, 1),
          unfinished_(context.memory, graph_.n_contributors()),
          place_(context.memory, graph_.n_contributors()),
          queue_(context.memory, std::int64_t{graph_.n_columns} + graph_.n_contributions + plan.n_subtrees,
                 plan.n_threads) {}
    explicit operator bool() const noexcept {
        return to_solve_ && to_reach_ && to_contribute_ && to_factorise_ && unfinished_ && place_ && queue_;
    }

    void execute() noexcept {
        prepare();
#pragma omp parallel num_threads(plan_.n_threads) if (plan_.n_threads > 1)
#pragma omp single nowait
        start();
    }

    Status finish() noexcept;

private:
    double* thread_work() const noexcept {
        return work_ + plan_.thread * omp_get_thread_num();
    }
    double* owed(std::int32_t subtree) const noexcept {
        return work_ + plan_.thread * plan_.n_threads + plan_.owed * place_[subtree];
    }
    PanelSteps panel_steps(std::int32_t panel) const noexcept {
        double* const first = work_ + plan_.thread * plan_.n_threads + plan_.owed * plan_.n_subtrees;
        return PanelSteps(factor_, panel, loops_, kernel_,
                          first + plan_.panel * place_[graph_.n_subtrees + panel]);
    }

    void prepare() noexcept;
    void start() noexcept;
    void work() noexcept {
        Step step{};
        while (queue_.pop(step)) run(step);
    }
    void push(const Step& step) noexcept {
        if (!queue_.push(step)) return;
        GraphRun* const self = this;
#pragma omp task default(none) firstprivate(self)
        self->work();
    }
    void run(const Step& step) noexcept;
    void eliminate_subtree(std::int32_t t) noexcept;
    void factorise_panel(std::int32_t p) noexcept;
    void pass(std::int32_t subtree, std::int32_t columns, std::int32_t contribution) noexcept;

    // Who waits for what.
    void subtree_is_done(std::int32_t t) noexcept;
    void panel_is_factorised(std::int32_t p) noexcept;
    void columns_are_solved(std::int32_t contributor, std::int32_t c) noexcept;
    void may_solve(std::int32_t contributor, std::int32_t c) noexcept {
        if (is_last(to_solve_[c])) push({contributor, c, -1});
    }
    void may_contribute(std::int32_t contributor, std::int32_t c, std::int32_t contribution) noexcept {
        if (is_last(to_contribute_[contribution])) push({contributor, c, contribution});
    }
    void may_factorise(std::int32_t p) noexcept {
        if (is_last(to_factorise_[p])) factorise_panel(p);
    }
    void contribution_is_made(std::int32_t contributor, const Contribution& contribution) noexcept;
    void contributor_is_finished(std::int32_t contributor) noexcept;

    /// The last of the ascending offsets that is not above k.
    static std::int32_t find(const Buffer<std::int32_t>& offset, std::int32_t k) noexcept {
        const std::int32_t* const begin = offset.get();
        return static_cast<std::int32_t>(std::upper_bound(begin, begin + offset.count(), k) - begin) - 1;
    }
    std::int32_t contributor_of(std::int32_t columns) const noexcept {
        return find(graph_.column_offset, columns);
    }

    /// True when what depends on this column is of no use any more.
    bool is_vain(std::int32_t column) const noexcept {
        return mf_stop(context_) || column > failed_column_.load(std::memory_order_relaxed);
    }
    std::int32_t first_column(std::int32_t contributor) const noexcept {
        if (contributor < graph_.n_subtrees) return analysis_.snodes[graph_.root[contributor]].first();
        const ColumnPanel& panel = graph_.panels[contributor - graph_.n_subtrees];
        return analysis_.snodes[panel.node].first() + panel.begin;
    }
    void note_failure(Status status, std::int32_t column) noexcept {
        const Hold hold(&failure_lock_);
        if (column >= failed_column_.load(std::memory_order_relaxed)) return;
        failed_column_.store(column, std::memory_order_relaxed);
        status_ = status;
    }

    Context& context_;
    Factor& factor_;
    const Analysis& analysis_;
    const EliminationGraph& graph_;
    const WorkPlan& plan_;
    double* work_;
    const VectorLoops& loops_;
    const ProductKernel& kernel_;

    // Counts of what is missing.
    Buffer<std::int32_t> to_solve_;      ///< columns: until the panel may solve them
    Buffer<std::int32_t> to_reach_;      ///< columns: until they and those before them are solved
    Buffer<std::int32_t> to_contribute_; ///< contributions: until one may be made
    Buffer<std::int32_t> to_factorise_;  ///< panels: until one may be factorised
    Buffer<std::int32_t> unfinished_;    ///< contributors: contributions to make
    Buffer<std::int32_t> place_;         ///< contributors: where they work
    std::atomic<std::int32_t> next_subtree_{0}, next_panel_{0}; ///< the next to get a place
    ReadyQueue queue_;

    Lock failure_lock_;
    std::atomic<std::int32_t> failed_column_{INT32_MAX}; ///< the first; -1 where the status is no pivot's
    Status status_ = Status::OK;
    std::atomic<std::int64_t> assembly_ns_{0};
};

void GraphRun::prepare() noexcept {
    for (std::int32_t e = 0; e < graph_.n_contributions; ++e) {
        const Contribution& contribution = graph_.contributions[e];
        switch (contribution.next_kind) {
        case Contribution::Next::CONTRIBUTION:
            ++to_contribute_[contribution.next];
            break;
        case Contribution::Next::SOLVE:
            ++to_solve_[contribution.next];
            break;
        case Contribution::Next::PANEL:
            ++to_factorise_[contribution.next];
            break;
        }
    }
    for (std::int32_t k = 0; k < graph_.n_contributors(); ++k) {
        const std::int32_t begin = graph_.column_offset[k], end = graph_.column_offset[k + 1];
        unfinished_[k] = std::max(graph_.offset[end] - graph_.offset[begin], 1);
        if (begin < end) to_reach_[begin] = 1;
    }
    for (std::int32_t t = 0; t < plan_.n_subtrees; ++t) place_[t] = t;
    for (std::int32_t p = 0; p < plan_.n_panels; ++p) place_[graph_.n_subtrees + p] = p;
    next_subtree_ = plan_.n_subtrees;
    next_panel_ = plan_.n_panels;
}

void GraphRun::start() noexcept {
    for (std::int32_t t = 0; t < plan_.n_subtrees; ++t) push({t, -1, -1});
    for (std::int32_t p = 0; p < plan_.n_panels; ++p) may_factorise(p);
}

void GraphRun::run(const Step& step) noexcept {
    const auto [contributor, columns, contribution] = step;
    if (columns < 0) {
        eliminate_subtree(contributor);
        return subtree_is_done(contributor);
    }
    const std::int32_t panel = contributor - graph_.n_subtrees;
    const bool vain = is_vain(first_column(contributor));
    if (contribution < 0) {
        if (!vain) panel_steps(panel).solve(columns);
        return columns_are_solved(contributor, columns);
    }
    if (!vain && panel >= 0) panel_steps(panel).subtract(columns, contribution);
    if (!vain && panel < 0) pass(contributor, columns, contribution);
    contribution_is_made(contributor, graph_.contributions[contribution]);
}

void GraphRun::eliminate_subtree(std::int32_t t) noexcept {
    const std::int32_t first = graph_.first[t], root = graph_.root[t];
    if (is_vain(analysis_.snodes[first].first())) return;
    mf_clear_update(owed(t), analysis_.snodes[root].nupd);
    SpdTask task(context_);
    task.first_node = first;
    task.n_nodes = root - first + 1;
    task.alone = true;
    task.limit = root + 1;
    task.owed = owed(t);
    task.packed = thread_work();
    task.scratch =
        factor_.work.node_work.get() + 2 * std::int64_t{analysis_.largest_update} * omp_get_thread_num();
    mf_spd_node(factor_, task);
    if (task.status != Status::OK) note_failure(task.status, task.failed_column);
}

void GraphRun::factorise_panel(std::int32_t p) noexcept {
    if (!is_vain(first_column(graph_.n_subtrees + p))) {
        std::int32_t failed_column = -1;
        const Status status = panel_steps(p).factorise(context_.settings.pivot_min, factor_, failed_column);
        if (status != Status::OK) note_failure(status, failed_column);
        const ColumnPanel& panel = graph_.panels[p];
        const mf_snode& node = analysis_.snodes[panel.node];
        mf_add_work(context_, mf_node_cost(node) * panel.n_pivots() / node.npiv);
    }
    panel_is_factorised(p);
}

void GraphRun::pass(std::int32_t subtree, std::int32_t columns, std::int32_t contribution) noexcept {
    const double start_ms = platform::clock_ms();
    const std::int32_t root = graph_.root[subtree];
    const mf_snode& node = analysis_.snodes[root];
    const std::int32_t begin = graph_.columns[columns].begin, end = graph_.columns[columns].end;
    const std::int32_t owner = analysis_.column_map[node.rows[graph_.contributions[contribution].begin]];
    const double* const update = owed(subtree) + std::int64_t{begin - node.npiv} * node.nupd;
    std::int32_t place[tuning::PANEL_PIVOTS];
    // Every ancestor has its block: the factor lies in core.
    static_cast<void>(mf_pass_columns(factor_, root, owner, owner + 1, update, node.nupd, begin - node.npiv,
                                      end - node.npiv, place));
    assembly_ns_ += static_cast<std::int64_t>((platform::clock_ms() - start_ms) * 1e6);
}

void GraphRun::subtree_is_done(std::int32_t t) noexcept {
    const std::int32_t begin = graph_.column_offset[t], end = graph_.column_offset[t + 1];
    if (begin == end) return contributor_is_finished(t);
    for (std::int32_t c = begin; c < end; ++c)
        for (std::int32_t e = graph_.offset[c]; e < graph_.offset[c + 1]; ++e) may_contribute(t, c, e);
}

void GraphRun::panel_is_factorised(std::int32_t p) noexcept {
    const std::int32_t contributor = graph_.n_subtrees + p;
    const std::int32_t begin = graph_.column_offset[contributor], end = graph_.column_offset[contributor + 1];
    if (begin == end) return contributor_is_finished(contributor);
    for (std::int32_t c = begin; c < end; ++c) may_solve(contributor, c);
}

void GraphRun::columns_are_solved(std::int32_t contributor, std::int32_t c) noexcept {
    for (; c < graph_.column_offset[contributor + 1] && is_last(to_reach_[c]); ++c)
        for (std::int32_t e = graph_.offset[c]; e < graph_.offset[c + 1]; ++e)
            may_contribute(contributor, c, e);
}

void GraphRun::contribution_is_made(std::int32_t contributor, const Contribution& contribution) noexcept {
    const std::int32_t next = contribution.next;
    switch (contribution.next_kind) {
    case Contribution::Next::CONTRIBUTION: {
        const std::int32_t columns = find(graph_.offset, next);
        may_contribute(contributor_of(columns), columns, next);
        break;
    }
    case Contribution::Next::SOLVE:
        may_solve(contributor_of(next), next);
        break;
    case Contribution::Next::PANEL:
        may_factorise(next);
        break;
    }
    if (is_last(unfinished_[contributor])) contributor_is_finished(contributor);
}

void GraphRun::contributor_is_finished(std::int32_t contributor) noexcept {
    const bool is_subtree = contributor < graph_.n_subtrees;
    const std::int32_t k = is_subtree ? next_subtree_.fetch_add(1) : next_panel_.fetch_add(1);
    if (is_subtree && k < graph_.n_subtrees) {
        place_[k] = place_[contributor];
        push({k, -1, -1});
    } else if (!is_subtree && k < graph_.n_panels) {
        place_[graph_.n_subtrees + k] = place_[contributor];
        may_factorise(k);
    }
}

Status GraphRun::finish() noexcept {
    double flops = 0;
    for (std::int32_t s = 0; s < analysis_.n_snodes; ++s) {
        const mf_snode& node = analysis_.snodes[s];
        if (node.first() > failed_column_) continue;
        flops += mf_node_cost(node);
        if (node.first() + node.npiv <= failed_column_) factor_.blocks[s].flags |= BLOCK_FINISHED;
    }
    context_.statistics.flops = flops;
    context_.statistics.t_assembly = static_cast<double>(assembly_ns_.load()) * 1e-9;
    if (mf_stop(context_)) return Status::CANCELLED;
    if (status_ != Status::OK && failed_column_ >= 0) context_.statistics.failed_column = failed_column_;
    return status_;
}

/// The whole tree, node after node on the calling thread.
Status factorise_alone(Context& context, Factor& factor, double* packed) noexcept {
    SpdTask task(context);
    task.n_nodes = factor.analysis->n_snodes;
    task.alone = true;
    task.packed = packed;
    task.scratch = factor.work.node_work.get();
    mf_spd_node(factor, task);
    context.statistics.flops = task.flops;
    if (mf_stop(context)) return Status::CANCELLED;
    if (task.failed_column >= 0) context.statistics.failed_column = task.failed_column;
    return task.status;
}

} // namespace

double mf_graph_work_bytes(const Analysis& analysis, std::int32_t n_threads) noexcept {
    constexpr std::int32_t MOST_LANES = 8;
    const EliminationGraph& graph = analysis.graph;
    const double counts = 2.0 * graph.n_columns + graph.n_contributions + 3.0 * graph.n_contributors();
    const double steps = static_cast<double>(graph.n_columns) + graph.n_contributions;
    return 8.0 * static_cast<double>(WorkPlan(analysis, n_threads, MOST_LANES).entries()) +
           8.0 * n_threads * analysis.largest_update + 4.0 * counts + sizeof(Step) * steps;
}

Status mf_graph_factor(Context& context, Factor& factor) noexcept {
    const Analysis& analysis = *factor.analysis;
    const WorkPlan plan(analysis, mf_numeric_threads(context, factor),
                        mf_product_kernel(context.settings.instructions).lanes);
    Buffer<double>& work =
        factor.work.task_work.count() >= plan.entries() ? factor.work.task_work : factor.work.packed;
    if (!make_room(work, *factor.memory, plan.entries()) ||
        !make_room(factor.work.node_work, *factor.memory,
                   2 * std::int64_t{plan.n_threads} * analysis.largest_update))
        return out_of_memory(context);
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s)
        if (factor.block(s) == nullptr) return Status::FACTOR_STORAGE;
    // Threads share the work among themselves; every BLAS call stays on the thread that makes it.
    const blas::ThreadLimit one_blas_thread(1);
    if (analysis.graph.n_contributors() == 0) return factorise_alone(context, factor, work.get());
    GraphRun run(context, factor, plan, work.get());
    if (!run) return out_of_memory(context);
    run.execute();
    return run.finish();
}

} // namespace vyr
