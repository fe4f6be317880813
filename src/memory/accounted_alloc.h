// The accounted allocator: every block of the library comes from here, so that the report can state the
// memory in use and its peak. One megabyte is 10^6 bytes.
//
// Threads: all functions may be called from several threads; the counters are atomic.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vyr {

inline constexpr double MEGABYTE = 1e6;

/// Bit of a flag word: the block came from the page allocator.
inline constexpr std::uint32_t FLAG_PAGE_BLOCK = 0x2000000;

/// Heap block of at least `bytes` bytes, or null. Its usable size counts as held until mf_free.
[[nodiscard]] void* mf_malloc(std::size_t bytes) noexcept;

/// As mf_malloc, zeroed. Large blocks are not touched: the system delivers zeroed pages at first use. Huge
/// pages are left to the system's own policy: asked for, they made the first factorization half as slow again
/// on a virtual machine (p3d_80 on two threads: 11.8 s against 9.2 s) and later ones no faster.
[[nodiscard]] void* mf_calloc(std::size_t bytes) noexcept;

/// Releases a block of mf_malloc or mf_calloc. Null is allowed and counts nothing.
void mf_free(void* block) noexcept;

/// Block of at least `bytes` bytes, or null. From one page on it comes from the operating system and bit
/// FLAG_PAGE_BLOCK of `flags` is set; such blocks are counted in alloc_count but not measured. Smaller
/// requests, and those the system declines, clear the bit and come from mf_malloc.
[[nodiscard]] void* mf_page_alloc(std::size_t bytes, std::uint32_t& flags) noexcept;

/// Releases a block of mf_page_alloc; `flags` is the word it was allocated with.
void mf_page_free(void* block, std::uint32_t flags) noexcept;

/// Largest number of bytes held at once since VYR_init_ld.
[[nodiscard]] double mf_mem_peak() noexcept;

/// Bytes held now less bytes held at the previous call.
[[nodiscard]] std::uint64_t mf_mem_delta() noexcept;

/// Starts the statistics of a new matrix: counts and snapshot 0, the peak at what is held.
void mf_mem_restart() noexcept;

/// Returns unused heap memory to the system. A failure is a message, not a status.
void mf_heap_compact() noexcept;

/// Tells the user about a failed large request, when messages are on. `context` is one line of detail.
void mf_alloc_failed(double bytes, const char* context) noexcept;

} // namespace vyr
