#include "core/strips.h"
#include "solve/node_steps.h"

#include <algorithm>

namespace vyr {

namespace {

/// One node and the vectors it works on.
class LltNode {
public:
    LltNode(const SweepLoops& loops, const mf_snode& node, const double* block, double* w,
            std::int64_t stride, Crew* crew) noexcept
        : loops_(loops), node_(node), block_(block), w_(w), stride_(stride), crew_(crew) {}

    void forward() const noexcept {
        for (std::int32_t k = 0, next = 0; k < node_.npiv; k = next) {
            next = std::min(k + panel_width(), node_.npiv);
            loops_.solve_transposed(part(k, k, next, next), pivot(k), stride_);
            const auto width =
                std::max(static_cast<std::int32_t>(tuning::SOLVE_STRIP_ENTRIES / (next - k)), 16);
            strips(node_.n_rows() - next, width, [&](std::int32_t begin, std::int32_t end) {
                loops_.reduce(part(k, next + begin, next, next + end), pivot(k), w_,
                              node_.rows + next + begin, stride_);
            });
        }
    }

    void backward() const noexcept {
        collect(node_.npiv, node_.npiv, node_.n_rows());
        for (std::int32_t end = node_.npiv, k = 0; end > 0; end = k) {
            k = (end - 1) / panel_width() * panel_width();
            loops_.solve(part(k, k, end, end), pivot(k), stride_);
            collect(k, k, end);
        }
    }

private:
    bool shared() const noexcept { return node_.n_entries() * stride_ >= tuning::SHARED_NODE_ENTRIES; }
    std::int32_t panel_width() const noexcept { return shared() ? tuning::SOLVE_PANEL : node_.npiv; }
    double* pivot(std::int32_t k) const noexcept { return w_ + (node_.first() + k) * stride_; }
    /// Rows [top, bottom) of the columns [left, right).
    BlockPart part(std::int32_t top, std::int32_t left, std::int32_t bottom,
                   std::int32_t right) const noexcept {
        return {block_ + top + std::int64_t{left} * node_.npiv, node_.npiv, bottom - top, right - left};
    }
    template <typename Body>
    void strips(std::int32_t n, std::int32_t width, const Body& body) const noexcept {
        if (crew_ != nullptr && shared()) return crew_->share_strips(0, n, width, body);
        for_strips(n, shared() ? width : n, false, body);
    }
    /// What the columns [left, right), being solved, do to the pivots above `bottom`.
    void collect(std::int32_t bottom, std::int32_t left, std::int32_t right) const noexcept {
        if (left == right) return;
        strips(bottom, tuning::SOLVE_PANEL, [&](std::int32_t begin, std::int32_t end) {
            loops_.collect(part(begin, left, end, right), pivot(begin), w_, node_.rows + left, stride_);
        });
    }

    const SweepLoops& loops_;
    const mf_snode& node_;
    const double* block_;
    double* w_;
    std::int64_t stride_;
    Crew* crew_;
};

} // namespace

void mf_llt_forward_node(const SweepLoops& loops, const mf_snode& node, const double* block, double* w,
                         std::int64_t stride, Crew* crew) noexcept {
    LltNode(loops, node, block, w, stride, crew).forward();
}

void mf_llt_backward_node(const SweepLoops& loops, const mf_snode& node, const double* block, double* w,
                          std::int64_t stride, Crew* crew) noexcept {
    LltNode(loops, node, block, w, stride, crew).backward();
}

} // namespace vyr
