// The one lock of the engine: it guards what several tasks of a factorization reach.
#pragma once

#include <omp.h>

namespace vyr {

class Lock {
public:
    Lock() noexcept { omp_init_lock(&lock_); }
    ~Lock() { omp_destroy_lock(&lock_); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    friend class Hold;
    omp_lock_t lock_;
};

/// Holds a lock from its construction, or from take() on, to its end. Without a lock it does nothing.
class Hold {
public:
    explicit Hold(Lock* lock) noexcept : Hold() { take(lock); }
    Hold() noexcept = default;
    ~Hold() {
        if (held_ != nullptr) omp_unset_lock(&held_->lock_);
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;
    void take(Lock* lock) noexcept {
        if (lock == nullptr || held_ != nullptr) return;
        omp_set_lock(&lock->lock_);
        held_ = lock;
    }

private:
    Lock* held_ = nullptr;
};

} // namespace vyr
