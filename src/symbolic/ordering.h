// The fill-reducing ordering.
#pragma once

#include <cstdint>

namespace vyr {

/// Names of the orderings by index. The analysis always orders by nested dissection, index 1.
inline constexpr const char* ORDERING_NAMES[] = {"NONE", "METIS", "AMD", "COLAMD", "USER"};

/// Orders the full symmetric pattern (n, col_ptr, row_ind; diagonal entries allowed) by nested dissection,
/// after graph compression when CTRL_BLOCKED is 1.
///
/// perm   in: an ordering to fall back on; out, n: perm[new] = old. Kept when METIS fails.
///
/// Returns false without memory for the graph.
[[nodiscard]] bool mf_order(std::int32_t n, const std::int32_t* col_ptr, const std::int32_t* row_ind,
                            std::int32_t* perm) noexcept;

} // namespace vyr
