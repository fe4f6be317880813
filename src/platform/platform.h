// What the operating system gives: memory, pages, the clock, platform facts.
//
// One implementation for Linux and one for Windows; the rest of the library is portable C++.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace vyr::platform {

/// Bytes the process could still obtain.
struct MemoryStatus {
    std::uint64_t available_physical = 0;
    std::uint64_t available_page_file = 0; ///< physical memory and swap together
    std::uint64_t available_virtual = 0;   ///< address space of the process
};

/// Fills `status`; false when the system does not tell.
[[nodiscard]] bool memory_status(MemoryStatus& status) noexcept;

/// Facts about the machine and the process, gathered once per matrix.
struct SystemInfo {
    std::uint32_t architecture = 0;
    std::uint32_t page_size = 4096; ///< bytes
    std::uint32_t n_processors = 1;
    std::uint32_t processor_type = 0;
    std::uint32_t allocation_granularity = 4096; ///< bytes
    std::uint32_t processor_level = 0;
    std::uint32_t processor_revision = 0;
    std::uint32_t os_major = 0;       ///< operating-system major version
    char current_directory[260] = {}; ///< empty when it cannot be had
};

void system_info(SystemInfo& info) noexcept;

/// Bytes of a page.
[[nodiscard]] std::size_t page_size() noexcept;

/// Heap blocks, aligned for any type. heap_calloc returns zeroed memory without touching fresh pages.
[[nodiscard]] void* heap_alloc(std::size_t bytes) noexcept;
[[nodiscard]] void* heap_calloc(std::size_t bytes) noexcept;
void heap_free(void* block) noexcept;
/// Usable bytes of a heap block, at least what was asked for.
[[nodiscard]] std::size_t heap_usable_size(void* block) noexcept;

/// Readable, writable, zeroed pages from the operating system; null on failure. Aligned to a cache line.
[[nodiscard]] void* page_alloc(std::size_t bytes) noexcept;
/// Gives pages back; false on failure, and then last_error() tells why.
[[nodiscard]] bool page_free(void* block) noexcept;

/// Returns unused heap memory to the system; false on failure, and then last_error() tells why.
[[nodiscard]] bool heap_compact() noexcept;

/// Code of the calling thread's last system error, and its text (always terminated, without line end).
[[nodiscard]] int last_error() noexcept;
void error_text(int code, char* text, std::size_t text_bytes) noexcept;

/// Monotonic wall clock, milliseconds from an arbitrary start.
[[nodiscard]] double clock_ms() noexcept;

/// Resident size of the process now, bytes; 0 when the system does not tell.
[[nodiscard]] std::uint64_t resident_bytes() noexcept;

/// Threads of the process; 0 when the system does not tell.
[[nodiscard]] int thread_count() noexcept;

/// Sleeps while `number` is `seen` and until wake() takes this sleeper; may wake earlier.
void sleep_while(const std::atomic<std::uint32_t>& number, std::uint32_t seen) noexcept;
/// Wakes up to `n` threads that sleep over the number.
void wake(const std::atomic<std::uint32_t>& number, std::int32_t n) noexcept;

/// Spares the processor for an instant, in a loop that watches a number.
inline void relax() noexcept {
#if defined(__x86_64__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

} // namespace vyr::platform
