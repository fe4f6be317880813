// What belongs to the process and not to any matrix: locks and facts that are written once.
#pragma once

namespace vyr::platform {

/// Held while METIS runs: it draws from the random numbers of the C library, from a seed of its own at every
/// call. One call at a time therefore orders a graph the same whatever other threads of the library do.
class OrderingLock {
public:
    OrderingLock() noexcept;
    ~OrderingLock();
    OrderingLock(const OrderingLock&) = delete;
    OrderingLock& operator=(const OrderingLock&) = delete;
};

} // namespace vyr::platform
