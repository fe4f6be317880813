#include "solve/crew.h"

namespace vyr {

void Crew::publish(std::int32_t n) noexcept {
    n_steps_ = n;
    left_.reset(static_cast<std::uint32_t>(n));
    const std::uint64_t lot = lot_.get() + 1;
    open_.store(lot << 32 | static_cast<std::uint32_t>(n), std::memory_order_release);
    lot_.increase(n - 1);
}

// A step that was taken belongs to the lot of now: that one cannot end before it has run.
void Crew::work(std::int32_t thread) noexcept {
    std::uint64_t open = open_.load(std::memory_order_acquire);
    while (static_cast<std::uint32_t>(open) > 0) {
        if (!open_.compare_exchange_weak(open, open - 1, std::memory_order_acquire)) continue;
        call_(step_, n_steps_ - static_cast<std::int32_t>(open), thread);
        left_.decrease();
        open = open_.load(std::memory_order_acquire);
    }
}

void Crew::help() noexcept {
    const std::int32_t thread = omp_get_thread_num();
    std::uint32_t seen = 0;
    for (;;) {
        lot_.wait(n_looks_, [&](std::uint32_t lot) noexcept { return lot != seen; });
        seen = lot_.get();
        if (dismissed_.load(std::memory_order_acquire)) break;
        work(thread);
    }
    present_.decrease();
}

void Crew::dismiss() noexcept {
    dismissed_.store(true, std::memory_order_release);
    lot_.increase(n_threads_);
    present_.wait(n_looks_, [](std::uint32_t present) noexcept { return present == 0; });
}

} // namespace vyr
