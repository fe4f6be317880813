// The input values on their way into the factor blocks.
#pragma once

#include "symbolic/solver.h"

namespace vyr {

/// Zeroes the factor values and stores every input entry at its position; of entries that share a position
/// the last one wins. Sets NODE_ASSEMBLED on every node.
///
/// values   n_input doubles, in the order of the analysed pattern
///
/// For L L^T it runs on the threads of the schedule, so that fresh pages arrive in parallel; otherwise on the
/// calling thread.
void mf_assemble_input(mf_solver& solver, const double* values) noexcept;

} // namespace vyr
