#include "core/tuning.h"
#include "memory/block_store.h"
#include "numeric/dense_cholesky.h"
#include "numeric/spd.h"

namespace vyr {

namespace {

/// What ends the task, or stands in it until the end, is the first failure.
void note_failure(SpdTask& task, Status status, std::int32_t column) noexcept {
    if (task.status != Status::OK) return;
    task.status = status;
    task.failed_column = column;
}

/// Copies the diagonal to diag_values; SMALL_PIVOT at the first pivot that is too small, and its column.
Status check_pivots(Factor& factor, std::int32_t s, SpdTask& task) noexcept {
    const mf_snode& node = factor.analysis->snodes[s];
    const double* block = factor.block(s);
    for (std::int32_t i = 0; i < node.npiv; ++i) {
        const double pivot = block[i + static_cast<std::int64_t>(i) * node.npiv];
        factor.diag_values[node.first() + i] = pivot;
        if (pivot <= task.context->settings.pivot_min) {
            note_failure(task, Status::SMALL_PIVOT, node.first() + i);
            return Status::SMALL_PIVOT;
        }
    }
    return Status::OK;
}

/// A failed Cholesky pivot stands in the task and is no reason to stop; every other failure is returned.
Status eliminate(Factor& factor, std::int32_t s, SpdTask& task) noexcept {
    const mf_snode& node = factor.analysis->snodes[s];
    Context& context = *task.context;
    if (mf_stop(context)) return Status::CANCELLED;
    if (factor.block_store != nullptr && (mf_store_obtain(context, factor, s) != Status::OK ||
                                          mf_store_obtain_targets(context, factor, s) != Status::OK))
        return Status::FACTOR_STORAGE;
    if (factor.block(s) == nullptr) return Status::FACTOR_STORAGE;
    const std::int32_t info =
        mf_dense_cholesky(*task.loops, *task.kernel, node.npiv, factor.block(s), node.npiv, !task.alone);
    if (const Status status = check_pivots(factor, s, task); status != Status::OK) return status;
    if (info != 0) note_failure(task, Status::NOT_SPD, node.first() + info - 1);
    if (node.nupd > 0) {
        const Status status = context.settings.blocked ? mf_spd_update_blocked(factor, s, task)
                                                       : mf_spd_update(factor, s, task);
        if (status != Status::OK) return status;
    }
    if (factor.block_store != nullptr)
        mf_store_finish(context, factor, s);
    else
        factor.blocks[s].flags |= BLOCK_FINISHED;
    mf_add_work(context, mf_node_cost(node));
    return mf_stop(context) ? Status::CANCELLED : Status::OK;
}

} // namespace

void mf_spd_node(Factor& factor, SpdTask& task) noexcept {
    double flops = 0; // summed here, because another thread's task may share the record's cache line
    for (std::int32_t k = 0; k < task.n_nodes; ++k) {
        const std::int32_t s = task.nodes != nullptr ? task.nodes[k] : task.first_node + k;
        flops += mf_node_cost(factor.analysis->snodes[s]);
        if (const Status status = eliminate(factor, s, task); status != Status::OK) {
            note_failure(task, status, -1);
            break;
        }
    }
    task.flops = flops;
}

} // namespace vyr
