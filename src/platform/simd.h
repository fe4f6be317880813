// Eight-lane vectors of doubles, and functions built once per instruction set.
//
// A loop is written once as an always-inlined body; thin functions with a VYR_TARGET_ attribute wrap it for
// every set, and the caller picks one at run time by choose().
#pragma once

#include "platform/instruction_set.h"

#include <cstdint>

#define VYR_INLINE [[gnu::always_inline]] static inline
#define VYR_TARGET_AVX512 [[gnu::target("avx512f,avx512dq,avx512vl,fma")]]
#define VYR_TARGET_AVX2 [[gnu::target("avx2,fma")]]

namespace vyr::simd {

inline constexpr std::int32_t LANES = 8;

using vyr::instruction_set;
using vyr::InstructionSet;

using Vec = double __attribute__((vector_size(LANES * sizeof(double))));

/// Eight doubles anywhere in an array of doubles: compilers move them without asking for alignment.
struct __attribute__((packed, may_alias, aligned(alignof(double)))) Eight {
    Vec v;
};

VYR_INLINE Eight& at(double* p) noexcept {
    return *reinterpret_cast<Eight*>(p);
}
VYR_INLINE const Eight& at(const double* p) noexcept {
    return *reinterpret_cast<const Eight*>(p);
}

/// The functions for `set`.
template <typename Loops>
const Loops& choose(InstructionSet set, const Loops& baseline, const Loops& avx2,
                    const Loops& avx512) noexcept {
    switch (set) {
    case InstructionSet::AVX512:
        return avx512;
    case InstructionSet::AVX2:
        return avx2;
    default:
        return baseline;
    }
}

} // namespace vyr::simd
