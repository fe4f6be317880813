#include "symbolic/steps.h"

#include <algorithm>

namespace vyr {

namespace {

/// Replays the tasks of a schedule: each node's update waits, as a square, until its parent has been filled.
class Replay {
public:
    Replay(const Analysis& analysis, double* waiting_children) noexcept
        : analysis_(analysis), waiting_children_(waiting_children) {}

    /// Runs a task's nodes when `held` doubles wait already. Returns what waits at its end, and at most.
    struct Outcome {
        double left, most;
    };
    Outcome run(std::int32_t task, double held) noexcept {
        const Schedule& schedule = analysis_.schedule;
        Outcome outcome{held, held};
        for (std::int32_t k = schedule.task_offset[task]; k < schedule.task_offset[task + 1]; ++k) {
            const std::int32_t s = schedule.task_nodes[k], p = analysis_.snode_parent[s];
            const double order = analysis_.snodes[s].nupd;
            outcome.left += order * order;
            outcome.most = std::max(outcome.most, outcome.left);
            outcome.left -= waiting_children_[s];
            if (p >= 0) waiting_children_[p] += order * order;
        }
        return outcome;
    }

private:
    const Analysis& analysis_;
    double* waiting_children_; ///< n_snodes: of the children of each node
};

} // namespace

// Every thread is taken to be at the costliest moment of its task, when the roots of all others wait.
Status mf_waiting_updates(Context& context, Analysis& analysis) noexcept {
    Schedule& schedule = analysis.schedule;
    const std::int32_t n_subtrees = schedule.n_tasks - 1;
    Buffer<double> waiting_children(context.memory, analysis.n_snodes, 0.0);
    Buffer<double> most(context.memory, n_subtrees);
    if (!waiting_children || !most) return out_of_memory(context, Status::FACTOR_STORAGE);
    Replay replay(analysis, waiting_children.get());
    double left = 0, peak = 0;
    for (std::int32_t t = 0; t < n_subtrees; ++t) {
        const auto outcome = replay.run(t, 0);
        left += outcome.left;
        most[t] = outcome.most - outcome.left;
    }
    const std::int32_t n_at_work = std::min(schedule.n_threads, n_subtrees);
    std::partial_sort(most.get(), most.get() + n_at_work, most.get() + n_subtrees,
                      [](double a, double b) { return a > b; });
    for (std::int32_t t = 0; t < n_at_work; ++t) peak += most[t];
    schedule.waiting_entries = std::max(left + peak, replay.run(n_subtrees, left).most);
    return Status::OK;
}

} // namespace vyr
