// The memory of a factor and of the work of making it, as far as it is had before the first elimination.
#pragma once

#include "core/context.h"
#include "core/factor.h"

namespace vyr {

/// Allocates, for a factor that has nothing yet, all that the settings ask for: block records, the tasks'
/// work blocks, the diagonal without pivots and the nodes' scratch integers; by core mode and type also the
/// factor values, the front work and the update stack. Asks the memory plan before the diagonal.
///
/// Returns OK, or FACTOR_STORAGE when the plan declines or memory is missing. Factor values are not touched
/// yet.
Status mf_alloc_L(Context& context, Factor& factor) noexcept;

/// Allocates lu_values, zero and untouched, and points every block into it. With settings.delay_pivots there
/// is more of it than the analysis foresees.
///
/// Returns OK, or FACTOR_STORAGE without memory, after a message.
Status mf_reserve_factor_values(Context& context, Factor& factor) noexcept;

/// Makes work.task_work large enough for the updates of the schedule's tasks: whole ones, or with `blocked`
/// those passed on ancestor by ancestor. Memory that suffices is kept.
///
/// Returns OK, or FACTOR_STORAGE without memory.
Status mf_task_work_blocks(Context& context, Factor& factor, bool blocked) noexcept;

} // namespace vyr
