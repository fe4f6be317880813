// How far a phase is, and the host's wish to stop.
#pragma once

#include <atomic>
#include <thread>

namespace vyr {

/// Phases of a host's call.
enum Phase { PHASE_ANALYSE = 0, PHASE_FACTORISE = 1, PHASE_SOLVE = 2 };

/// Milliseconds between two calls of a progress callback.
inline constexpr double PROGRESS_INTERVAL_MS = 20;

/// The progress of one call. Work is added by any thread; the callback runs on the thread that began the
/// phase.
class Progress {
public:
    /// Told the phase and the fraction done, 0 to 1; not 0: stop.
    using Callback = int (*)(void* user, int phase, double fraction);

    Progress(Callback callback, void* user) noexcept : callback_(callback), user_(user) {}

    /// A phase of `total` units of work begins, on the calling thread.
    void begin(int phase, double total) noexcept;
    /// Adds finished work.
    void add(double units) noexcept {
        double done = done_.load(std::memory_order_relaxed);
        while (!done_.compare_exchange_weak(done, done + units, std::memory_order_relaxed)) {
        }
    }
    /// True when the call is to end soon. Asks the host now and then, when the thread is its own.
    bool stop() noexcept {
        if (std::this_thread::get_id() == owner_) tell();
        return stopped_.load(std::memory_order_relaxed);
    }
    bool stopped() const noexcept { return stopped_.load(std::memory_order_relaxed); }

private:
    void tell() noexcept;

    Callback callback_;
    void* user_;
    std::thread::id owner_{};
    int phase_ = 0;
    double total_ = 1;
    double last_ms_ = 0;
    std::atomic<double> done_{0};
    std::atomic<bool> stopped_{false};
};

} // namespace vyr
