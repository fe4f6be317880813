#include "platform/platform.h"

#include <cstdlib>
#include <cstring>

#include <malloc.h>
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <psapi.h> // needs the types of windows.h

namespace vyr::platform {

bool memory_status(MemoryStatus& status) noexcept {
    MEMORYSTATUSEX memory{};
    memory.dwLength = sizeof memory;
    if (GlobalMemoryStatusEx(&memory) == 0) return false;
    status.available_physical = memory.ullAvailPhys;
    status.available_page_file = memory.ullAvailPageFile;
    status.available_virtual = memory.ullAvailVirtual;
    return true;
}

void system_info(SystemInfo& info) noexcept {
    info = SystemInfo{};
    SYSTEM_INFO system{};
    GetSystemInfo(&system);
    info.architecture = system.wProcessorArchitecture;
    info.page_size = system.dwPageSize;
    info.n_processors = system.dwNumberOfProcessors;
    info.processor_type = system.dwProcessorType;
    info.allocation_granularity = system.dwAllocationGranularity;
    info.processor_level = system.wProcessorLevel;
    info.processor_revision = system.wProcessorRevision;
    const DWORD length = GetCurrentDirectoryA(sizeof info.current_directory, info.current_directory);
    if (length == 0 || length >= sizeof info.current_directory) info.current_directory[0] = '\0';
    OSVERSIONINFOA version{};
    version.dwOSVersionInfoSize = sizeof version; // 148 bytes
    static_assert(sizeof version == 148);
    if (GetVersionExA(&version) != 0) info.os_major = version.dwMajorVersion;
}

std::size_t page_size() noexcept {
    SYSTEM_INFO system{};
    GetSystemInfo(&system);
    return system.dwPageSize;
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
    return block == nullptr ? 0 : _msize(block);
}

void* page_alloc(std::size_t bytes) noexcept {
    return VirtualAlloc(nullptr, bytes, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
}

bool page_free(void* block) noexcept {
    // A whole reservation is decommitted by size 0 at its base address, then released.
    const BOOL decommitted = VirtualFree(block, 0, MEM_DECOMMIT);
    const BOOL released = VirtualFree(block, 0, MEM_RELEASE);
    return decommitted != 0 && released != 0;
}

bool heap_compact() noexcept {
    const HANDLE heap = GetProcessHeap();
    return heap != nullptr && HeapCompact(heap, 0) != 0;
}

int last_error() noexcept {
    return static_cast<int>(GetLastError());
}

void error_text(int code, char* text, std::size_t text_bytes) noexcept {
    if (text_bytes == 0) return;
    text[0] = '\0';
    char* message = nullptr;
    const DWORD length = FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
        static_cast<DWORD>(code), 0, reinterpret_cast<char*>(&message), 0, nullptr);
    if (length == 0 || message == nullptr) return;
    std::strncpy(text, message, text_bytes - 1);
    text[text_bytes - 1] = '\0';
    LocalFree(message);
    for (std::size_t i = std::strlen(text); i > 0 && (text[i - 1] == '\n' || text[i - 1] == '\r'); --i)
        text[i - 1] = '\0';
}

double clock_ms() noexcept {
    LARGE_INTEGER frequency, now;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&now);
    return static_cast<double>(now.QuadPart) * 1e3 / static_cast<double>(frequency.QuadPart);
}

std::uint64_t resident_bytes() noexcept {
    PROCESS_MEMORY_COUNTERS counters{};
    if (K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) == 0) return 0;
    return counters.WorkingSetSize;
}

void sleep_while(const std::atomic<std::uint32_t>& number, std::uint32_t seen) noexcept {
    WaitOnAddress(const_cast<std::atomic<std::uint32_t>*>(&number), &seen, sizeof seen, INFINITE);
}

void wake(const std::atomic<std::uint32_t>& number, std::int32_t n) noexcept {
    for (std::int32_t i = 0; i < n; ++i)
        WakeByAddressSingle(const_cast<std::atomic<std::uint32_t>*>(&number));
}

} // namespace vyr::platform
