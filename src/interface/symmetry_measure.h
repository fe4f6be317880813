// How symmetric a stored pattern is.
#pragma once

#include <cstdint>

namespace vyr {

/// Matched off-diagonal positions over stored off-diagonal entries, on a scale that counts each match from
/// both sides and the diagonal along with them: a symmetric pattern with a full diagonal gives 2 nnz / (nnz -
/// n).
///
/// The structure must have been checked. Infinite or not a number when only diagonal entries are stored.
/// False without memory.
[[nodiscard]] bool mf_symmetry_measure(std::int32_t n, const std::int32_t* col_ptr,
                                       const std::int32_t* row_ind, double& measure) noexcept;

} // namespace vyr
