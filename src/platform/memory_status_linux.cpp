#include "platform/platform.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <sys/resource.h>

namespace vyr::platform {

namespace {

constexpr std::uint64_t NO_LIMIT = UINT64_MAX;

/// Reads a small file of the kernel into `text`, terminated; false when there is none.
bool read_text(const char* path, char* text, std::size_t text_bytes) noexcept {
    std::FILE* file = std::fopen(path, "r");
    if (file == nullptr) return false;
    const std::size_t n_read = std::fread(text, 1, text_bytes - 1, file);
    text[n_read] = '\0';
    std::fclose(file);
    return n_read > 0;
}

/// The number behind "Name:" in a kernel table, in kB, as bytes; 0 when it is not there.
std::uint64_t table_bytes(const char* table, const char* name) noexcept {
    const char* line = std::strstr(table, name);
    return line == nullptr ? 0 : std::strtoull(line + std::strlen(name), nullptr, 10) * 1024;
}

/// One number from a control group file; NO_LIMIT for "max", an absent file or no number.
std::uint64_t group_bytes(const char* directory, const char* name) noexcept {
    char path[1200];
    char text[64];
    std::snprintf(path, sizeof path, "%s/%s", directory, name);
    if (!read_text(path, text, sizeof text)) return NO_LIMIT;
    char* end = nullptr;
    const unsigned long long value = std::strtoull(text, &end, 10);
    return end == text ? NO_LIMIT : value;
}

/// What is left of one control group's limit.
std::uint64_t group_remaining(const char* directory, const char* limit_name,
                              const char* usage_name) noexcept {
    const std::uint64_t limit = group_bytes(directory, limit_name);
    const std::uint64_t usage = group_bytes(directory, usage_name);
    if (limit == NO_LIMIT || usage == NO_LIMIT) return NO_LIMIT;
    return limit > usage ? limit - usage : 0;
}

/// Least remainder over the group `path` below `mount` and all groups above it.
std::uint64_t hierarchy_remaining(const char* mount, const char* path, const char* limit_name,
                                  const char* usage_name) noexcept {
    char directory[1024];
    std::snprintf(directory, sizeof directory, "%s%s", mount, path);
    std::uint64_t least = NO_LIMIT;
    const std::size_t mount_length = std::strlen(mount);
    for (;;) {
        least = std::min(least, group_remaining(directory, limit_name, usage_name));
        char* slash = std::strrchr(directory, '/');
        if (slash == nullptr || static_cast<std::size_t>(slash - directory) < mount_length) return least;
        *slash = '\0';
    }
}

/// What the control groups of the process still allow, version 2 ("0::path") or 1 ("n:memory:path").
std::uint64_t control_group_remaining() noexcept {
    char groups[4096];
    if (!read_text("/proc/self/cgroup", groups, sizeof groups)) return NO_LIMIT;
    std::uint64_t least = NO_LIMIT;
    for (char* line = groups; line != nullptr && *line != '\0';) {
        char* next = std::strchr(line, '\n');
        if (next != nullptr) *next++ = '\0';
        if (std::strncmp(line, "0::", 3) == 0) {
            least = std::min(least,
                             hierarchy_remaining("/sys/fs/cgroup", line + 3, "memory.max", "memory.current"));
        } else if (const char* memory = std::strstr(line, ":memory:")) {
            least = std::min(least, hierarchy_remaining("/sys/fs/cgroup/memory", memory + 8,
                                                        "memory.limit_in_bytes", "memory.usage_in_bytes"));
        }
        line = next;
    }
    return least;
}

/// Address space still free: the process limit or the 47-bit user space, less what is mapped.
std::uint64_t available_address_space() noexcept {
    std::uint64_t limit = std::uint64_t{1} << 47;
    rlimit address_space{};
    if (getrlimit(RLIMIT_AS, &address_space) == 0 && address_space.rlim_cur != RLIM_INFINITY)
        limit = std::min<std::uint64_t>(limit, address_space.rlim_cur);
    char status[4096];
    const std::uint64_t used =
        read_text("/proc/self/status", status, sizeof status) ? table_bytes(status, "VmSize:") : 0;
    return limit > used ? limit - used : 0;
}

} // namespace

std::uint64_t resident_bytes() noexcept {
    char status[4096];
    return read_text("/proc/self/status", status, sizeof status) ? table_bytes(status, "VmRSS:") : 0;
}

int thread_count() noexcept {
    char status[4096];
    if (!read_text("/proc/self/status", status, sizeof status)) return 0;
    const char* line = std::strstr(status, "\nThreads:");
    return line == nullptr ? 0 : std::atoi(line + 9);
}

bool memory_status(MemoryStatus& status) noexcept {
    char table[8192];
    if (!read_text("/proc/meminfo", table, sizeof table)) return false;
    const std::uint64_t available = table_bytes(table, "MemAvailable:");
    if (available == 0) return false;
    status.available_physical = std::min(available, control_group_remaining());
    status.available_page_file = status.available_physical + table_bytes(table, "SwapFree:");
    status.available_virtual = available_address_space();
    return true;
}

} // namespace vyr::platform
