// Rows for the columns of a sparse matrix, so that the entries chosen are large: the largest product.
#pragma once

#include "core/analysis.h"
#include "core/context.h"

#include <cstdint>

namespace vyr {

/// A square matrix by columns whose entries are costs, finite ones. Borrowed.
struct CostMatrix : Pattern {
    const double* cost; ///< col_ptr[n]
};

/// A matching of rows and columns, and the dual variables that prove it the cheapest: cost >= row_dual[i] +
/// column_dual[j] for every entry, up to rounding, and equal for those matched.
struct WeightedMatching {
    Buffer<std::int32_t> row_of;          ///< n: row of each column, or -1
    Buffer<std::int32_t> column_of;       ///< n: column of each row, or -1
    Buffer<double> row_dual, column_dual; ///< n; of no use when columns are left because they have no rows
    std::int32_t n_matched = 0;
    bool complete = true; ///< false: the work was cut short; a larger matching may exist
};

/// Finds the matching of most columns, and of those with every column one of least cost.
///
/// most_steps   entries to look at before the work is cut short; the duals hold all the same where all
/// columns
///              could have had rows
/// matching     out: fresh; of no use after a failure
///
/// Returns OK, FACTOR_STORAGE without memory, or CANCELLED. Runs on the calling thread. Cost: mostly a few
/// passes over the entries; in the worst case n of them.
[[nodiscard]] Status mf_weighted_matching(Context& context, const CostMatrix& a, std::int64_t most_steps,
                                          WeightedMatching& matching) noexcept;

} // namespace vyr
