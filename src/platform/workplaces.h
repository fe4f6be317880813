// What the process must have before threads of OpenMP and calls to the BLAS may run: both end the process, or
// never return, where they cannot get it.
#pragma once

namespace vyr::platform {

/// Calls that OpenBLAS has working memory for at a time: it has 128 places, and takes some for threads of its
/// own.
inline constexpr int MOST_CALLS = 96;

/// True in a process that was forked off one with several threads. What OpenMP remembers of them came along,
/// they did not: a parallel region would wait for them for ever.
[[nodiscard]] bool threads_were_lost() noexcept;

/// True when `n` threads beside the calling one can run at a time. Tries it by making them, once for every
/// calling thread and number: libgomp ends the process when it cannot. Cost: about 20 microseconds a thread.
[[nodiscard]] bool can_make_threads(int n) noexcept;

/// Has the BLAS map the working memory of `n` calls at a time beside those claimed before, at most MOST_CALLS
/// in all, and keep it: OpenBLAS tries for ever when it cannot. False when the address space has no room for
/// it; nothing is claimed then. Any thread.
[[nodiscard]] bool claim_calls(int n) noexcept;
void return_calls(int n) noexcept;
/// Calls claimed in the process and not returned.
[[nodiscard]] int claimed_calls() noexcept;

} // namespace vyr::platform
