#include "engine/full_storage.h"

#include <limits>

namespace vyr {

namespace {

/// Start of every column of the result; column_flag[j] becomes 1 when column j stores a diagonal entry.
///
/// False when a start does not fit 32 bits.
bool count_columns(const Pattern& triangle, std::int32_t* column_flag, std::int32_t* full_ptr) noexcept {
    const auto [n, col_ptr, row_ind] = triangle;
    for (std::int32_t j = 0; j <= n; ++j) full_ptr[j] = 0;
    for (std::int32_t j = 0; j < n; ++j) {
        column_flag[j] = 0;
        for (std::int32_t e = col_ptr[j]; e < col_ptr[j + 1]; ++e) {
            ++full_ptr[j + 1];
            if (row_ind[e] == j)
                column_flag[j] = 1;
            else
                ++full_ptr[row_ind[e] + 1];
        }
    }
    std::int64_t total = 0;
    for (std::int32_t j = 0; j < n; ++j) {
        total += full_ptr[j + 1] + (column_flag[j] == 0 ? 1 : 0);
        if (total > std::numeric_limits<std::int32_t>::max()) return false;
        full_ptr[j + 1] = static_cast<std::int32_t>(total);
    }
    return true;
}

} // namespace

Status mf_sym_expand(Context& context, const Matrix& triangle, FullStorage& full) noexcept {
    const std::int32_t n = full.n = triangle.n;
    Buffer<std::int32_t> has_diagonal(context.memory, n), next(context.memory, n);
    full.col_ptr = Buffer<std::int32_t>(context.memory, std::int64_t{n} + 1);
    if (!has_diagonal || !next || !full.col_ptr) return out_of_memory(context);
    if (!count_columns(triangle, has_diagonal.get(), full.col_ptr.get()))
        return fail(context, Status::MEMORY, "both triangles together have more than 2147483647 entries");
    full.row_ind = Buffer<std::int32_t>(context.memory, full.col_ptr[n]);
    full.values = Buffer<double>(context.memory, full.col_ptr[n]);
    if (!full.row_ind || !full.values) return out_of_memory(context);

    for (std::int32_t j = 0; j < n; ++j) next[j] = full.col_ptr[j];
    const auto place = [&](std::int32_t column, std::int32_t row, double value) {
        full.row_ind[next[column]] = row;
        full.values[next[column]++] = value;
    };
    for (std::int32_t j = 0; j < n; ++j) {
        if (has_diagonal[j] == 0) place(j, j, 0.0);
        for (std::int32_t e = triangle.col_ptr[j]; e < triangle.col_ptr[j + 1]; ++e) {
            const std::int32_t i = triangle.row_ind[e];
            place(j, i, triangle.values[e]);
            if (i != j) place(i, j, triangle.values[e]);
        }
    }
    return Status::OK;
}

} // namespace vyr
