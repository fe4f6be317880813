// Elimination of the nodes of one task of a positive definite matrix.
#pragma once

#include "interface/status.h"
#include "numeric/update_passing.h"
#include "symbolic/solver.h"

#include <atomic>
#include <cstdint>

namespace vyr {

/// One task: its nodes, the space it works in, and what it leaves behind. Written by the threads that work on
/// the task; read by others only after the parallel region.
struct SpdTask {
    const std::int32_t* nodes = nullptr; ///< ascending
    std::int32_t n_nodes = 0;
    double* work = nullptr;          ///< the task's work block, for updates
    std::int32_t* scratch = nullptr; ///< 2 n integers
    SharedNodes shared;              ///< who is reached by other tasks
    bool blocked = false;            ///< pass updates ancestor by ancestor
    double pivot_min = 0;            ///< a pivot <= this ends the task

    std::int32_t result = 0; ///< 0, the position of a failed Cholesky pivot (> 0), or a status
    Status status = VYR_OK;
    std::int32_t failed_column = -1; ///< 0-based, pivot order; -1 when none
    double flops = 0;
    std::atomic<std::int64_t> assembly_ns{0}; ///< time adding updates, summed over the threads
};

/// Eliminates the task's nodes in order: Cholesky of the pivot block, pivot check, triangular solve of the
/// coupling block, update into the ancestors. Pivots go to diag_values.
///
/// Inside a parallel region idle threads of the team help with large fronts. Leaves its outcome in the task:
/// -35 ends it at once, -30 lets it run on.
void mf_spd_node(mf_solver& solver, SpdTask& task) noexcept;

} // namespace vyr
