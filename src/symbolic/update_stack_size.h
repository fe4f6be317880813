// How large the stack of update matrices grows in a postorder traversal.
#pragma once

#include "symbolic/solver.h"

namespace vyr {

/// Sets solver.stack_depth (update matrices) and solver.update_stack_peak (doubles, packed triangles) by
/// replaying the pushes and pops of a factorization. False without memory.
[[nodiscard]] bool mf_update_stack(mf_solver& solver) noexcept;

} // namespace vyr
