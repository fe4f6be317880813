// Faults on demand. Nothing in a host's process ever makes one of these; tests hang one into the accounting
// of their context.
#pragma once

#include "platform/platform.h"

#include <atomic>
#include <cstdint>

namespace vyr {

/// Counts calls down and tells which one is to fail.
class Countdown {
public:
    /// The k-th call from now fails, k > 0, and with `every_later` all calls after it; 0: none does.
    void set(std::int64_t k, bool every_later = false) noexcept {
        every_later_ = every_later;
        left_ = k;
    }
    /// False once the wanted call has failed.
    bool armed() const noexcept { return left_ > 0; }
    bool fails_now() noexcept {
        std::int64_t left = left_.load();
        while (left > 0 && !left_.compare_exchange_weak(left, left - 1)) {
        }
        if (left == 1 && every_later_) left_ = 1;
        return left == 1;
    }

private:
    std::atomic<std::int64_t> left_{0};
    std::atomic<bool> every_later_{false};
};

struct Faults {
    Countdown allocation;
    Countdown file_call;
    const platform::MemoryStatus* memory_status = nullptr; ///< shown instead of the machine's
    bool memory_status_fails = false;
    std::uint32_t os_major = 0; ///< shown instead of the system's when not 0
};

} // namespace vyr
