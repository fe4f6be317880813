// The threads that share the work of one solve: lots of steps, one lot after the other.
//
// Steps are taken one by one, by the caller, too: a thread that another program keeps from its core holds up
// no more than the step it has begun. Who has nothing to do watches for some milliseconds before he sleeps,
// as a sleeper would have to wait for his turn behind such a program; and hardly at all where the
// process has more threads at work than cores.
#pragma once

#include "core/tuning.h"
#include "core/workforce.h"
#include "platform/platform.h"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace vyr {

/// A number that threads wait for changes of.
class WatchedNumber {
public:
    std::uint32_t get() const noexcept { return number_.load(); }
    /// For a number that nobody watches.
    void reset(std::uint32_t number) noexcept { number_.store(number, std::memory_order_relaxed); }
    /// Wakes up to `n` threads that wait for it.
    void increase(std::int32_t n) noexcept {
        number_.fetch_add(1);
        wake(n);
    }
    /// Wakes who waits for the 0.
    void decrease() noexcept {
        if (number_.fetch_sub(1) == 1) wake(1);
    }
    /// Returns once wanted(number), after so many looks asleep.
    template <typename Wanted>
    void wait(std::int32_t n_looks, const Wanted& wanted) noexcept {
        for (std::int32_t k = 0; k < n_looks; ++k) {
            if (wanted(number_.load(std::memory_order_acquire))) return;
            platform::relax();
        }
        n_asleep_.fetch_add(1); // before the number is read again, as wake() reads after it is written
        for (std::uint32_t seen = number_.load(); !wanted(seen); seen = number_.load())
            platform::sleep_while(number_, seen);
        n_asleep_.fetch_sub(1);
    }

private:
    void wake(std::int32_t n) noexcept {
        const auto n_asleep = static_cast<std::int32_t>(n_asleep_.load());
        if (n_asleep > 0) platform::wake(number_, std::min(n, n_asleep));
    }

    std::atomic<std::uint32_t> number_ = 0, n_asleep_ = 0;
};

class Crew {
public:
    Crew() noexcept = default;
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;

    /// lead() on the calling thread, while n_threads - 1 others take part in what it shares.
    template <typename Lead>
    void run(std::int32_t n_threads, const Lead& lead) noexcept {
        if (n_threads == 1) return lead();
        n_threads_ = n_threads;
        n_looks_ = mf_cores_suffice() ? tuning::WATCHES : tuning::FEW_WATCHES;
        dismissed_ = false;
#pragma omp parallel num_threads(n_threads)
        {
            if (omp_get_thread_num() > 0) {
                help();
            } else {
                present_.reset(static_cast<std::uint32_t>(omp_get_num_threads()) - 1);
                lead();
                dismiss();
            }
        }
    }

    /// step(i, thread) for 0 <= i < n, each on one of the threads, of which the calling one is 0. Called by
    /// lead(); returns when all have run.
    template <typename Step>
    void share(std::int32_t n, const Step& step) noexcept {
        if (n_threads_ == 1 || n <= 1) {
            for (std::int32_t i = 0; i < n; ++i) step(i, 0);
            return;
        }
        step_ = &step;
        call_ = [](const void* body, std::int32_t i, std::int32_t thread) noexcept {
            (*static_cast<const Step*>(body))(i, thread);
        };
        publish(n);
        work(0);
        left_.wait(n_looks_, [](std::uint32_t left) noexcept { return left == 0; });
    }

    /// strip(first, last) for the parts of [begin, end) that are `width` wide; as share().
    template <typename Strip>
    void share_strips(std::int32_t begin, std::int32_t end, std::int32_t width, const Strip& strip) noexcept {
        share((end - begin + width - 1) / width, [&](std::int32_t i, std::int32_t) noexcept {
            const std::int32_t first = begin + i * width;
            strip(first, first + std::min(width, end - first));
        });
    }

private:
    void publish(std::int32_t n) noexcept;
    void work(std::int32_t thread) noexcept;
    void help() noexcept;
    void dismiss() noexcept;

    std::int32_t n_threads_ = 1, n_looks_ = 0;
    const void* step_ = nullptr;
    void (*call_)(const void* step, std::int32_t i, std::int32_t thread) noexcept = nullptr;
    std::int32_t n_steps_ = 0;
    /// Steps of this lot that nobody has begun, and above them the lot's number, so that none is taken who
    /// read it in an earlier lot.
    std::atomic<std::uint64_t> open_ = 0;
    WatchedNumber lot_;     ///< count of lots published, and one for the dismissal
    WatchedNumber left_;    ///< steps of the lot that have not ended
    WatchedNumber present_; ///< helpers that have not left
    std::atomic<bool> dismissed_ = false;
};

} // namespace vyr
