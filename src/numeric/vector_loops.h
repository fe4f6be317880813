// Vector loops for small dense blocks, built once per instruction set and chosen at run time.
//
// They serve blocks for which the call overhead and packing of BLAS cost more than the arithmetic.
#pragma once

#include "platform/instruction_set.h"

#include <cstdint>

namespace vyr {

/// One build of the loops. All matrices are column-major.
struct VectorLoops {
    /// Upper Cholesky factor of the n x n block `a` (n at most tuning::BASE_PIVOTS), in place, upper
    /// triangle. Returns 0, or k > 0 when pivot k (1-based) is not positive or not a number; it is left in
    /// place and the rest is unfinished.
    std::int32_t (*cholesky)(std::int32_t n, double* a, std::int32_t ld) noexcept;

    /// Solves U^T X = C for m columns in place; U is n x n upper, n at most tuning::BASE_PIVOTS.
    void (*solve)(std::int32_t n, const double* u, std::int32_t ld, std::int32_t m, double* c,
                  std::int32_t ldc) noexcept;
};

/// The loops of an instruction set, which the processor must have.
[[nodiscard]] const VectorLoops& mf_vector_loops(InstructionSet instructions) noexcept;

} // namespace vyr
