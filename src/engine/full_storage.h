// Full symmetric storage from one stored triangle.
#pragma once

#include "core/analysis.h"
#include "core/context.h"

#include <cstdint>

namespace vyr {

/// A matrix by compressed columns that owns its arrays.
struct FullStorage {
    std::int32_t n = 0;
    Buffer<std::int32_t> col_ptr;
    Buffer<std::int32_t> row_ind;
    Buffer<double> values;

    /// The matrix; borrows the arrays.
    Matrix matrix() const noexcept { return {{n, col_ptr.get(), row_ind.get()}, values.get()}; }
};

/// Builds both triangles from one (lower or upper), every column with a diagonal entry (0.0 where none was
/// stored).
///
/// triangle   checked; read only
/// full       out
///
/// Sorted when the input is a lower triangle with sorted columns. Returns MEMORY without memory, or when the
/// result would not fit 32-bit positions.
[[nodiscard]] Status mf_sym_expand(Context& context, const Matrix& triangle, FullStorage& full) noexcept;

} // namespace vyr
