#include "interface/input_check.h"

#include "core/buffer.h"
#include "interface/process_state.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <functional>
#include <utility>

namespace vyr {

namespace {

/// Pointers ascend from 0 to nnz.
bool pointers_are_sound(std::int32_t n, const std::int32_t* col_ptr) noexcept {
    if (col_ptr[0] != 0) return false;
    for (std::int32_t j = 0; j < n; ++j)
        if (col_ptr[j + 1] < col_ptr[j]) return false;
    return true;
}

/// Checks the entries of column j; sets `has_diagonal` when the diagonal is stored.
Status check_column(const Log& log, const Pattern& pattern, std::int32_t j, bool lower_only,
                    bool& has_diagonal) noexcept {
    const auto [n, col_ptr, row_ind] = pattern;
    std::int32_t previous = -1;
    for (std::int32_t e = col_ptr[j]; e < col_ptr[j + 1]; ++e) {
        const std::int32_t row = row_ind[e];
        if (row == j) has_diagonal = true;
        if (row < previous)
            mf_message(log, "WARNING!!!\tCOLUMN%d is not orderd:(%d,%d)\r\n", j + 1, previous, row);
        if (row == previous) {
            mf_message(log, "WARNING!!!\tCOLUMN%d dupliacate entry:(%d,%d)\r\n", j + 1, previous, row);
            return Status::DUPLICATE;
        }
        if (lower_only && row < j) {
            mf_message(log, "ERROR!!!\tA(%d,%d) is not in the lower-triangular-part\r\n", row + 1, j + 1);
            return Status::UPPER_ENTRY;
        }
        if (row < 0 || row >= n) return Status::STRUCTURE;
        previous = row;
    }
    return Status::OK;
}

} // namespace

Status mf_check_input(Context& context, std::int32_t n_rows, std::int32_t n_cols,
                      const Pattern& pattern) noexcept {
    const std::int32_t* col_ptr = pattern.col_ptr;
    const std::int32_t* row_ind = pattern.row_ind;
    const Log& log = context.log;
    Statistics& statistics = context.statistics;
    statistics.rows = n_rows;
    statistics.cols = n_cols;
    if (col_ptr != nullptr && n_cols >= 0) statistics.nnz = col_ptr[n_cols];
    if (col_ptr == nullptr || row_ind == nullptr) return Status::NULL_MATRIX;
    if (n_rows < 1 || n_cols < 1 || col_ptr[n_cols] < 1) return Status::EMPTY_MATRIX;
    if (n_rows != n_cols) return Status::NOT_SQUARE;
    if (!pointers_are_sound(n_cols, col_ptr)) return Status::STRUCTURE;

    const bool lower_only = is_lower_triangle_type(context.settings.type);
    std::int32_t n_without_diagonal = 0;
    for (std::int32_t j = 0; j < n_cols; ++j) {
        if (col_ptr[j] == col_ptr[j + 1] && !lower_only) {
            mf_message(log, "ERROR!!!\tEMPTY COLUMN:%d\r\n", j + 1);
            return Status::EMPTY_COLUMN;
        }
        bool has_diagonal = false;
        if (const Status status = check_column(log, pattern, j, lower_only, has_diagonal);
            status != Status::OK)
            return status;
        if (!has_diagonal) ++n_without_diagonal;
    }

    double measure = 1;
    if (!lower_only)
        if (const Status status = mf_symmetry_measure(context, pattern, measure); status != Status::OK)
            return status;
    statistics.symmetry_origin = statistics.symmetry = measure;
    statistics.no_diagonal = n_without_diagonal;
    return Status::OK;
}

Status mf_check_repeats(Context& context, const Pattern& pattern) noexcept {
    const std::int32_t* const row_ind = pattern.row_ind;
    Buffer<std::int32_t> column_of; // by row: the last column out of order that stores it
    for (std::int32_t j = 0; j < pattern.n; ++j) {
        const std::int32_t begin = pattern.col_ptr[j], end = pattern.col_ptr[j + 1];
        if (std::adjacent_find(row_ind + begin, row_ind + end, std::greater_equal<>()) == row_ind + end)
            continue;
        if (!column_of) column_of = Buffer<std::int32_t>(context.memory, pattern.n, -1);
        if (!column_of) return out_of_memory(context);
        for (std::int32_t e = begin; e < end; ++e)
            if (std::exchange(column_of[row_ind[e]], j) == j) return Status::DUPLICATE;
    }
    return Status::OK;
}

Status mf_scan_values(const Context& context, const Matrix& matrix, ValueRange& range) noexcept {
    const std::int32_t n = matrix.n;
    const std::int32_t* col_ptr = matrix.col_ptr;
    const std::int32_t* row_ind = matrix.row_ind;
    const Log& log = context.log;
    range = ValueRange{0, DBL_MAX};
    for (std::int32_t j = 0; j < n; ++j) {
        for (std::int32_t e = col_ptr[j]; e < col_ptr[j + 1]; ++e) {
            const double value = matrix.values[e];
            const double magnitude = std::fabs(value);
            if (value != value) {
                mf_message(log, "ERROR!!!\tNAN VALUE:(%d,%d,%g)\r\n", j + 1, row_ind[e] + 1, value);
                return Status::NAN_VALUE;
            }
            range.largest = std::max(range.largest, magnitude);
            if (magnitude == 0) continue;
            range.smallest_nonzero = std::min(range.smallest_nonzero, magnitude);
            if (magnitude < process_state().value_min || magnitude > process_state().value_max)
                mf_message(log, "WARNING!!!\tVALUE is not safe:(%d,%d,%g)\r\n", j + 1, row_ind[e] + 1, value);
        }
    }
    return Status::OK;
}

} // namespace vyr
