// Substitution with an L D L^T factor that is not, or not all, in memory.
#pragma once

#include "interface/status.h"
#include "symbolic/solver.h"

namespace vyr {

/// Solves A x = b for one vector of n doubles in place, caller's numbering, reading each factor file twice.
/// Nodes without a block, and those of files that cannot be read, are passed over without a message; without
/// a pivot record x stays as it is.
///
/// Keeps its work vector of n doubles in solver.solve_work. Returns 0, or -29 without memory and x unchanged.
[[nodiscard]] Status mf_solve_ldlt_ooc(mf_solver& solver, double* x) noexcept;

} // namespace vyr
