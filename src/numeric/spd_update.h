// The coupling block and the update of a positive definite node whose pivot block is factored.
#pragma once

#include "numeric/spd_kernel.h"

namespace vyr {

/// Solves the coupling block and adds the update into the ancestors, in strips of columns. The strips of a
/// large front are tasks that idle threads of the team take. Returns 0 or -10.
[[nodiscard]] Status mf_spd_update(mf_solver& solver, std::int32_t s, SpdTask& task) noexcept;

/// The same, one piece an ancestor: the piece of all remaining rows against the rows that ancestor owns.
[[nodiscard]] Status mf_spd_update_blocked(mf_solver& solver, std::int32_t s, SpdTask& task) noexcept;

} // namespace vyr
