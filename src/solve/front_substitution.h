// Substitution with one front of a factorization with delayed pivots, by vector loops built once per
// instruction set.
#pragma once

#include "platform/instruction_set.h"
#include "solve/node_steps.h"

#include <cstdint>

namespace vyr {

/// The unit lower trapezoid L of a front, or a part of it, n_rows x n_pivots, leading dimension ld. What is
/// not below the diagonal is not read.
struct UnitTrapezoid {
    std::int32_t n_rows, n_pivots;
    const double* l;
    std::int64_t ld;

    /// Rows [top, bottom) of the pivots [left, right).
    UnitTrapezoid part(std::int32_t top, std::int32_t left, std::int32_t bottom,
                       std::int32_t right) const noexcept {
        return {bottom - top, right - left, l + top + left * ld, ld};
    }
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
    /// t -= L x, and x -= L^T t, with a part that has no diagonal.
    void (*reduce_one)(const UnitTrapezoid& part, const double* x, double* t) noexcept;
    void (*reduce)(const UnitTrapezoid& part, const double* x, double* t, std::int64_t stride) noexcept;
    void (*collect_one)(const UnitTrapezoid& part, double* x, const double* t) noexcept;
    void (*collect)(const UnitTrapezoid& part, double* x, const double* t, std::int64_t stride) noexcept;
};

/// The loops of an instruction set, which the processor must have.
[[nodiscard]] const FrontSubstitution& mf_front_substitution(InstructionSet instructions) noexcept;

/// FrontSubstitution's forward and backward for any stride, 1 included. With a crew, which may be null, a
/// large front is cut into panels of pivots and strips of rows or columns that its threads take; the cut
/// depends on the front and the stride alone.
void mf_front_forward(const FrontSubstitution& loops, const UnitTrapezoid& front, double* t,
                      std::int64_t stride, Crew* crew) noexcept;
void mf_front_backward(const FrontSubstitution& loops, const UnitTrapezoid& front, double* t,
                       std::int64_t stride, Crew* crew) noexcept;

} // namespace vyr
