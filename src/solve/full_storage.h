// Full symmetric storage from one stored triangle.
#pragma once

#include "memory/buffer.h"

#include <cstdint>

namespace vyr {

/// Compressed columns that own their arrays.
struct FullStorage {
    Buffer<std::int32_t> col_ptr;
    Buffer<std::int32_t> row_ind;
    Buffer<double> values;
};

/// Builds both triangles from one (lower or upper), every column with a diagonal entry (0.0 where none was
/// stored).
///
/// n, col_ptr, row_ind, values   the triangle by columns; read only
///
/// False without memory, or when the result would not fit 32-bit positions. Sorted when the input is a lower
/// triangle with sorted columns.
[[nodiscard]] bool mf_sym_expand(std::int32_t n, const std::int32_t* col_ptr, const std::int32_t* row_ind,
                                 const double* values, FullStorage& full) noexcept;

} // namespace vyr
