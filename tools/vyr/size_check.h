// What every generator asks first: is the size sensible, and do all indices fit into 32 bits?
#pragma once

#include "tools/vyr/sparse_matrix.h"

#include <cstdint>
#include <stdexcept>
#include <string>

namespace vyr::tool {

inline void require_side(std::int32_t side, std::int32_t least) {
    if (side < least) throw std::invalid_argument("the size must be at least " + std::to_string(least));
}

/// Sets a.n, makes room for `entries` and starts col_ptr with its leading 0. Both counts come as doubles, in
/// which the caller's products cannot overflow.
inline void reserve_lower(SparseMatrix& a, double n, double entries) {
    if (n > INT32_MAX || entries > INT32_MAX)
        throw std::length_error("the matrix would have more than 2147483647 equations or entries");
    a.n = static_cast<std::int32_t>(n);
    a.col_ptr.reserve(static_cast<std::size_t>(n) + 1);
    a.col_ptr.push_back(0);
    a.row_ind.reserve(static_cast<std::size_t>(entries));
    a.values.reserve(static_cast<std::size_t>(entries));
}

} // namespace vyr::tool
