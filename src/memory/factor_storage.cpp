#include "memory/factor_storage.h"

#include "core/tuning.h"
#include "memory/memory_plan.h"

#include <algorithm>
#include <cfloat>

namespace vyr {

namespace {

/// Of the factor's entries, one of so many more is reserved where fronts may grow by delayed pivots. What
/// nothing grows into is never touched.
constexpr std::int64_t DELAYED_SHARE = 4;

Status no_storage(Context& context) noexcept {
    return out_of_memory(context, Status::FACTOR_STORAGE);
}

/// Memory of the L D L^T kernels beside the factor: rows of a front, and the stack of updates.
Status allocate_front_work(Context& context, Factor& factor) noexcept {
    const Settings& settings = context.settings;
    if (settings.type == TYPE_LDLT) {
        factor.work.front_work = Buffer<double>(*factor.memory, factor.analysis->largest_front);
        if (!factor.work.front_work) return no_storage(context);
    }
    if (settings.core_mode != CORE_IN)
        mf_message(context, "\r\nDUMP:\tThe reserved memory is %6g(Mb).\r\n",
                   settings.reserve_bytes / MEGABYTE);
    if (settings.core_mode == CORE_MAPPED) {
        factor.work.update_stack = Buffer<double>(*factor.memory, factor.analysis->update_stack_peak);
        if (!factor.work.update_stack) return no_storage(context);
    }
    return Status::OK;
}

Status allocate_node_work(Context& context, Factor& factor) noexcept {
    const Analysis& analysis = *factor.analysis;
    const std::int64_t n_arrays = std::max<std::int64_t>(2, 2 * std::int64_t{analysis.schedule.n_tasks});
    factor.work.node_work = Buffer<std::int32_t>(*factor.memory, n_arrays * analysis.n);
    return factor.work.node_work ? Status::OK : no_storage(context);
}

} // namespace

Status mf_reserve_factor_values(Context& context, Factor& factor) noexcept {
    const Analysis& analysis = *factor.analysis;
    const std::int64_t more = context.settings.delay_pivots ? analysis.factor_entries / DELAYED_SHARE : 0;
    factor.lu_values = Buffer<double>::zeroed(*factor.memory, analysis.factor_entries + more);
    if (!factor.lu_values) {
        mf_message(
            context,
            "\r\nERROR!!!\tFailed to alloc %6g(Mb) memory for L.\r\n\t\tPlease switch to OUT-CORE mode "
            "or enlarge the memory.\r\n",
            static_cast<double>(analysis.factor_entries) * sizeof(double) / MEGABYTE);
        return no_storage(context);
    }
    factor.lu_values_zero = true;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s)
        factor.blocks[s].values = factor.lu_values.get() + analysis.snodes[s].start;
    return Status::OK;
}

Status mf_task_work_blocks(Context& context, Factor& factor, bool blocked) noexcept {
    const std::int64_t entries =
        std::max<std::int64_t>(factor.analysis->schedule.work_entries[blocked ? 1 : 0], 1);
    Buffer<double>& work = factor.work.task_work;
    if (work.count() >= entries) return Status::OK;
    work.reset();
    // Zeroed only so that pages no update touches never become resident.
    work = Buffer<double>::zeroed(*factor.memory, entries);
    return work ? Status::OK : no_storage(context);
}

Status mf_alloc_L(Context& context, Factor& factor) noexcept {
    const Settings& settings = context.settings;
    const Analysis& analysis = *factor.analysis;
    // 1. One record a block, and the tasks' work space; fronts with delayed pivots bring their own.
    factor.blocks = Buffer<FactorBlock>::zeroed(*factor.memory, analysis.n_snodes);
    if (!factor.blocks) return no_storage(context);
    if (!settings.delay_pivots && !settings.tree_schedule)
        if (const Status status = mf_task_work_blocks(context, factor, settings.blocked);
            status != Status::OK)
            return status;
    // 2. The word of the memory plan on the whole factor.
    const double factor_bytes = static_cast<double>(analysis.factor_entries) * sizeof(double);
    double ratio = 0;
    const bool is_small = settings.tree_schedule && factor_bytes <= tuning::SMALL_FACTOR_BYTES;
    if (!is_small)
        if (const Status status = mf_mem_check(context, factor_bytes, settings.core_mode != CORE_IN, ratio);
            status != Status::OK)
            return status;
    // 3. Diagonal and values.
    factor.diag_values = Buffer<double>(*factor.memory, analysis.n, -DBL_MAX);
    if (!factor.diag_values) return no_storage(context);
    if (settings.core_mode == CORE_IN || settings.core_mode == CORE_GBLAS)
        if (const Status status = mf_reserve_factor_values(context, factor); status != Status::OK)
            return status;
    // 4. Work space of the elimination.
    if (settings.delay_pivots) return Status::OK;
    if (const Status status = allocate_front_work(context, factor); status != Status::OK) return status;
    if (settings.tree_schedule) return Status::OK; // the factorization brings its own
    return allocate_node_work(context, factor);
}

} // namespace vyr
