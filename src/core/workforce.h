// The threads and BLAS calls of one numerical call, made sure of before its work begins.
#pragma once

#include "core/context.h"

#include <cstdint>

namespace vyr {

/// Threads of a team of `n_threads`, at least 1, that the process can have: all of them; or one, and then the
/// log gets a warning.
[[nodiscard]] std::int32_t mf_team(Context& context, std::int32_t n_threads) noexcept;

/// True while the threads of all numerical calls in the process are no more than the cores.
[[nodiscard]] bool mf_cores_suffice() noexcept;

/// Holds what a call needs of the process while it lives.
class Workforce {
public:
    /// Asks for a team of `n_threads`, the calling thread included. Where the process cannot have more than
    /// one thread the log gets a warning.
    Workforce(Context& context, std::int32_t n_threads) noexcept;
    ~Workforce();
    Workforce(const Workforce&) = delete;
    Workforce& operator=(const Workforce&) = delete;

    /// OK; BLAS when the one of the process would give wrong results; MEMORY when the address space has no
    /// room for a single call to it. The context then holds the reason.
    Status status() const noexcept { return status_; }
    /// Threads to work with, at least 1.
    std::int32_t n_threads() const noexcept { return n_threads_; }

private:
    Status status_ = Status::OK;
    std::int32_t n_threads_;
    std::int32_t n_claimed_ = 0;
};

} // namespace vyr
