#include "engine/residual.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vyr {

namespace {

/// Calls visit(row, column, value) for every stored entry.
template <typename Visit>
void for_each_entry(const Matrix& a, Visit visit) noexcept {
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t k = a.col_ptr[j]; k < a.col_ptr[j + 1]; ++k) visit(a.row_ind[k], j, a.values[k]);
}

/// Largest magnitude; NaN when there is one.
double largest(const double* x, std::int32_t n) noexcept {
    double result = 0;
    for (std::int32_t i = 0; i < n; ++i) {
        const double magnitude = std::abs(x[i]);
        if (!(magnitude <= result)) result = magnitude;
        if (std::isnan(result)) break;
    }
    return result;
}

} // namespace

void mf_multiply(const Matrix& a, const double* x, double* y) noexcept {
    std::fill_n(y, a.n, 0.0);
    for_each_entry(a, [&](std::int32_t i, std::int32_t j, double value) {
        y[i] += value * x[j];
        if (i != j) y[j] += value * x[i];
    });
}

Status mf_norm_inf(Context& context, const Matrix& a, double& norm) noexcept {
    auto row_sum = Buffer<double>::zeroed(context.memory, a.n);
    if (!row_sum) return out_of_memory(context);
    for_each_entry(a, [&](std::int32_t i, std::int32_t j, double value) {
        row_sum[i] += std::abs(value);
        if (i != j) row_sum[j] += std::abs(value);
    });
    norm = largest(row_sum.get(), a.n);
    return Status::OK;
}

Status mf_backward_error(Context& context, const Matrix& a, double norm, const double* x, const double* b,
                         std::int32_t nrhs, std::int64_t ldx, std::int64_t ldb, double& error) noexcept {
    Buffer<double> residual(context.memory, a.n);
    if (!residual) return out_of_memory(context);
    error = std::numeric_limits<double>::quiet_NaN();
    if (!std::isfinite(norm)) return Status::OK;
    double worst = 0;
    for (std::int32_t k = 0; k < nrhs; ++k, x += ldx, b += ldb) {
        mf_multiply(a, x, residual.get());
        for (std::int32_t i = 0; i < a.n; ++i) residual[i] = b[i] - residual[i];
        const double size = largest(residual.get(), a.n);
        if (size == 0) continue;
        // Divided by |A| throughout, so that entries near the largest double do not overflow the product.
        const double relative = size / norm / (largest(x, a.n) + largest(b, a.n) / norm);
        if (!std::isfinite(relative)) return Status::OK;
        worst = std::max(worst, relative);
    }
    error = worst;
    return Status::OK;
}

Status mf_backward_error(Context& context, const Matrix& a, const double* x, const double* b,
                         std::int32_t nrhs, std::int64_t ldx, std::int64_t ldb, double& error) noexcept {
    double norm = 0;
    const Status status = mf_norm_inf(context, a, norm);
    if (status != Status::OK) return status;
    return mf_backward_error(context, a, norm, x, b, nrhs, ldx, ldb, error);
}

} // namespace vyr
