// Elimination of the nodes of one task of a positive definite matrix.
#pragma once

#include "core/context.h"
#include "core/factor.h"
#include "numeric/update_passing.h"
#include "numeric/vector_loops.h"

#include <atomic>
#include <cstdint>

namespace vyr {

/// One task: its nodes, the space it works in, and what it leaves behind. Written by the threads that work on
/// the task; read by others only after the parallel region.
struct SpdTask {
    Context* context = nullptr;
    const VectorLoops* loops = nullptr;
    const std::int32_t* nodes = nullptr; ///< ascending
    std::int32_t n_nodes = 0;
    double* work = nullptr;          ///< the task's work block, for updates
    std::int32_t* scratch = nullptr; ///< 2 n integers
    SharedNodes shared;              ///< who is reached by other tasks

    Status status = Status::OK;      ///< of the first failure
    std::int32_t failed_column = -1; ///< 0-based, pivot order, where the first failure is a pivot's; or -1
    double flops = 0;
    std::atomic<std::int64_t> assembly_ns{0}; ///< time adding updates, summed over the threads
};

/// Eliminates the task's nodes in order: Cholesky of the pivot block, pivot check, triangular solve of the
/// coupling block, update into the ancestors. Pivots go to diag_values.
///
/// Inside a parallel region idle threads of the team help with large fronts. Leaves its outcome in the task:
/// SMALL_PIVOT ends it at once, NOT_SPD lets it run on.
void mf_spd_node(Factor& factor, SpdTask& task) noexcept;

/// Solves the coupling block of a node whose pivot block is factored and adds the update into the ancestors,
/// in strips of columns. The strips of a large front are tasks that idle threads of the team take. Returns OK
/// or FACTOR_STORAGE.
Status mf_spd_update(Factor& factor, std::int32_t s, SpdTask& task) noexcept;

/// The same, one piece an ancestor: the piece of all remaining rows against the rows that ancestor owns.
Status mf_spd_update_blocked(Factor& factor, std::int32_t s, SpdTask& task) noexcept;

} // namespace vyr
