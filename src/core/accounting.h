// The accounted allocator: every block of the library comes from here, so that memory in use and its peak can
// be stated. One megabyte is 10^6 bytes.
//
// Threads: all functions may be called from several threads; the counters are atomic.
#pragma once

#include "core/log.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace vyr {

struct Faults;

inline constexpr double MEGABYTE = 1e6;

/// Bit of a flag word: the block came from the page allocator.
inline constexpr std::uint32_t FLAG_PAGE_BLOCK = 0x2000000;

/// Counters of the blocks that belong together. Must outlive them. Each counter is exact; two read together
/// may be from different moments.
struct Accounting {
    std::atomic<std::uint64_t> current{0};    ///< bytes held from the heap
    std::atomic<double> peak{0};              ///< largest value of `current` since the last restart
    std::atomic<std::uint64_t> snapshot{0};   ///< `current` at the last mf_mem_delta
    std::atomic<std::int32_t> alloc_count{0}; ///< successful allocations, heap and page
    std::atomic<std::int32_t> free_count{0};  ///< releases, heap and page
    std::atomic<double> refused{0};           ///< bytes of the last request that could not be had; 0: none
    const Log* log = nullptr;                 ///< for the warning of mf_page_free
    Faults* faults = nullptr;
};

/// Heap block of at least `bytes` bytes, or null. Its usable size counts as held until mf_free.
[[nodiscard]] void* mf_malloc(Accounting& memory, std::size_t bytes) noexcept;

/// As mf_malloc, zeroed. Large blocks are not touched: the system delivers zeroed pages at first use. Huge
/// pages are left to the system's own policy: asked for, they made the first factorization half as slow again
/// on a virtual machine (p3d_80 on two threads: 11.8 s against 9.2 s) and later ones no faster.
[[nodiscard]] void* mf_calloc(Accounting& memory, std::size_t bytes) noexcept;

/// Releases a block of mf_malloc or mf_calloc. Null is allowed and counts nothing.
void mf_free(Accounting& memory, void* block) noexcept;

/// Block of at least `bytes` bytes, or null. From one page on it comes from the operating system and bit
/// FLAG_PAGE_BLOCK of `flags` is set; such blocks are counted in alloc_count but not measured. Smaller
/// requests, and those the system declines, clear the bit and come from mf_malloc.
[[nodiscard]] void* mf_page_alloc(Accounting& memory, std::size_t bytes, std::uint32_t& flags) noexcept;

/// Releases a block of mf_page_alloc; `flags` is the word it was allocated with.
void mf_page_free(Accounting& memory, void* block, std::uint32_t flags) noexcept;

/// Largest number of bytes held at once since the last restart.
[[nodiscard]] double mf_mem_peak(const Accounting& memory) noexcept;

/// Bytes held now less bytes held at the previous call.
[[nodiscard]] std::uint64_t mf_mem_delta(Accounting& memory) noexcept;

/// Starts the statistics of a new matrix: counts and snapshot 0, the peak at what is held.
void mf_mem_restart(Accounting& memory) noexcept;

} // namespace vyr
