// How the update of each supernode falls into its ancestors.
#pragma once

#include "symbolic/solver.h"

namespace vyr {

/// Completes the supernodes once the row lists exist: relative indices and their flags (NODE_PARENT_RUN to
/// NODE_NONE_IN_PARENT), ancestor segments, largest front, memory estimate (CTRL_MEMORY_ESTIMATE) and
/// INFO_MAX_WIDTH. False without memory. Cost: one step per row index and ancestor segment.
[[nodiscard]] bool mf_snode_finish(mf_solver& solver) noexcept;

} // namespace vyr
