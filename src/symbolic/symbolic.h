// Symbolic analysis: from the pattern of a matrix to an mf_solver that is ready for values.
#pragma once

#include "symbolic/solver.h"

namespace vyr {

/// Orders the matrix, builds the assembly tree, places every entry and reserves the factor storage.
///
/// n, col_ptr, row_ind   lower triangle by columns, 0-based; other forms are folded to it
///
/// Returns the new object, owned by the caller (mf_release_solver), or null: then INFO_STATUS is -1, -2, -6,
/// -10 or what it was before when that was a failure already, or 0 when the first work arrays could not be
/// had. Never reads values. Runs on the calling thread.
[[nodiscard]] mf_solver* mf_symbol(std::int32_t n, const std::int32_t* col_ptr,
                                   const std::int32_t* row_ind) noexcept;

} // namespace vyr
