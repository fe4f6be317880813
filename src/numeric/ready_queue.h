// Steps that may run, for the threads of a team that run them.
#pragma once

#include "core/buffer.h"
#include "core/lock.h"

#include <algorithm>
#include <compare>
#include <cstdint>

namespace vyr {

/// What may run: a subtree, the solve of columns that a panel reaches, or a contribution to columns.
struct Step {
    std::int32_t contributor;
    std::int32_t columns;      ///< -1: the subtree
    std::int32_t contribution; ///< -1: the solve

    friend auto operator<=>(const Step&, const Step&) = default;
};

/// A heap of steps, the earliest contributor's first, and the count of the threads that take from it.
class ReadyQueue {
public:
    /// Room for `capacity` steps at a time, and at most `n_workers` threads that take them.
    ReadyQueue(Accounting& memory, std::int64_t capacity, std::int32_t n_workers) noexcept
        : steps_(memory, capacity), most_workers_(n_workers) {}
    explicit operator bool() const noexcept { return static_cast<bool>(steps_); }

    /// True when one more worker is to be called, who then pops until he is sent away.
    [[nodiscard]] bool push(const Step& step) noexcept {
        const Hold hold(&lock_);
        steps_[count_++] = step;
        std::push_heap(steps_.get(), steps_.get() + count_, later);
        if (n_workers_ == most_workers_) return false;
        ++n_workers_;
        return true;
    }

    /// False when there is nothing to do as yet: the worker leaves, and push() calls another one.
    [[nodiscard]] bool pop(Step& step) noexcept {
        const Hold hold(&lock_);
        if (count_ == 0) {
            --n_workers_;
            return false;
        }
        std::pop_heap(steps_.get(), steps_.get() + count_, later);
        step = steps_[--count_];
        return true;
    }

private:
    static bool later(const Step& a, const Step& b) noexcept { return b < a; }

    Buffer<Step> steps_;
    std::int64_t count_ = 0;
    std::int32_t n_workers_ = 0;
    std::int32_t most_workers_;
    Lock lock_;
};

} // namespace vyr
