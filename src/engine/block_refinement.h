// Iterative refinement of many solutions at once.
#pragma once

#include "engine/solver.h"

#include <cstdint>

namespace vyr {

/// Judges solutions of A X = B and improves those that are not good, all together, each for as long as a step
/// at least halves its error.
///
/// factor   keeps its matrix
/// b, x     n x nrhs with leading dimensions ldb and ldx, apart from each other; x in and out
/// call     in: refinements, the most steps; out: the most that one solution took, and the largest error left
///
/// Returns OK, MEMORY, FACTOR_FILE or CANCELLED; x holds the solutions as they came or better ones. Takes
/// memory for 2 n doubles for each of up to 32 columns, n where no step is to be made.
Status mf_refine(Context& context, const SolverFactor& factor, std::int32_t nrhs, const double* b,
                 std::int64_t ldb, double* x, std::int64_t ldx, SolveCall& call) noexcept;

} // namespace vyr
