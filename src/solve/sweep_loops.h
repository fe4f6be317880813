// The loops of L L^T substitutions, built once per instruction set: for one right-hand side, and for rows of
// several of them.
#pragma once

#include "platform/instruction_set.h"

#include <cstdint>

namespace vyr {

/// Right-hand sides of a row are padded to a multiple of this.
inline constexpr std::int32_t PANEL_LANES = 8;

/// A part of a factor block, column-major.
struct BlockPart {
    const double* a;
    std::int64_t ld;
    std::int32_t height, width;
};

/// x: rows of `stride` doubles, one behind the other: 1, or a multiple of PANEL_LANES whose padding may hold
/// anything finite. w: the same, found through `rows`, one for each column of the part. T is the upper
/// triangle of a part as wide as high. Every entry is read once for one right-hand side, and once for
/// sixteen.
struct SweepLoops {
    /// x := T^-T x.
    void (*solve_transposed)(const BlockPart& part, double* x, std::int64_t stride) noexcept;
    /// x := T^-1 x.
    void (*solve)(const BlockPart& part, double* x, std::int64_t stride) noexcept;
    /// w := w - A^T x.
    void (*reduce)(const BlockPart& part, const double* x, double* w, const std::int32_t* rows,
                   std::int64_t stride) noexcept;
    /// x := x - A w.
    void (*collect)(const BlockPart& part, double* x, const double* w, const std::int32_t* rows,
                    std::int64_t stride) noexcept;
};

/// The loops of an instruction set, which the processor must have: for one right-hand side (stride 1), and
/// for more.
[[nodiscard]] const SweepLoops& mf_vector_sweep_loops(InstructionSet instructions) noexcept;
[[nodiscard]] const SweepLoops& mf_panel_sweep_loops(InstructionSet instructions) noexcept;

} // namespace vyr
