#include "tools/vyr/process_facts.h"

#include <chrono>

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

bool is_terminal(std::FILE* file) {
    return _isatty(_fileno(file)) != 0;
}

#else

std::uint64_t peak_resident_bytes() {
    rusage usage{};
    return getrusage(RUSAGE_SELF, &usage) != 0 ? 0 : static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

bool is_terminal(std::FILE* file) {
    return isatty(fileno(file)) != 0;
}

#endif

} // namespace vyr::tool
