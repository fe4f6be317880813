// Renumbering of the elimination forest to a postorder.
#pragma once

#include "symbolic/solver.h"

namespace vyr {

/// Renumbers the solver's parent, child_count and perm to a postorder of the elimination forest; child_count
/// is computed here. Children are visited in increasing, roots in decreasing order. False without memory.
[[nodiscard]] bool mf_postorder(mf_solver& solver) noexcept;

} // namespace vyr
