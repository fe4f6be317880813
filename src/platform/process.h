// What belongs to the process and not to any matrix: locks and facts that are written once.
#pragma once

namespace vyr::platform {

/// What METIS's call on the calling thread belongs to; null outside of one. METIS hands its host no argument
/// through, so the host finds its state here.
[[nodiscard]] void* ordering_call() noexcept;
/// Sets it and answers what it was.
void* exchange_ordering_call(void* call) noexcept;

/// Kernels that the library's own BLAS is to start with instead of its choice; null: its choice.
[[nodiscard]] const char* wanted_kernels() noexcept;
void want_kernels(const char* name) noexcept;

/// Most threads that were found to run beside the calling one at a time, for that one to remember.
[[nodiscard]] int& tried_threads() noexcept;

/// Calls to the BLAS at a time: how many are claimed, and how many it has mapped working memory for. Held
/// while they are looked at.
class ClaimLock {
public:
    ClaimLock() noexcept;
    ~ClaimLock();
    ClaimLock(const ClaimLock&) = delete;
    ClaimLock& operator=(const ClaimLock&) = delete;
    int& claimed() const noexcept;
    int& mapped() const noexcept;
};

/// Held while the METIS of the system runs: it draws from the random numbers of the C library, from a seed of
/// its own at every call. One call at a time therefore orders a graph the same whatever other threads of the
/// library do.
class OrderingLock {
public:
    OrderingLock() noexcept;
    ~OrderingLock();
    OrderingLock(const OrderingLock&) = delete;
    OrderingLock& operator=(const OrderingLock&) = delete;
};

} // namespace vyr::platform
