#include "tools/vyr/environment.h"

#include <cstdlib>
#include <cstring>

#ifdef __linux__
#include <dlfcn.h>
#include <sys/auxv.h>
#include <unistd.h>
#endif

namespace vyr::tool {

std::string better_kernels(const std::string& blas_kernels) {
    if (blas_kernels != FALLBACK_KERNELS) return blas_kernels;
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl"))
        return AVX512_KERNELS;
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) return AVX2_KERNELS;
#endif
    return blas_kernels;
}

std::vector<std::pair<const char*, std::string>> missing_settings(const std::string& blas_kernels,
                                                                  const char* (*lookup)(const char* name)) {
    std::vector<std::pair<const char*, std::string>> settings;
    // Either of the two is the user's word on waiting, and a spin count would override the policy.
    if (lookup("OMP_WAIT_POLICY") == nullptr && lookup("GOMP_SPINCOUNT") == nullptr)
        settings.emplace_back("GOMP_SPINCOUNT", SPIN_COUNT);
    const std::string kernels = better_kernels(blas_kernels);
    if (lookup("OPENBLAS_CORETYPE") == nullptr && kernels != blas_kernels)
        settings.emplace_back("OPENBLAS_CORETYPE", kernels);
    return settings;
}

#ifdef __linux__

/// The kernels that OpenBLAS chose in this process; empty when another BLAS was loaded.
std::string chosen_kernels() {
    void* const found = dlsym(RTLD_DEFAULT, "openblas_get_corename");
    char* (*corename)(void) = nullptr;
    std::memcpy(&corename, &found, sizeof found);
    return corename != nullptr ? corename() : "";
}

void restart_with_settings(char** argv) {
    constexpr const char* DONE = "VYR_TOOL_ENVIRONMENT";
    if (std::getenv(DONE) != nullptr) return;
    // Started by hand through the dynamic loader, /proc/self/exe is the loader and not this program.
    if (getauxval(AT_BASE) == 0) return;
    const auto settings =
        missing_settings(chosen_kernels(), [](const char* name) -> const char* { return std::getenv(name); });
    if (settings.empty() || setenv(DONE, "1", 1) != 0) return;
    for (const auto& [name, value] : settings)
        if (setenv(name, value.c_str(), 0) != 0) return;
    execv("/proc/self/exe", argv);
}

#else

void restart_with_settings(char** /*argv*/) {}

#endif

} // namespace vyr::tool
