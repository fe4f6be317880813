// A call of METIS and its surroundings.
#pragma once

#include "core/context.h"

namespace vyr {

/// Runs `call(arguments)`, in which METIS orders a graph, and gives METIS what it asks of its host.
///
/// call   makes exactly one call of METIS and answers its result (METIS_OK, ...); owns nothing, since it may
///        be left at any point
///
/// FACTOR_STORAGE without memory, CANCELLED when the context says so, ORDERING when METIS gives up. In all
/// cases the memory of METIS is released.
///
/// Threads: any number at a time. With the METIS of the system (metis_system.cpp) callers wait for each
/// other, and nobody can cancel.
Status mf_metis_call(Context& context, int (*call)(void* arguments), void* arguments) noexcept;

/// True when a cancelled call ends within an ordering, not behind it.
[[nodiscard]] bool mf_ordering_can_be_cancelled() noexcept;

} // namespace vyr
