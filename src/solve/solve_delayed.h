// Solving with a factorization with delayed pivots, in core or out of core.
#pragma once

#include "core/context.h"
#include "core/factor.h"
#include "solve/solve.h"

#include <cstdint>

namespace vyr {

/// Solves A X = B in place, in the analysed numbering; components of zero pivots become 0 before the backward
/// substitution. x: n x nrhs, leading dimension ldx. All right-hand sides pass through the factor together,
/// WIDEST_PANEL at a time.
///
/// Returns OK; MEMORY, x as it was where nothing had been solved; FACTOR_FILE or CANCELLED, x being of no
/// use. Threads: any number with one factor at a time.
[[nodiscard]] Status mf_solve_delayed(Context& context, const Factor& factor, double* x, std::int32_t nrhs,
                                      std::int64_t ldx) noexcept;

/// One part of it; see mf_solve_part.
[[nodiscard]] Status mf_solve_delayed_part(Context& context, const Factor& factor, SolvePart part, double* x,
                                           std::int32_t nrhs, std::int64_t ldx) noexcept;

/// place: n, out: where each pivot of the analysis comes in the order of elimination.
void mf_elimination_places(const Factor& factor, std::int32_t* place) noexcept;

} // namespace vyr
