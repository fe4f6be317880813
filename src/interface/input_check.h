// Checks of the caller's matrix: its structure at the start, its values before every factorization.
#pragma once

#include "interface/status.h"

#include <cstdint>

namespace vyr {

/// Checks the structure of a compressed-column matrix and records order, entries, symmetry measure and
/// missing diagonals in mf_info, the status in INFO_STATUS.
///
/// Returns 0, -1, -2, -3, -4, -6, -7, -13, or -29 without memory for the symmetry measure of types that store
/// both triangles. Prints what it finds when messages are on. Cost: one pass, two for the symmetry measure.
[[nodiscard]] Status mf_check_input(std::int32_t n_rows, std::int32_t n_cols, const std::int32_t* col_ptr,
                                    const std::int32_t* row_ind) noexcept;

/// Extremes of the absolute values.
struct ValueRange {
    double largest;
    double smallest_nonzero; ///< DBL_MAX when every value is zero
};

/// Scans all values in column order: a NaN ends the scan with -8, unsafe magnitudes draw a warning.
/// The structure must have been checked.
[[nodiscard]] Status mf_scan_values(std::int32_t n, const std::int32_t* col_ptr, const std::int32_t* row_ind,
                                    const double* values, ValueRange& range) noexcept;

} // namespace vyr
