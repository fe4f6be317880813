#include "tools/vyr/process_facts.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <string>

#ifdef _WIN32
#include <io.h>
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <psapi.h> // needs the types of windows.h
#else
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace vyr::tool {

double seconds_now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

#ifdef _WIN32

std::uint64_t peak_resident_bytes() {
    PROCESS_MEMORY_COUNTERS counters{};
    if (K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) == 0) return 0;
    return counters.PeakWorkingSetSize;
}

std::uint64_t available_bytes() {
    MEMORYSTATUSEX memory{};
    memory.dwLength = sizeof memory;
    if (GlobalMemoryStatusEx(&memory) == 0) return UINT64_MAX;
    return std::min<std::uint64_t>(memory.ullAvailPhys, memory.ullAvailVirtual);
}

bool is_terminal(std::FILE* file) {
    return _isatty(_fileno(file)) != 0;
}

#else

std::uint64_t peak_resident_bytes() {
    rusage usage{};
    return getrusage(RUSAGE_SELF, &usage) != 0 ? 0 : static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

std::uint64_t available_bytes() {
    std::uint64_t available = UINT64_MAX;
    std::ifstream table("/proc/meminfo");
    std::string name;
    for (std::uint64_t kilobytes = 0; table >> name >> kilobytes; table.ignore(100, '\n'))
        if (name == "MemAvailable:") available = kilobytes * 1024;
    std::uint64_t group_limit = 0, group_used = 0;
    if (std::ifstream("/sys/fs/cgroup/memory.max") >> group_limit && // no number when there is no limit
        std::ifstream("/sys/fs/cgroup/memory.current") >> group_used)
        available = std::min(available, group_limit - std::min(group_limit, group_used));
    rlimit address_space{};
    if (getrlimit(RLIMIT_AS, &address_space) == 0)
        available = std::min<std::uint64_t>(available, address_space.rlim_cur);
    return available;
}

bool is_terminal(std::FILE* file) {
    return isatty(fileno(file)) != 0;
}

#endif

} // namespace vyr::tool
