// Substitution with one front of a factorization with delayed pivots, by vector loops built once per
// instruction set.
#pragma once

#include "platform/instruction_set.h"
#include "solve/node_steps.h"

#include <cstdint>

namespace vyr {

/// The unit lower trapezoid L of a front, n_rows x n_pivots, leading dimension n_rows. What is not below the
/// diagonal is not read.
struct UnitTrapezoid {
    std::int32_t n_rows, n_pivots;
    const double* l;
};

/// One build of the loops. t: n_rows values of a right-hand side, or n_rows rows of `stride` of them, a
/// multiple of PANEL_LANES.
struct FrontSubstitution {
    /// The pivots' rows are solved, the other rows reduced by them.
    void (*forward_one)(const UnitTrapezoid& front, double* t) noexcept;
    void (*forward)(const UnitTrapezoid& front, double* t, std::int64_t stride) noexcept;
    /// The pivots' rows are solved with the transpose, the other rows being solved.
    void (*backward_one)(const UnitTrapezoid& front, double* t) noexcept;
    void (*backward)(const UnitTrapezoid& front, double* t, std::int64_t stride) noexcept;
};

/// The loops of an instruction set, which the processor must have.
[[nodiscard]] const FrontSubstitution& mf_front_substitution(InstructionSet instructions) noexcept;

} // namespace vyr
