// The instruction sets that our own loops are built for, and which of them this processor has.
#pragma once

namespace vyr {

/// In ascending order: a processor that has one has those before it. The baseline is what the compiler takes
/// for granted: the first x86-64, or ARMv8 with its vectors.
enum class InstructionSet { BASELINE, SSE4, AVX2, AVX512 };

/// The widest set of this processor.
inline InstructionSet instruction_set() noexcept {
#ifdef __x86_64__
    if (!__builtin_cpu_supports("sse4.2")) return InstructionSet::BASELINE;
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma") || !__builtin_cpu_supports("bmi2"))
        return InstructionSet::SSE4;
    const bool avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512cd") &&
                        __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw") &&
                        __builtin_cpu_supports("avx512vl");
    return avx512 ? InstructionSet::AVX512 : InstructionSet::AVX2;
#else
    return InstructionSet::BASELINE;
#endif
}

/// Its name, for people.
constexpr const char* instructions_text(InstructionSet set) noexcept {
    switch (set) {
    case InstructionSet::AVX512:
        return "AVX-512";
    case InstructionSet::AVX2:
        return "AVX2";
    case InstructionSet::SSE4:
        return "SSE4";
    default:
        return "baseline";
    }
}

} // namespace vyr
