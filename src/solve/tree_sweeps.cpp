#include "solve/tree_sweeps.h"

#include <algorithm>

namespace vyr {

Status TreeSweeps::open(std::int64_t n_scratch) noexcept {
    n_threads_ = cut_.n_subtrees > 0 ? std::max(context_.settings.n_threads, 1) : 1;
    n_scratch_ = n_scratch;
    for (std::int32_t t = 0; t < cut_.n_subtrees; ++t)
        for (std::int32_t s = cut_.first[t]; s <= cut_.root[t]; ++s)
            most_rows_ = std::max<std::int64_t>(most_rows_, analysis_.snodes[s].n_rows());
    const std::int64_t n_owed = cut_.owed[cut_.n_subtrees];
    memory_ = Buffer<double>(context_.memory, (analysis_.n + n_owed) * stride_);
    w_ = memory_.get();
    if (n_scratch > 0) values_ = Buffer<double>(context_.memory, n_threads_ * n_scratch);
    if (most_rows_ > 0) rows_ = Buffer<std::int32_t>(context_.memory, n_threads_ * most_rows_);
    const bool got_all = memory_ && (values_ || n_scratch == 0) && (rows_ || most_rows_ == 0);
    return got_all ? Status::OK : out_of_memory(context_);
}

TreeSweeps::Scratch TreeSweeps::scratch_of(std::int32_t thread) noexcept {
    return {values_.get() + thread * n_scratch_, rows_.get() + thread * most_rows_};
}

void TreeSweeps::begin_subtree(std::int32_t t) noexcept {
    std::fill(w() + (analysis_.n + cut_.owed[t]) * stride_, w() + (analysis_.n + cut_.owed[t + 1]) * stride_,
              0.0);
}

mf_snode TreeSweeps::within(std::int32_t t, std::int32_t s, std::int32_t* rows) const noexcept {
    mf_snode node = analysis_.snodes[s];
    const mf_snode& root = analysis_.snodes[cut_.root[t]];
    const std::int32_t end = root.first() + root.npiv;
    const std::int32_t n_rows = node.n_rows();
    if (node.rows[n_rows - 1] < end) return node;
    // Both lists ascend, and the root's holds every row of its subtree beyond it.
    const auto first_place = static_cast<std::int32_t>(analysis_.n + cut_.owed[t]);
    const std::int32_t* const beyond = root.update_rows();
    const std::int32_t* at = beyond;
    std::int32_t k = 0;
    for (; k < n_rows && node.rows[k] < end; ++k) rows[k] = node.rows[k];
    for (; k < n_rows; ++k) {
        at = std::lower_bound(at, beyond + root.nupd, node.rows[k]);
        rows[k] = first_place + static_cast<std::int32_t>(at - beyond);
    }
    node.rows = rows;
    return node;
}

void TreeSweeps::add_owed() noexcept {
    const double* owed = w() + analysis_.n * stride_;
    for (std::int32_t t = 0; t < cut_.n_subtrees; ++t) {
        const mf_snode& root = analysis_.snodes[cut_.root[t]];
        for (std::int32_t k = 0; k < root.nupd; ++k, owed += stride_) {
            double* target = w() + root.update_rows()[k] * stride_;
            for (std::int64_t r = 0; r < stride_; ++r) target[r] += owed[r];
        }
    }
}

} // namespace vyr
