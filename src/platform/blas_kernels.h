// Which kernels OpenBLAS should run on where it does not know the processor.
#pragma once

#include <cstring>

namespace vyr::blas {

/// What OpenBLAS takes on an x86 processor it does not know, however new: its oldest and slowest kernels.
inline constexpr const char* FALLBACK_KERNELS = "Prescott";

/// The kernels for the widest vectors of this processor when OpenBLAS runs on its fallback; null when those
/// that it runs on, `taken`, serve as well as any.
inline const char* better_kernels([[maybe_unused]] const char* taken) noexcept {
#ifdef __x86_64__
    if (std::strcmp(taken, FALLBACK_KERNELS) != 0) return nullptr;
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl"))
        return "SkylakeX";
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) return "Haswell";
#endif
    return nullptr;
}

} // namespace vyr::blas
