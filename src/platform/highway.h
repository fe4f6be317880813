// The crossing to Highway: vector loops that are written once and built for every instruction set.
//
//     #define HWY_TARGET_INCLUDE "numeric/vector_loops.cpp" // this file, which is compiled once for each set
//     #include "platform/highway.h"
//
//     HWY_BEFORE_NAMESPACE();
//     namespace vyr {
//     namespace {
//     namespace HWY_NAMESPACE {
//     constexpr VectorLoops LOOPS{...};
//     } // and the others
//     HWY_AFTER_NAMESPACE();
//
//     #if HWY_ONCE
//     VYR_CHOOSE(set, LOOPS)
//     #endif
//
// Highway's own choice of a set is left aside: it is one for the whole process, and here a context has one.
// No guard: the lower half must be read again for every set.
#ifndef VYR_PLATFORM_HIGHWAY_H
#define VYR_PLATFORM_HIGHWAY_H

#include "platform/instruction_set.h"

#include <type_traits>

// The sets must be the same in every file. Left out: those that gain nothing for doubles over the one before,
// and those of ARM whose vectors cannot stand in arrays.
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
#define HWY_IS_DEBUG_BUILD 0 // its checks call a library that is not linked

// Unrolls the loop that follows, over registers, whose number is known to the compiler.
#ifdef __clang__
#define VYR_UNROLL _Pragma("unroll")
#else
#define VYR_UNROLL _Pragma("GCC unroll 8")
#endif

/// The object of this name that was built for the set, or for the widest below it.
#define VYR_CHOOSE(set, object)                                                                              \
    vyr::choose(set, HWY_CHOOSE_FALLBACK(object), HWY_CHOOSE_SSE4(object), HWY_CHOOSE_AVX2(object),          \
                HWY_CHOOSE_AVX3(object))

namespace vyr {

template <typename Loops>
const Loops& choose(InstructionSet set, const Loops* baseline, std::type_identity_t<const Loops*> sse4,
                    std::type_identity_t<const Loops*> avx2,
                    std::type_identity_t<const Loops*> avx512) noexcept {
    if (set >= InstructionSet::AVX512 && avx512 != nullptr) return *avx512;
    if (set >= InstructionSet::AVX2 && avx2 != nullptr) return *avx2;
    return set >= InstructionSet::SSE4 && sse4 != nullptr ? *sse4 : *baseline;
}

} // namespace vyr

#endif // VYR_PLATFORM_HIGHWAY_H

#include <hwy/foreach_target.h>
// Once the line above has read the file again for every other set:
#include <hwy/highway.h>
