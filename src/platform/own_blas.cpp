#include "platform/blas_build.h"
#include "platform/blas_kernels.h"
#include "platform/process.h"

#include <cstring>

extern "C" {
char* openblas_get_corename(void);
void gotoblas_dynamic_init(void);
void gotoblas_dynamic_quit(void);
}

namespace vyr::blas {

Findings examine() noexcept {
    if (const char* const better = better_kernels(openblas_get_corename())) restart_kernels(better);
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
