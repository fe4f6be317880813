// How many threads the BLAS may use in calls from the calling thread.
#pragma once

#include <omp.h>

namespace vyr::blas {

/// Limits BLAS calls and parallel regions of the calling thread to `n` threads while it lives. The OpenMP
/// build asks for the thread's own setting at every call, so other threads of the host are not touched.
class ThreadLimit {
public:
    explicit ThreadLimit(int n) noexcept : before_(omp_get_max_threads()) { omp_set_num_threads(n); }
    ~ThreadLimit() { omp_set_num_threads(before_); }
    ThreadLimit(const ThreadLimit&) = delete;
    ThreadLimit& operator=(const ThreadLimit&) = delete;
    /// The number there was before, and will be again.
    int before() const noexcept { return before_; }

private:
    int before_;
};

} // namespace vyr::blas
