// Both sweeps of a solve over the tree, by several threads: the subtrees of the analysis's cut side by side,
// and the nodes above them one by one, their blocks in strips that idle threads may take.
//
// What a subtree owes the nodes above it is collected in places of its own and added in the order of the
// tree, so that no two threads write to one place, and the digits are the same on any number of them.
#pragma once

#include "core/analysis.h"
#include "core/context.h"

#include <cstdint>

namespace vyr {

class TreeSweeps {
public:
    /// stride   doubles a variable in w
    TreeSweeps(Context& context, const Analysis& analysis, std::int64_t stride) noexcept
        : context_(context), analysis_(analysis), cut_(analysis.solve_cut), stride_(stride) {}

    /// Comes first. Takes settings.n_threads threads, or fewer; each gets n_scratch doubles for its steps.
    /// Returns OK, or MEMORY for these and the work vector.
    [[nodiscard]] Status open(std::int64_t n_scratch) noexcept;

    /// n rows of `stride` doubles in pivot order, and behind them what subtrees owe.
    double* w() const noexcept { return w_; }
    /// n_scratch doubles for steps outside these sweeps.
    double* scratch() noexcept { return values_.get(); }

    /// step(node, s, scratch) for every node s, descendants first: solves the node's pivots in w and reduces
    /// its update rows. `node` is the record of s, its row list perhaps another one: update rows beyond a
    /// subtree lie in places of the subtree's own. scratch: the thread's.
    ///
    /// Runs on the threads of the team, for the nodes that are not in a subtree on its first. Returns OK or
    /// CANCELLED.
    template <typename Step>
    [[nodiscard]] Status forward(const Step& step) noexcept {
#pragma omp parallel num_threads(n_threads_) if (n_threads_ > 1)
        {
            const Scratch own = scratch_of_thread();
#pragma omp for schedule(dynamic, 1)
            for (std::int32_t t = 0; t < cut_.n_subtrees; ++t) {
                begin_subtree(t);
                for (std::int32_t s = cut_.first[t]; s <= cut_.root[t] && goes_on(s); ++s)
                    step(within(t, s, own.rows), s, own.values);
            }
#pragma omp master
            {
                add_owed();
                for (std::int32_t k = 0; k < cut_.n_top && goes_on(k); ++k)
                    step(analysis_.snodes[cut_.top[k]], cut_.top[k], own.values);
            }
        }
        return mf_stop(context_) ? Status::CANCELLED : Status::OK;
    }

    /// The same with ancestors first: solves the node's pivots in w, its update rows being solved.
    template <typename Step>
    [[nodiscard]] Status backward(const Step& step) noexcept {
#pragma omp parallel num_threads(n_threads_) if (n_threads_ > 1)
        {
            const Scratch own = scratch_of_thread();
#pragma omp master
            for (std::int32_t k = cut_.n_top - 1; k >= 0 && goes_on(k); --k)
                step(analysis_.snodes[cut_.top[k]], cut_.top[k], own.values);
#pragma omp barrier
#pragma omp for schedule(dynamic, 1)
            for (std::int32_t t = cut_.n_subtrees - 1; t >= 0; --t)
                for (std::int32_t s = cut_.root[t]; s >= cut_.first[t] && goes_on(s); --s)
                    step(analysis_.snodes[s], s, own.values);
        }
        return mf_stop(context_) ? Status::CANCELLED : Status::OK;
    }

private:
    /// One thread's.
    struct Scratch {
        double* values;     ///< n_scratch
        std::int32_t* rows; ///< of the widest node
    };

    Scratch scratch_of_thread() noexcept;
    bool goes_on(std::int32_t node) const noexcept {
        return node % 32 != 0 || !mf_stop(context_);
    }
    /// Zeroes what subtree t owes.
    void begin_subtree(std::int32_t t) noexcept;
    /// The node s of subtree t with update rows beyond it in the places of what it owes; `rows` receives
    /// its list then.
    mf_snode within(std::int32_t t, std::int32_t s, std::int32_t* rows) const noexcept;
    void add_owed() noexcept;

    Context& context_;
    const Analysis& analysis_;
    const SolveCut& cut_;
    std::int64_t stride_;
    std::int32_t n_threads_ = 1;
    std::int64_t n_scratch_ = 0;
    std::int64_t most_rows_ = 0;
    double* w_ = nullptr;
    Buffer<double> memory_, values_;
    Buffer<std::int32_t> rows_;
};

} // namespace vyr
