// The parallel factorization of a positive definite matrix.
#pragma once

#include "interface/status.h"
#include "symbolic/solver.h"

namespace vyr {

/// Factorises: subtree tasks on an OpenMP team, handed out one at a time, then the top task. Operations go to
/// INFO_FLOPS, assembly time to INFO_T_ASSEMBLY, a failed column to INFO_FAILED_COLUMN.
///
/// Returns 0 or the status of the last failing task in task order, whatever thread it ran on. The input
/// entries must be in the blocks.
[[nodiscard]] Status mf_parallel_factor(mf_solver& solver) noexcept;

} // namespace vyr
