// The node loop: the L D L^T factorization, one node after the other, and the storage it needs beyond the
// analysis's, which serves L L^T.
#include "memory/block_store.h"
#include "memory/mapped_store.h"
#include "numeric/ldlt.h"
#include "numeric/phases.h"
#include "numeric/update_passing.h"
#include "platform/blas_threads.h"

#include <algorithm>
#include <cinttypes>

namespace vyr {

namespace {

/// What all nodes of one loop share.
struct Loop {
    Context& context;
    Factor& factor;
    bool stacked; ///< updates travel over the stack
    std::int32_t threads;
    LdltCounters counters;
};

/// Eliminates one node; its update matrix is then in the work block.
Status eliminate_node(Loop& loop, std::int32_t node) noexcept {
    Factor& factor = loop.factor;
    const mf_snode& snode = factor.analysis->snodes[node];
    FactorBlock& block = factor.blocks[node];
    if (loop.stacked && !factor.lu_values && (block.flags & BLOCK_ASSEMBLED) != 0)
        block.values = mf_map_fetch(factor, node);
    if (factor.block_store != nullptr)
        if (const Status status = mf_store_obtain(loop.context, factor, node); status != Status::OK)
            return status;
    if (block.values == nullptr) return Status::FACTOR_STORAGE;
    loop.context.statistics.flops += mf_node_cost(snode);
    if (loop.stacked) mf_stack_add_pivots(factor, node);
    const Settings& settings = loop.context.settings;
    const std::int32_t ld = loop.stacked ? factor.analysis->largest_update : snode.nupd;
    const LdltMode mode{settings.core_mode == CORE_IN, settings.type == TYPE_CSYM, ld, loop.threads,
                        &loop.context};
    if (MF_S_SYTRF_(factor, node, mode, loop.counters) == snode.npiv) return Status::OK;
    if (mf_stop(loop.context)) return Status::CANCELLED;
    return fail(loop.context, Status::ILL_CONDITIONED, "no pivot was found for some equation of supernode %d",
                node);
}

/// Puts the update on the stack. The block goes back to the mapping it came from.
void stack_update(const Loop& loop, std::int32_t node) noexcept {
    Factor& factor = loop.factor;
    const mf_snode& snode = factor.analysis->snodes[node];
    mf_stack_add_rest(factor, node);
    mf_stack_push(factor, node);
    factor.blocks[node].flags |= BLOCK_FINISHED;
    if (!factor.lu_values) factor.blocks[node].values = nullptr;
    const std::int32_t eliminated = snode.first() + snode.npiv;
    if (eliminated % 10 == 0)
        mf_message(loop.context, "\r\t\tMAP=%" PRId32 ",Elim=%.3g,View=%g", mf_map_count(factor),
                   100.0 * eliminated / factor.analysis->n, mf_map_megabytes(factor));
}

Status process_node(Loop& loop, std::int32_t node) noexcept {
    Factor& factor = loop.factor;
    mf_message(loop.context, "\r\tnoded=%" PRId32 "...", node);
    Status status = eliminate_node(loop, node);
    if (status != Status::OK) return status;
    if (loop.stacked) {
        stack_update(loop, node);
        return Status::OK;
    }
    if (factor.block_store != nullptr) status = mf_store_obtain_targets(loop.context, factor, node);
    if (status == Status::OK)
        status = mf_pass_update(factor, node, factor.work.work_block.get(), factor.work.node_work.get());
    if (status != Status::OK && loop.context.settings.dump_factor) mf_dump_factor(factor);
    if (status == Status::OK && factor.block_store != nullptr) mf_store_finish(loop.context, factor, node);
    return status;
}

/// Makes sure that `array` has `count` elements. Zeroed blocks come untouched.
template <typename T>
bool have(Accounting& memory, Buffer<T>& array, std::int64_t count) noexcept {
    if (!array || array.count() < count) {
        array.reset();
        array = Buffer<T>::zeroed(memory, count);
    }
    return static_cast<bool>(array);
}

/// The kernel keeps a whole front undivided; an analysis for another core mode counts 16 columns of it.
std::int64_t front_entries(const Analysis& analysis) noexcept {
    std::int64_t largest = analysis.largest_front;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s)
        largest = std::max(largest, analysis.snodes[s].n_entries());
    return largest;
}

} // namespace

Status mf_ldlt_prepare(Context& context, Factor& factor) noexcept {
    const Analysis& analysis = *factor.analysis;
    Accounting& memory = *factor.memory;
    FactorWork& work = factor.work;
    const std::int64_t ldw = analysis.ldw();
    const bool stacked = context.settings.core_mode == CORE_MAPPED;
    if (have(memory, factor.pivot_index, analysis.n) && have(memory, work.work_block, ldw * ldw) &&
        have(memory, work.front_work, front_entries(analysis)) &&
        have(memory, work.update_nodes, analysis.n_snodes) &&
        (!stacked || have(memory, work.update_stack, analysis.update_stack_peak)))
        return Status::OK;
    return out_of_memory(context);
}

Status mf_node_loop(Context& context, Factor& factor, std::int32_t first, std::int32_t last) noexcept {
    // Threads started for a small call to BLAS cost more than they save, and wait for each other in vain when
    // another process holds a core. Large products get them back.
    const blas::ThreadLimit small_calls(1);
    const std::int32_t wanted = context.settings.n_threads;
    Loop loop{context,
              factor,
              context.settings.core_mode == CORE_MAPPED,
              wanted > 0 ? wanted : small_calls.before(),
              {}};
    if (first == 0) {
        mf_stack_clear(factor);
        factor.work.work_block.fill(0.0);
    }
    Status status = Status::OK;
    for (std::int32_t node = first; node < last && status == Status::OK; ++node) {
        status = mf_stop(context) ? Status::CANCELLED : process_node(loop, node);
        mf_add_work(context, mf_node_cost(factor.analysis->snodes[node]));
    }
    context.statistics.n_two_by_two += static_cast<double>(loop.counters.two_by_two);
    if (status == Status::OK)
        mf_message(context, "\r\n\tMF_S_SYTRF_:update=%" PRId64 "(%" PRId64 "),n_p2=%" PRId64,
                   loop.counters.early_flushes, loop.counters.second_tests,
                   static_cast<std::int64_t>(context.statistics.n_two_by_two));
    return status;
}

} // namespace vyr
