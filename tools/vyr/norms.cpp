#include "tools/vyr/norms.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vyr::tool {

namespace {

/// Calls visit(row, column, value) for every stored entry.
template <typename Visit>
void for_each_entry(const SparseMatrix& a, Visit visit) {
    for (std::size_t j = 0; j < static_cast<std::size_t>(a.n); ++j)
        for (std::int32_t k = a.col_ptr[j]; k < a.col_ptr[j + 1]; ++k) {
            const std::size_t entry = static_cast<std::size_t>(k);
            visit(static_cast<std::size_t>(a.row_ind[entry]), j, a.values[entry]);
        }
}

/// Largest magnitude; NaN when there is one.
double largest(const double* x, std::int32_t n) {
    double result = 0;
    for (std::int32_t i = 0; i < n; ++i) {
        const double magnitude = std::abs(x[i]);
        if (!(magnitude <= result)) result = magnitude;
        if (std::isnan(result)) break;
    }
    return result;
}

} // namespace

std::vector<double> multiply(const SparseMatrix& a, const double* x) {
    std::vector<double> y(static_cast<std::size_t>(a.n), 0.0);
    for_each_entry(a, [&](std::size_t i, std::size_t j, double value) {
        y[i] += value * x[j];
        if (i != j) y[j] += value * x[i];
    });
    return y;
}

double norm_inf(const SparseMatrix& a) {
    std::vector<double> row_sum(static_cast<std::size_t>(a.n), 0.0);
    for_each_entry(a, [&](std::size_t i, std::size_t j, double value) {
        row_sum[i] += std::abs(value);
        if (i != j) row_sum[j] += std::abs(value);
    });
    return largest(row_sum.data(), a.n);
}

double backward_error(const SparseMatrix& a, const DenseMatrix& x, const DenseMatrix& b) {
    const double norm_a = norm_inf(a);
    if (!std::isfinite(norm_a)) return std::numeric_limits<double>::quiet_NaN();
    double worst = 0;
    for (std::int32_t k = 0; k < b.n_cols; ++k) {
        std::vector<double> residual = multiply(a, x.column(k));
        for (std::int32_t i = 0; i < a.n; ++i) {
            const std::size_t row = static_cast<std::size_t>(i);
            residual[row] = b.column(k)[i] - residual[row];
        }
        const double size = largest(residual.data(), a.n);
        if (size == 0) continue;
        // Divided by |A| throughout, so that entries near the largest double do not overflow the product.
        const double error = size / norm_a / (largest(x.column(k), a.n) + largest(b.column(k), a.n) / norm_a);
        if (!std::isfinite(error)) return std::numeric_limits<double>::quiet_NaN();
        worst = std::max(worst, error);
    }
    return worst;
}

DenseMatrix known_right_hand_sides(const SparseMatrix& a, std::int32_t n_rhs) {
    DenseMatrix b{a.n, n_rhs, {}};
    b.values.reserve(static_cast<std::size_t>(a.n) * static_cast<std::size_t>(n_rhs));
    std::vector<double> x(static_cast<std::size_t>(a.n));
    for (std::int64_t k = 0; k < n_rhs; ++k) {
        for (std::int64_t i = 0; i < a.n; ++i)
            x[static_cast<std::size_t>(i)] = 1.0 + static_cast<double>(i * k % 8) / 8.0;
        const std::vector<double> column = multiply(a, x.data());
        b.values.insert(b.values.end(), column.begin(), column.end());
    }
    return b;
}

} // namespace vyr::tool
