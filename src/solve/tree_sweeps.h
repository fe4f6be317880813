// Both sweeps of a solve over the tree, by several threads: the subtrees of the analysis's cut side by side,
// and the nodes above them one by one, large ones in strips.
//
// What a subtree owes the nodes above it is collected in places of its own and added in the order of the
// tree, so that no two threads write to one place, and the digits are the same on any number of them.
#pragma once

#include "core/analysis.h"
#include "core/context.h"
#include "solve/crew.h"

#include <algorithm>
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
    /// n_scratch doubles of a thread; the caller is thread 0.
    double* scratch(std::int32_t thread = 0) noexcept { return values_.get() + thread * n_scratch_; }

    /// sweeps() on the calling thread, while the others take part: what calls forward() and backward().
    template <typename Sweeps>
    void run(const Sweeps& sweeps) noexcept {
        crew_.run(n_threads_, sweeps);
    }

    /// rows(begin, end) for parts of [0, n), side by side.
    template <typename Rows>
    void for_rows(const Rows& rows) noexcept {
        crew_.share_strips(0, analysis_.n, 8192, rows);
    }

    /// step(node, s, scratch, crew) for every node s, descendants first: solves the node's pivots in w and
    /// reduces its update rows. `node` is the record of s, its row list perhaps another one: update rows
    /// beyond a subtree lie in places of the subtree's own. scratch: the thread's. crew: whom the step may
    /// share its work with; null in a subtree.
    ///
    /// Returns OK or CANCELLED.
    template <typename Step>
    [[nodiscard]] Status forward(const Step& step) noexcept {
        crew_.share(cut_.n_subtrees, [&](std::int32_t t, std::int32_t thread) noexcept {
            begin_subtree(t);
            for (std::int32_t s = cut_.first[t]; s <= cut_.root[t] && goes_on(s); ++s)
                step(within_subtree(s), s, scratch(thread), nullptr);
        });
        add_owed();
        for (std::int32_t k = 0; k < cut_.n_top && goes_on(k); ++k)
            step(analysis_.snodes[cut_.top[k]], cut_.top[k], scratch(), &crew_);
        return mf_stop(context_) ? Status::CANCELLED : Status::OK;
    }

    /// The same with ancestors first: solves the node's pivots in w, its update rows being solved.
    template <typename Step>
    [[nodiscard]] Status backward(const Step& step) noexcept {
        for (std::int32_t k = cut_.n_top - 1; k >= 0 && goes_on(k); --k)
            step(analysis_.snodes[cut_.top[k]], cut_.top[k], scratch(), &crew_);
        crew_.share(cut_.n_subtrees, [&](std::int32_t i, std::int32_t thread) noexcept {
            const std::int32_t t = cut_.n_subtrees - 1 - i;
            for (std::int32_t s = cut_.root[t]; s >= cut_.first[t] && goes_on(s); --s)
                step(analysis_.snodes[s], s, scratch(thread), nullptr);
        });
        return mf_stop(context_) ? Status::CANCELLED : Status::OK;
    }

private:
    bool goes_on(std::int32_t node) const noexcept { return node % 32 != 0 || !mf_stop(context_); }
    /// Zeroes what subtree t owes.
    void begin_subtree(std::int32_t t) noexcept;
    /// The node s of a subtree with update rows beyond it in the places of what that owes.
    mf_snode within_subtree(std::int32_t s) const noexcept;
    void add_owed() noexcept;

    Context& context_;
    const Analysis& analysis_;
    const SolveCut& cut_;
    std::int64_t stride_;
    std::int32_t n_threads_ = 1;
    Crew crew_;
    std::int64_t n_scratch_ = 0;
    double* w_ = nullptr;
    Buffer<double> memory_, values_;
};

} // namespace vyr
