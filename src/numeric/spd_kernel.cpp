#include "numeric/spd_kernel.h"

#include "numeric/block_store.h"
#include "numeric/dense_cholesky.h"
#include "numeric/spd_update.h"
#include "numeric/tuning.h"
#include "symbolic/flop_count.h"

namespace vyr {

namespace {

/// Copies the diagonal to diag_values; -35 at the first pivot that is too small, and its column.
Status check_pivots(mf_solver& solver, const mf_snode& node, SpdTask& task) noexcept {
    for (std::int32_t i = 0; i < node.npiv; ++i) {
        const double pivot = node.factor_block[i + static_cast<std::int64_t>(i) * node.npiv];
        solver.diag_values[node.first() + i] = pivot;
        if (pivot <= task.pivot_min) {
            task.failed_column = node.first() + i;
            return VYR_ERR_SMALL_PIVOT;
        }
    }
    return VYR_OK;
}

/// A failed Cholesky pivot stands in the task and is no reason to stop; every other failure is returned.
Status eliminate(mf_solver& solver, std::int32_t s, SpdTask& task) noexcept {
    mf_snode& node = solver.snodes[s];
    if (solver.block_store != nullptr &&
        (mf_store_obtain(solver, s) != VYR_OK || mf_store_obtain_targets(solver, s) != VYR_OK))
        return VYR_ERR_FACTOR_STORAGE;
    if (node.factor_block == nullptr) return VYR_ERR_FACTOR_STORAGE;
    const std::int32_t info = mf_dense_cholesky(node.npiv, node.factor_block, node.npiv);
    if (const Status status = check_pivots(solver, node, task); status != VYR_OK) return status;
    if (info != 0) {
        task.status = VYR_ERR_NOT_SPD;
        task.result = info;
    }
    if (node.nupd > 0) {
        const Status status =
            task.blocked ? mf_spd_update_blocked(solver, s, task) : mf_spd_update(solver, s, task);
        if (status != VYR_OK) return status;
    }
    if (solver.block_store != nullptr)
        mf_store_finish(solver, s);
    else
        node.flags |= NODE_FINISHED;
    return VYR_OK;
}

} // namespace

void mf_spd_node(mf_solver& solver, SpdTask& task) noexcept {
    double flops = 0; // summed here, because another thread's task may share the record's cache line
    for (std::int32_t k = 0; k < task.n_nodes; ++k) {
        flops += mf_node_cost(solver.snodes[task.nodes[k]]);
        if (const Status status = eliminate(solver, task.nodes[k], task); status != VYR_OK) {
            task.result = task.status = status;
            break;
        }
    }
    task.flops = flops;
}

} // namespace vyr
