// Vector loops of the elimination with delayed pivots, built once per instruction set and chosen at run time.
//
// They serve blocks that are too narrow for a matrix product of the BLAS to pay.
#pragma once

#include "platform/instruction_set.h"

#include <cstdint>

namespace vyr {

/// One build of the loops. All matrices are column-major.
struct FrontLoops {
    /// Largest magnitude of n numbers; 0 for none. Numbers that are not any are passed over.
    double (*max_abs)(std::int32_t n, const double* x) noexcept;

    /// A := A - L W^T for columns 0 .. n_columns-1 of A, rows from the diagonal to n_rows-1; up to three
    /// entries above the diagonal may be overwritten. L: n_rows x depth, W: n_columns x depth.
    void (*reduce)(std::int32_t n_rows, std::int32_t n_columns, std::int32_t depth, const double* l,
                   std::int64_t ldl, const double* w, std::int64_t ldw, double* a, std::int64_t lda) noexcept;

    /// l[i] := w[i] / d.
    void (*divide)(std::int32_t n, const double* w, double d, double* l) noexcept;
};

/// The loops of an instruction set, which the processor must have.
[[nodiscard]] const FrontLoops& mf_front_loops(InstructionSet instructions) noexcept;

} // namespace vyr
