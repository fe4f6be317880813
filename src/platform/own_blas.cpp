#include "platform/blas_build.h"
#include "platform/process.h"

#include <cstring>

extern "C" {
char* openblas_get_corename(void);
void gotoblas_dynamic_init(void);
void gotoblas_dynamic_quit(void);
}

namespace vyr::blas {

namespace {

/// What OpenBLAS takes on an x86 processor it does not know, however new: its oldest and slowest kernels.
constexpr const char* FALLBACK = "Prescott";

/// The kernels for the widest vectors of this processor; null when the fallback serves it as well as any.
const char* widest_kernels() noexcept {
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl"))
        return "SkylakeX";
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) return "Haswell";
#endif
    return nullptr;
}

} // namespace

Findings examine() noexcept {
    const char* const widest = widest_kernels();
    if (widest != nullptr && std::strcmp(openblas_get_corename(), FALLBACK) == 0) restart_kernels(widest);
    return Findings();
}

const char* kernels_text() noexcept {
    (void)findings();
    return openblas_get_corename();
}

void restart_kernels(const char* name) noexcept {
    platform::want_kernels(name);
    gotoblas_dynamic_quit();
    gotoblas_dynamic_init();
    platform::want_kernels(nullptr);
}

} // namespace vyr::blas

#ifndef _WIN32

extern "C" {

char* __real_getenv(const char* name);

/// OpenBLAS reads the environment here (the linker's --wrap). What the user has set goes before our wishes.
char* __wrap_getenv(const char* name) {
    char* const value = __real_getenv(name);
    if (value != nullptr || std::strcmp(name, "OPENBLAS_CORETYPE") != 0) return value;
    return const_cast<char*>(vyr::platform::wanted_kernels());
}

/// Called when OpenBLAS is loaded. It would map 128 MiB for every processor, and try for ever where the
/// address space has a limit; its own threads, which alone need that, get it when they first start.
int __wrap_blas_thread_init(void) {
    return 0;
}
}

#endif
