// A call of METIS or AMD and its surroundings.
#pragma once

#include "core/context.h"

namespace vyr {

/// Runs `call(context, arguments)`, in which METIS or AMD orders a graph, and gives them what they ask of
/// their host.
///
/// call   makes exactly one call of METIS or AMD and tells its outcome; owns nothing, since it may be left at
///        any point
///
/// The outcome; FACTOR_STORAGE without memory, CANCELLED when the context says so, ORDERING when METIS gives
/// up. In all cases their memory is released.
///
/// Threads: any number at a time. With the libraries of the system (metis_system.cpp) callers wait for each
/// other, and nobody can cancel.
Status mf_ordering_call(Context& context, Status (*call)(Context& context, void* arguments),
                        void* arguments) noexcept;

/// True when a cancelled call ends within an ordering, not behind it.
[[nodiscard]] bool mf_ordering_can_be_cancelled() noexcept;

} // namespace vyr
