// The schedule of the parallel factorization: independent subtrees, and one task of everything above them.
#pragma once

#include "interface/status.h"
#include "symbolic/solver.h"

namespace vyr {

/// Cuts the assembly tree into subtree tasks for the OpenMP threads available now, lists each task's nodes,
/// sets NODE_SHARED and the partition count, and sizes the work blocks. Prints the figures when messages are
/// on.
///
/// Returns 0 or -10 without memory. Cost: linear in the supernodes and their ancestor segments.
[[nodiscard]] Status mf_task_partition(mf_solver& solver) noexcept;

/// Makes the tasks' work blocks large enough for the update variant (`blocked`: one piece an ancestor,
/// otherwise the whole update). Keeps blocks that suffice. Returns 0 or -10 without memory.
[[nodiscard]] Status mf_task_work_blocks(mf_solver& solver, bool blocked) noexcept;

} // namespace vyr
