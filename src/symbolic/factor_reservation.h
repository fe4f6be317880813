// Reservation of the factor storage at the end of the analysis.
#pragma once

#include "interface/status.h"
#include "symbolic/solver.h"

namespace vyr {

/// Asks the memory plan whether the factor can be held and allocates the diagonal, without pivots yet, and,
/// by core mode and type, the factor values, the front work and the update stack.
///
/// Returns 0, or -10 when the plan declines or memory is missing. Factor values are not touched yet.
[[nodiscard]] Status mf_alloc_L(mf_solver& solver) noexcept;

/// Allocates lu_values, untouched, and points every node's block into it. False without memory, after a
/// message.
[[nodiscard]] bool mf_reserve_factor_values(mf_solver& solver) noexcept;

} // namespace vyr
