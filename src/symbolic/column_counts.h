// Column counts of the Cholesky factor.
#pragma once

#include "symbolic/full_pattern.h"
#include "symbolic/solver.h"

namespace vyr {

/// Counts the nonzeros of every column of L, the diagonal included, into solver.column_count.
///
/// inverse   n: inverse[old] = new, of the solver's final (postordered) permutation
///
/// False without memory. Cost: nearly linear in the entries of the pattern.
[[nodiscard]] bool mf_colcount(const FullPattern& full, const std::int32_t* inverse,
                               mf_solver& solver) noexcept;

} // namespace vyr
