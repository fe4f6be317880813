#include "solve/tree_sweeps.h"

#include <algorithm>

namespace vyr {

Status TreeSweeps::open(std::int64_t n_scratch) noexcept {
    n_threads_ = cut_.n_subtrees > 0 ? std::max(context_.settings.n_threads, 1) : 1;
    n_scratch_ = n_scratch;
    const std::int64_t n_owed = cut_.owed[cut_.n_subtrees];
    memory_ = Buffer<double>(context_.memory, (analysis_.n + n_owed) * stride_);
    w_ = memory_.get();
    if (n_scratch > 0) values_ = Buffer<double>(context_.memory, n_threads_ * n_scratch);
    return memory_ && (values_ || n_scratch == 0) ? Status::OK : out_of_memory(context_);
}

void TreeSweeps::begin_subtree(std::int32_t t) noexcept {
    std::fill(w() + (analysis_.n + cut_.owed[t]) * stride_, w() + (analysis_.n + cut_.owed[t + 1]) * stride_,
              0.0);
}

mf_snode TreeSweeps::within_subtree(std::int32_t s) const noexcept {
    mf_snode node = analysis_.snodes[s];
    if (cut_.list[s] >= 0) node.rows = cut_.rows.get() + cut_.list[s];
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
