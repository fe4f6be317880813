#include "tools/vyr/environment.h"

#include <cstdlib>

#ifdef __linux__
#include <sys/auxv.h>
#include <unistd.h>
#endif

namespace vyr::tool {

std::vector<std::pair<const char*, std::string>> missing_settings(const char* (*lookup)(const char* name)) {
    std::vector<std::pair<const char*, std::string>> settings;
    // Either of the two is the user's word on waiting, and a spin count would override the policy.
    if (lookup("OMP_WAIT_POLICY") == nullptr && lookup("GOMP_SPINCOUNT") == nullptr)
        settings.emplace_back("GOMP_SPINCOUNT", SPIN_COUNT);
    return settings;
}

#ifdef __linux__

void restart_with_settings(char** argv) {
    constexpr const char* DONE = "VYR_TOOL_ENVIRONMENT";
    if (std::getenv(DONE) != nullptr) return;
    // Started by hand through the dynamic loader, /proc/self/exe is the loader and not this program.
    if (getauxval(AT_BASE) == 0) return;
    const auto settings = missing_settings([](const char* name) -> const char* { return std::getenv(name); });
    if (settings.empty() || setenv(DONE, "1", 1) != 0) return;
    for (const auto& [name, value] : settings)
        if (setenv(name, value.c_str(), 0) != 0) return;
    execv("/proc/self/exe", argv);
}

#else

void restart_with_settings(char** /*argv*/) {}

#endif

} // namespace vyr::tool
