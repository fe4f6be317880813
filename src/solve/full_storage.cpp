#include "solve/full_storage.h"

#include <limits>

namespace vyr {

namespace {

/// Start of every column of the result; column_flag[j] becomes 1 when column j stores a diagonal entry.
bool count_columns(std::int32_t n, const std::int32_t* col_ptr, const std::int32_t* row_ind,
                   std::int32_t* column_flag, std::int32_t* full_ptr) noexcept {
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

bool mf_sym_expand(std::int32_t n, const std::int32_t* col_ptr, const std::int32_t* row_ind,
                   const double* values, FullStorage& full) noexcept {
    Buffer<std::int32_t> has_diagonal(n), next(n);
    full.col_ptr = Buffer<std::int32_t>(std::int64_t{n} + 1);
    if (!has_diagonal || !next || !full.col_ptr) return false;
    if (!count_columns(n, col_ptr, row_ind, has_diagonal.get(), full.col_ptr.get())) return false;
    full.row_ind = Buffer<std::int32_t>(full.col_ptr[n]);
    full.values = Buffer<double>(full.col_ptr[n]);
    if (!full.row_ind || !full.values) return false;

    for (std::int32_t j = 0; j < n; ++j) next[j] = full.col_ptr[j];
    const auto place = [&](std::int32_t column, std::int32_t row, double value) {
        full.row_ind[next[column]] = row;
        full.values[next[column]++] = value;
    };
    for (std::int32_t j = 0; j < n; ++j) {
        if (has_diagonal[j] == 0) place(j, j, 0.0);
        for (std::int32_t e = col_ptr[j]; e < col_ptr[j + 1]; ++e) {
            place(j, row_ind[e], values[e]);
            if (row_ind[e] != j) place(row_ind[e], j, values[e]);
        }
    }
    return true;
}

} // namespace vyr
