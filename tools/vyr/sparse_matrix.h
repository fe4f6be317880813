// The two matrix records that the tool, the benchmarks and the tests hand around.
#pragma once

#include <cstdint>
#include <vector>

namespace vyr::tool {

/// A symmetric matrix: its lower triangle by columns, 0-based, rows strictly ascending within a column.
struct SparseMatrix {
    std::int32_t n = 0;
    std::vector<std::int32_t> col_ptr; ///< n + 1
    std::vector<std::int32_t> row_ind; ///< col_ptr[n]
    std::vector<double> values;        ///< col_ptr[n]

    std::int32_t nnz() const { return static_cast<std::int32_t>(row_ind.size()); }
};

/// Column-major, leading dimension n_rows.
struct DenseMatrix {
    std::int32_t n_rows = 0;
    std::int32_t n_cols = 0;
    std::vector<double> values;

    double* column(std::int32_t j) { return values.data() + static_cast<std::int64_t>(j) * n_rows; }
    const double* column(std::int32_t j) const {
        return values.data() + static_cast<std::int64_t>(j) * n_rows;
    }
};

} // namespace vyr::tool
