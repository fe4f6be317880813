#include "platform/platform.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <linux/futex.h>
#include <malloc.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace vyr::platform {

namespace {

/// Room in front of a page block that remembers the length of its mapping; keeps cache-line alignment.
constexpr std::size_t PAGE_BLOCK_HEADER = 64;

} // namespace

std::size_t page_size() noexcept {
    const long bytes = sysconf(_SC_PAGESIZE);
    return bytes > 0 ? static_cast<std::size_t>(bytes) : 4096;
}

void system_info(SystemInfo& info) noexcept {
    info = SystemInfo{};
    info.architecture = 9; // x86-64, in the numbering that hosts of both systems know
    info.page_size = static_cast<std::uint32_t>(page_size());
    info.allocation_granularity = info.page_size;
    const long processors = sysconf(_SC_NPROCESSORS_ONLN);
    info.n_processors = processors > 0 ? static_cast<std::uint32_t>(processors) : 1;
    if (getcwd(info.current_directory, sizeof info.current_directory) == nullptr)
        info.current_directory[0] = '\0';
    utsname name{};
    const bool named = uname(&name) == 0;
    const unsigned long major = named ? std::strtoul(name.release, nullptr, 10) : 0;
    // A kernel older than this cannot run the library; an unreadable release must not refuse one that can.
    info.os_major = major < 4 ? 4 : static_cast<std::uint32_t>(major);
}

void* heap_alloc(std::size_t bytes) noexcept {
    return std::malloc(bytes);
}

void* heap_calloc(std::size_t bytes) noexcept {
    return std::calloc(1, bytes);
}

void heap_free(void* block) noexcept {
    std::free(block);
}

std::size_t heap_usable_size(void* block) noexcept {
    return malloc_usable_size(block);
}

void* page_alloc(std::size_t bytes) noexcept {
    const std::size_t page = page_size();
    if (bytes > SIZE_MAX - PAGE_BLOCK_HEADER - page) return nullptr;
    const std::size_t length = (bytes + PAGE_BLOCK_HEADER + page - 1) / page * page;
    void* base = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED) return nullptr;
    std::memcpy(base, &length, sizeof length);
    return static_cast<char*>(base) + PAGE_BLOCK_HEADER;
}

bool page_free(void* block) noexcept {
    char* base = static_cast<char*>(block) - PAGE_BLOCK_HEADER;
    std::size_t length = 0;
    std::memcpy(&length, base, sizeof length);
    return munmap(base, length) == 0;
}

bool heap_compact() noexcept {
    malloc_trim(0); // answers 0 when there was nothing to give back, which is no failure
    return true;
}

int last_error() noexcept {
    return errno;
}

void error_text(int code, char* text, std::size_t text_bytes) noexcept {
    if (text_bytes == 0) return;
    text[0] = '\0';
    std::strncpy(text, strerror(code), text_bytes - 1);
    text[text_bytes - 1] = '\0';
}

double clock_ms() noexcept {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

void sleep_while(const std::atomic<std::uint32_t>& number, std::uint32_t seen) noexcept {
    syscall(SYS_futex, &number, FUTEX_WAIT_PRIVATE, seen, nullptr);
}

void wake(const std::atomic<std::uint32_t>& number, std::int32_t n) noexcept {
    syscall(SYS_futex, &number, FUTEX_WAKE_PRIVATE, n);
}

} // namespace vyr::platform
