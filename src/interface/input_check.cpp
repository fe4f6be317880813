#include "interface/input_check.h"

#include "interface/process_state.h"
#include "interface/symmetry_measure.h"
#include "report/console.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace vyr {

namespace {

/// Pointers ascend from 0 to nnz.
bool pointers_are_sound(std::int32_t n, const std::int32_t* col_ptr) noexcept {
    if (col_ptr[0] != 0) return false;
    for (std::int32_t j = 0; j < n; ++j)
        if (col_ptr[j + 1] < col_ptr[j] || col_ptr[j + 1] > col_ptr[n]) return false;
    return true;
}

/// Checks the entries of column j; `has_diagonal` tells whether the diagonal is stored.
Status check_column(std::int32_t n, std::int32_t j, const std::int32_t* col_ptr, const std::int32_t* row_ind,
                    bool lower_only, bool& has_diagonal) noexcept {
    std::int32_t previous = -1;
    has_diagonal = false;
    for (std::int32_t e = col_ptr[j]; e < col_ptr[j + 1]; ++e) {
        const std::int32_t row = row_ind[e];
        if (row == j) has_diagonal = true;
        if (row < previous)
            mf_message("WARNING!!!\tCOLUMN%d is not orderd:(%d,%d)\r\n", j + 1, previous, row);
        if (row == previous) {
            mf_message("WARNING!!!\tCOLUMN%d dupliacate entry:(%d,%d)\r\n", j + 1, previous, row);
            return VYR_ERR_DUPLICATE;
        }
        if (lower_only && row < j) {
            mf_message("ERROR!!!\tA(%d,%d) is not in the lower-triangular-part\r\n", row + 1, j + 1);
            return VYR_ERR_UPPER_ENTRY;
        }
        if (row < 0 || row >= n) return VYR_ERR_STRUCTURE;
        previous = row;
    }
    return VYR_OK;
}

Status check(std::int32_t n_rows, std::int32_t n_cols, const std::int32_t* col_ptr,
             const std::int32_t* row_ind) noexcept {
    mf_info[INFO_ROWS] = n_rows;
    mf_info[INFO_COLS] = n_cols;
    if (col_ptr != nullptr && n_cols >= 0) mf_info[INFO_NNZ] = col_ptr[n_cols];
    if (col_ptr == nullptr || row_ind == nullptr) return VYR_ERR_NULL_MATRIX;
    if (n_rows < 1 || n_cols < 1 || col_ptr[n_cols] < 1) return VYR_ERR_EMPTY_MATRIX;
    if (n_rows != n_cols) return VYR_ERR_NOT_SQUARE;
    if (!pointers_are_sound(n_cols, col_ptr)) return VYR_ERR_STRUCTURE;

    const bool lower_only = is_lower_triangle_type(ctrl_int(CTRL_TYPE));
    std::int32_t n_without_diagonal = 0;
    for (std::int32_t j = 0; j < n_cols; ++j) {
        if (col_ptr[j] == col_ptr[j + 1] && !lower_only) {
            mf_message("ERROR!!!\tEMPTY COLUMN:%d\r\n", j + 1);
            return VYR_ERR_EMPTY_COLUMN;
        }
        bool has_diagonal = false;
        if (const Status status = check_column(n_rows, j, col_ptr, row_ind, lower_only, has_diagonal);
            status != VYR_OK)
            return status;
        if (!has_diagonal) ++n_without_diagonal;
    }

    double measure = 1;
    if (!lower_only && !mf_symmetry_measure(n_cols, col_ptr, row_ind, measure)) return VYR_ERR_MEMORY;
    mf_info[INFO_SYM_ORIGIN] = mf_info[INFO_SYM] = measure;
    mf_info[INFO_NO_DIAGONAL] = mf_info[INFO_NO_DIAGONAL_COPY] = n_without_diagonal;
    return VYR_OK;
}

} // namespace

Status mf_check_input(std::int32_t n_rows, std::int32_t n_cols, const std::int32_t* col_ptr,
                      const std::int32_t* row_ind) noexcept {
    const Status status = check(n_rows, n_cols, col_ptr, row_ind);
    if (status != VYR_OK) set_info_status(status);
    return status;
}

Status mf_scan_values(std::int32_t n, const std::int32_t* col_ptr, const std::int32_t* row_ind,
                      const double* values, ValueRange& range) noexcept {
    range = ValueRange{0, DBL_MAX};
    for (std::int32_t j = 0; j < n; ++j) {
        for (std::int32_t e = col_ptr[j]; e < col_ptr[j + 1]; ++e) {
            const double value = values[e];
            const double magnitude = std::fabs(value);
            if (value != value) {
                mf_message("ERROR!!!\tNAN VALUE:(%d,%d,%g)\r\n", j + 1, row_ind[e] + 1, value);
                return VYR_ERR_NAN;
            }
            range.largest = std::max(range.largest, magnitude);
            if (magnitude == 0) continue;
            range.smallest_nonzero = std::min(range.smallest_nonzero, magnitude);
            if (magnitude < mf_value_min || magnitude > mf_value_max)
                mf_message("WARNING!!!\tVALUE is not safe:(%d,%d,%g)\r\n", j + 1, row_ind[e] + 1, value);
        }
    }
    return VYR_OK;
}

} // namespace vyr
