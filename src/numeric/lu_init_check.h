// Advisory check of the values a factorization starts from.
#pragma once

#include "symbolic/solver.h"

namespace vyr {

/// Prints every NaN among the factor values and every node without a block, then that the check is done; all
/// of it only when messages are on. Changes nothing.
void mf_lu_init_check(const mf_solver& solver) noexcept;

} // namespace vyr
