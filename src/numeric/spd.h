// Elimination of the nodes of one task of a positive definite matrix.
#pragma once

#include "core/context.h"
#include "core/factor.h"
#include "core/lock.h"
#include "numeric/product_kernel.h"
#include "numeric/vector_loops.h"

#include <atomic>
#include <cstdint>

namespace vyr {

/// One task: its nodes, the space it works in, and what it leaves behind. Written by the threads that work on
/// the task; read by others only after the parallel region.
///
/// Ancestors from `limit` on are reached by other tasks, too. What a subtree owes them it collects in `owed`:
/// the update matrix of its root, as if the root alone had an update.
struct SpdTask {
    explicit SpdTask(Context& c) noexcept
        : context(&c),
          loops(&mf_vector_loops(c.settings.instructions)),
          kernel(&mf_product_kernel(c.settings.instructions)) {}

    Context* context;
    const VectorLoops* loops;
    const ProductKernel* kernel;
    const std::int32_t* nodes = nullptr; ///< ascending; null: first_node and those that follow
    std::int32_t first_node = 0;
    std::int32_t n_nodes = 0;
    bool alone = false;              ///< no thread helps
    std::int32_t limit = INT32_MAX;  ///< the root's number + 1; of one that shares nothing: INT32_MAX
    double* owed = nullptr;          ///< nupd x nupd of the root, upper triangle; of the thread
    double* packed = nullptr;        ///< mf_packed_entries doubles, of the thread: left operands of products
    double* work = nullptr;          ///< the task's work block: pieces of the blocked variant
    std::int32_t* scratch = nullptr; ///< 2 largest_update integers
    Lock* lock = nullptr;            ///< of ancestors from `limit` on

    Status status = Status::OK;      ///< of the first failure
    std::int32_t failed_column = -1; ///< 0-based, pivot order, where the first failure is a pivot's; or -1
    double flops = 0;
    std::atomic<std::int64_t> assembly_ns{
        0}; ///< time adding updates apart from products, summed over threads
};

/// Eliminates the task's nodes in order: Cholesky of the pivot block, pivot check, triangular solve of the
/// coupling block, update into the ancestors. Pivots go to diag_values.
///
/// Inside a parallel region idle threads of the team help with large fronts. Leaves its outcome in the task:
/// SMALL_PIVOT ends it at once, NOT_SPD lets it run on.
void mf_spd_node(Factor& factor, SpdTask& task) noexcept;

/// Doubles of SpdTask::packed that mf_spd_update needs for a node with a kernel of so many lanes.
std::int64_t mf_packed_entries(const mf_snode& node, std::int32_t lanes) noexcept;

/// Solves the coupling block of a node whose pivot block is factored and subtracts the products from the
/// ancestors, in strips of columns. The strips of a large front are tasks that idle threads of the team take.
/// Returns OK or FACTOR_STORAGE.
Status mf_spd_update(Factor& factor, std::int32_t s, SpdTask& task) noexcept;

/// The same, one piece an ancestor: the piece of all remaining rows against the rows that ancestor owns.
Status mf_spd_update_blocked(Factor& factor, std::int32_t s, SpdTask& task) noexcept;

} // namespace vyr
