// Iterative refinement against the caller's matrix.
#pragma once

#include "interface/status.h"
#include "solve/solve_driver.h"
#include "solve/substitution.h"

namespace vyr {

/// Solves for the first column of b with at most `limit` (2 or more) accepted solutions and writes the last
/// accepted one back. Records the condition figure and prints the summary line when messages are on.
///
/// matrix   checked; the stored triangle for types 11 to 13, all entries otherwise
///
/// Returns 0, or -29 without memory for 3 n doubles and b unchanged.
[[nodiscard]] Status mf_refine(const Substitution& substitution, const CallerMatrix& matrix, int limit,
                               double* b) noexcept;

} // namespace vyr
