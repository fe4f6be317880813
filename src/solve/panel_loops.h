// Substitution steps of one node for a few right-hand sides at once, streaming through its block.
#pragma once

#include "symbolic/solver.h"

namespace vyr {

/// Right-hand sides are padded to a multiple of this in a panel.
inline constexpr std::int32_t PANEL_LANES = 8;

/// The loops of one instruction set. `w` holds `stride` doubles a variable, pivot order, `stride` a multiple
/// of PANEL_LANES; padding lanes may hold anything finite.
struct PanelLoops {
    /// Solves U^T on the node's pivots and reduces its update rows.
    void (*forward)(const mf_snode& node, double* w, std::int64_t stride) noexcept;
    /// Solves U on the node's pivots, its update rows being solved.
    void (*backward)(const mf_snode& node, double* w, std::int64_t stride) noexcept;
};

/// The loops for the processor this runs on.
[[nodiscard]] const PanelLoops& mf_panel_loops() noexcept;

} // namespace vyr
