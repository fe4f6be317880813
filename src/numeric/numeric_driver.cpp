
#include "memory/block_store.h"
#include "memory/factor_files.h"
#include "memory/factor_storage.h"
#include "memory/mapped_store.h"
#include "memory/memory_plan.h"
#include "numeric/delayed.h"
#include "numeric/phases.h"

#include <algorithm>
#include <cfloat>
#include <cinttypes>
#include <cmath>

namespace vyr {

namespace {

double factor_bytes(const Factor& factor) noexcept {
    return static_cast<double>(factor.analysis->factor_entries) * sizeof(double);
}

/// Creates the mapping of core mode 3. Its code, moved into a range of its own, is the status.
Status create_mapping(Context& context, Factor& factor) noexcept {
    constexpr int STATUS_OFFSET = code(Status::MAPPING) - code(Status::EMPTY_FILE);
    const std::int64_t bytes = factor.analysis->factor_entries * static_cast<std::int64_t>(sizeof(double));
    const int answer = mf_map_create(factor, bytes, context.settings.reserve_bytes);
    if (answer == 0) return Status::OK;
    mf_message(
        context,
        "\r\nERROR!!!\t(%d):Failed to create %6g(Mb) memory mapping for L.\r\n\t\tPlease free the space "
        "on disk.\r\n",
        answer, static_cast<double>(bytes) / MEGABYTE);
    return static_cast<Status>(answer + STATUS_OFFSET);
}

/// Storage that is not in core: the mapping, or a store of blocks that move into files.
Status open_storage(Context& context, const double* values, Factor& factor, BlockStore& store) noexcept {
    if (context.settings.core_mode == CORE_MAPPED)
        if (const Status status = create_mapping(context, factor); status != Status::OK) return status;
    mf_map_release(factor);
    mf_heap_compact(context);
    if (const Status status = mf_open_store(context, factor, values, store); status != Status::OK)
        return status;
    factor.block_store = &store;
    return Status::OK;
}

/// The memory plan's word on a factor in core under another core mode: it is asked for such a mode wherever
/// the factor lies.
Status check_buffer(Context& context, const Factor& factor) noexcept {
    const int core_mode = context.settings.core_mode;
    if (core_mode == CORE_IN || core_mode == CORE_MAPPED) return Status::OK;
    double buffer_bytes = 0;
    return mf_ooc_buffer(context, factor_bytes(factor), context.settings.reserve_bytes, buffer_bytes);
}

/// Keeps the extremes of the diagonal and stops as soon as they spread too far.
Status check_growth(Context& context, const Factor& factor) noexcept {
    const double limit = context.settings.growth_limit;
    if (!(limit > 1)) return Status::OK;
    double& least = context.statistics.diagonal_min;
    double& most = context.statistics.diagonal_max;
    for (std::int32_t k = 0; k < factor.analysis->n; ++k) {
        const double pivot = std::fabs(factor.diag_values[k]);
        least = std::min(least, pivot);
        most = std::max(most, pivot);
        if (most > least * limit) return Status::GROWTH;
    }
    return Status::OK;
}

/// L L^T, L D L^T with delayed pivots on the tasks of the schedule, or L D L^T node after node.
Status eliminate(Context& context, const double* values, Factor& factor) noexcept {
    if (context.settings.delay_pivots) return mf_delayed_factor(context, values, factor);
    if (context.settings.type != TYPE_SPD) {
        const Status status = mf_ldlt_prepare(context, factor);
        return status != Status::OK ? status : mf_node_loop(context, factor, 0, factor.analysis->n_snodes);
    }
    const bool by_tasks = context.settings.blocked || factor.block_store != nullptr;
    const Status status = by_tasks ? mf_task_factor(context, factor) : mf_graph_factor(context, factor);
    if (status != Status::OK) return status;
    return check_growth(context, factor);
}

/// Blocks that come into being one by one, and the read buffer of the solves.
Status factorise_out_of_core(Context& context, const double* values, Factor& factor) noexcept {
    BlockStore store;
    Status status = open_storage(context, values, factor, store);
    if (status == Status::OK) status = eliminate(context, values, factor);
    if (status == Status::OK) status = mf_store_close(context, factor);
    factor.block_store = nullptr;
    return status;
}

Status factorise(Context& context, const double* values, Factor& factor) noexcept {
    // 1. A clean slate: pivots, blocks, files and counters of the run before.
    factor.diag_values.fill(-DBL_MAX);
    factor.release_pivoted();
    mf_reset_factor_files(context, factor);
    context.statistics.flops = 0;
    context.statistics.t_assembly = 0;
    // 2. Storage is in core when lu_values exists, whatever mode is in force; a mode that needs it gets it.
    const int core_mode = context.settings.core_mode;
    if (!factor.lu_values && (core_mode == CORE_IN || core_mode == CORE_GBLAS))
        if (mf_reserve_factor_values(context, factor) != Status::OK) return Status::MEMORY;
    if (!factor.lu_values) return factorise_out_of_core(context, values, factor);
    if (context.settings.delay_pivots) return eliminate(context, values, factor);
    // 3. Input entries into the factor blocks.
    if (const Status status = mf_assemble_input(context, values, factor); status != Status::OK) return status;
    if (context.settings.check_values) mf_lu_init_check(context.log, factor);
    if (const Status status = check_buffer(context, factor); status != Status::OK) return status;
    // 4. Elimination.
    return eliminate(context, values, factor);
}

} // namespace

Status mf_numeric_driver(Context& context, const double* values, Factor& factor) noexcept {
    double total = 0;
    for (std::int32_t s = 0; s < factor.analysis->n_snodes; ++s)
        total += mf_node_cost(factor.analysis->snodes[s]);
    mf_begin_phase(context, PHASE_FACTORISE, total);
    if (const Status status = factorise(context, values, factor); status != Status::OK) return status;
    context.statistics.n_factorizations += 1;
    if (context.settings.core_mode == CORE_MAPPED)
        mf_message(context, "\r\n\tMAP=%" PRId32 ",X_Time=%g\t\t", mf_map_count(factor),
                   context.statistics.t_mapped_io / 1000);
    return Status::OK;
}

} // namespace vyr
