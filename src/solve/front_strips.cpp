// A front of a factorization with delayed pivots, cut for several threads: panels of pivots, whose triangle
// one thread solves, and strips of what lies beside them.
#include "core/tuning.h"
#include "solve/front_substitution.h"

#include <algorithm>

namespace vyr {

namespace {

/// For one right-hand side or several.
class FrontSteps {
public:
    FrontSteps(const FrontSubstitution& loops, const UnitTrapezoid& front, double* t, std::int64_t stride,
               Crew* crew) noexcept
        : loops_(loops), front_(front), t_(t), stride_(stride), crew_(crew) {}

    void forward() const noexcept {
        if (crew_ == nullptr || !is_large()) return solve(0, front_.n_pivots, front_.n_rows);
        for (std::int32_t k = 0, next = 0; k < front_.n_pivots; k = next) {
            next = std::min(k + tuning::SOLVE_PANEL, front_.n_pivots);
            solve(k, next, next);
            const auto width = static_cast<std::int32_t>(tuning::SOLVE_STRIP_ENTRIES / (next - k));
            crew_->share_strips(
                next, front_.n_rows, width,
                [&](std::int32_t begin, std::int32_t end) noexcept { reduce(begin, k, end, next); });
        }
    }

    void backward() const noexcept {
        if (crew_ == nullptr || !is_large()) return solve_transposed(0, front_.n_pivots, front_.n_rows);
        for (std::int32_t end = front_.n_pivots, k = 0; end > 0; end = k) {
            k = (end - 1) / tuning::SOLVE_PANEL * tuning::SOLVE_PANEL;
            const std::int32_t n_rows = std::max(front_.n_rows - end, 1);
            const auto width = static_cast<std::int32_t>(tuning::SOLVE_STRIP_ENTRIES / n_rows) / 4 * 4;
            crew_->share_strips(k, end, std::max(width, 4),
                                [&](std::int32_t left, std::int32_t right) noexcept {
                                    collect(end, left, front_.n_rows, right);
                                });
            solve_transposed(k, end, end);
        }
    }

private:
    bool is_large() const noexcept {
        return std::int64_t{front_.n_rows} * front_.n_pivots * stride_ >= tuning::SHARED_NODE_ENTRIES;
    }
    double* row(std::int32_t i) const noexcept { return t_ + i * stride_; }

    // The pivots [k, end) and the rows from k to `bottom`.
    void solve(std::int32_t k, std::int32_t end, std::int32_t bottom) const noexcept {
        const UnitTrapezoid part = front_.part(k, k, bottom, end);
        stride_ == 1 ? loops_.forward_one(part, row(k)) : loops_.forward(part, row(k), stride_);
    }
    void solve_transposed(std::int32_t k, std::int32_t end, std::int32_t bottom) const noexcept {
        const UnitTrapezoid part = front_.part(k, k, bottom, end);
        stride_ == 1 ? loops_.backward_one(part, row(k)) : loops_.backward(part, row(k), stride_);
    }
    // The rows [top, bottom) and the pivots [left, right).
    void reduce(std::int32_t top, std::int32_t left, std::int32_t bottom, std::int32_t right) const noexcept {
        const UnitTrapezoid part = front_.part(top, left, bottom, right);
        stride_ == 1 ? loops_.reduce_one(part, row(left), row(top))
                     : loops_.reduce(part, row(left), row(top), stride_);
    }
    void collect(std::int32_t top, std::int32_t left, std::int32_t bottom,
                 std::int32_t right) const noexcept {
        const UnitTrapezoid part = front_.part(top, left, bottom, right);
        stride_ == 1 ? loops_.collect_one(part, row(left), row(top))
                     : loops_.collect(part, row(left), row(top), stride_);
    }

    const FrontSubstitution& loops_;
    const UnitTrapezoid& front_;
    double* t_;
    std::int64_t stride_;
    Crew* crew_;
};

} // namespace

void mf_front_forward(const FrontSubstitution& loops, const UnitTrapezoid& front, double* t,
                      std::int64_t stride, Crew* crew) noexcept {
    FrontSteps(loops, front, t, stride, crew).forward();
}

void mf_front_backward(const FrontSubstitution& loops, const UnitTrapezoid& front, double* t,
                       std::int64_t stride, Crew* crew) noexcept {
    FrontSteps(loops, front, t, stride, crew).backward();
}

} // namespace vyr
