#include "numeric/node_loop.h"

#include "interface/process_state.h"
#include "memory/mapped_store.h"
#include "numeric/block_store.h"
#include "numeric/factor_dump.h"
#include "numeric/ldlt_kernel.h"
#include "numeric/update_passing.h"
#include "numeric/update_stack.h"
#include "report/console.h"
#include "symbolic/flop_count.h"

#include <omp.h>

#include <algorithm>
#include <cinttypes>

namespace vyr {

namespace {

struct LoopSettings {
    int core_mode;
    bool blas_interchange;
    bool stacked; ///< updates travel over the stack
    std::int32_t threads;
};

/// One OpenMP thread while it lives, the number there was before afterwards. Threads started for a small call
/// to BLAS cost more than they save, and wait for each other in vain when another process holds a core.
class SmallCalls {
public:
    SmallCalls() noexcept : threads_(omp_get_max_threads()) { omp_set_num_threads(1); }
    ~SmallCalls() { omp_set_num_threads(threads_); }
    SmallCalls(const SmallCalls&) = delete;
    SmallCalls& operator=(const SmallCalls&) = delete;
    std::int32_t threads() const noexcept { return threads_; }

private:
    std::int32_t threads_;
};

/// Eliminates one node; its update matrix is then in the work block.
Status eliminate_node(mf_solver& solver, std::int32_t node, const LoopSettings& settings,
                      LdltCounters& counters) noexcept {
    mf_snode& snode = solver.snodes[node];
    if (settings.stacked && solver.lu_values == nullptr && (snode.flags & NODE_ASSEMBLED) != 0)
        snode.factor_block = mf_map_fetch(snode);
    if (solver.block_store != nullptr)
        if (const Status status = mf_store_obtain(solver, node); status != VYR_OK) return status;
    if (snode.factor_block == nullptr) return VYR_ERR_FACTOR_STORAGE;
    mf_info[INFO_FLOPS] += mf_node_cost(snode);
    if (settings.stacked) mf_stack_add_pivots(solver, node);
    const std::int32_t ld = settings.stacked ? solver.largest_update : snode.nupd;
    const LdltMode mode{settings.core_mode == CORE_IN, settings.blas_interchange, ld, settings.threads};
    return MF_S_SYTRF_(solver, node, mode, counters) == snode.npiv ? VYR_OK : VYR_ERR_ILL_CONDITIONED;
}

/// Puts the update on the stack. The block goes back to the mapping it came from.
void stack_update(mf_solver& solver, std::int32_t node) noexcept {
    mf_snode& snode = solver.snodes[node];
    mf_stack_add_rest(solver, node);
    mf_stack_push(solver, node);
    snode.flags |= NODE_FINISHED;
    if (solver.lu_values == nullptr) snode.factor_block = nullptr;
    const std::int32_t eliminated = snode.first() + snode.npiv;
    if (eliminated % 10 == 0)
        mf_message("\r\t\tMAP=%" PRId32 ",Elim=%.3g,View=%g", solver.map_count, 100.0 * eliminated / solver.n,
                   solver.map_megabytes);
}

Status process_node(mf_solver& solver, std::int32_t node, const LoopSettings& settings,
                    LdltCounters& counters) noexcept {
    mf_message("\r\tnoded=%" PRId32 "...", node);
    Status status = eliminate_node(solver, node, settings, counters);
    if (status != VYR_OK) return status;
    if (settings.stacked) {
        stack_update(solver, node);
        return VYR_OK;
    }
    if (solver.block_store != nullptr) status = mf_store_obtain_targets(solver, node);
    if (status == VYR_OK) status = mf_pass_update(solver, node, solver.work_block, solver.node_work);
    if (status != VYR_OK) mf_dump_factor(solver);
    if (status == VYR_OK && solver.block_store != nullptr) mf_store_finish(solver, node);
    return status;
}

} // namespace

Status mf_node_loop(mf_solver& solver, std::int32_t first, std::int32_t last) noexcept {
    const int core_mode = ctrl_int(CTRL_CORE_MODE);
    const SmallCalls small_calls;
    const LoopSettings settings{core_mode, ctrl_int(CTRL_TYPE) == TYPE_CSYM, core_mode == CORE_MAPPED,
                                small_calls.threads()};
    LdltCounters counters;
    if (first == 0) {
        mf_stack_clear(solver);
        std::fill_n(solver.work_block, solver.ldw() * solver.ldw(), 0.0);
    }
    for (std::int32_t node = first; node < last; ++node) {
        const Status status = process_node(solver, node, settings, counters);
        if (status != VYR_OK) {
            set_info_status(status);
            return status;
        }
    }
    mf_message("\r\n\tMF_S_SYTRF_:update=%" PRId64 "(%" PRId64 "),n_p2=%" PRId64, counters.early_flushes,
               counters.second_tests, mf_n_p2);
    return VYR_OK;
}

} // namespace vyr
