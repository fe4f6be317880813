// Checks of the caller's matrix: its structure at the start, its values before every factorization.
#pragma once

#include "core/analysis.h"
#include "core/context.h"

#include <cstdint>

namespace vyr {

/// Checks the structure of a compressed-column matrix and records order, entries, symmetry measure and
/// missing diagonals in the statistics. pattern.n is n_cols.
///
/// Returns OK, NULL_MATRIX, EMPTY_MATRIX, EMPTY_COLUMN, DUPLICATE, STRUCTURE, NOT_SQUARE, UPPER_ENTRY, or
/// MEMORY for the symmetry measure of types that store both triangles. Prints what it finds when messages are
/// on. Cost: one pass, two for the symmetry measure.
Status mf_check_input(Context& context, std::int32_t n_rows, std::int32_t n_cols,
                      const Pattern& pattern) noexcept;

/// Matched off-diagonal positions over stored off-diagonal entries, on a scale that counts each match from
/// both sides and the diagonal along with them: a symmetric pattern with a full diagonal gives 2 nnz / (nnz -
/// n).
///
/// The structure must have been checked. Infinite or not a number when only diagonal entries are stored.
/// Returns OK or MEMORY.
Status mf_symmetry_measure(Context& context, const Pattern& pattern, double& measure) noexcept;

/// Looks for entries that a column stores twice, neighbours or not; entries above the diagonal and their
/// mirror images are no repeats. The structure must have been checked.
///
/// Returns OK, DUPLICATE, or MEMORY, which only columns out of order need. Cost: one pass.
Status mf_check_repeats(Context& context, const Pattern& pattern) noexcept;

/// Extremes of the absolute values.
struct ValueRange {
    double largest;
    double smallest_nonzero; ///< DBL_MAX when every value is zero
};

/// Scans all values in column order: a NaN ends the scan with NAN_VALUE, unsafe magnitudes draw a warning.
/// The structure must have been checked.
Status mf_scan_values(const Context& context, const Matrix& matrix, ValueRange& range) noexcept;

} // namespace vyr
