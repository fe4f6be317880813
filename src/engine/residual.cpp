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

/// Divided by |A| throughout, so that entries near the largest double do not overflow the product.
double relative_error(double norm, double residual, double x, double b) noexcept {
    if (!std::isfinite(norm)) return std::numeric_limits<double>::quiet_NaN();
    if (residual == 0) return 0;
    const double relative = residual / norm / (x + b / norm);
    return std::isfinite(relative) ? relative : std::numeric_limits<double>::quiet_NaN();
}

void judge_alone(const Matrix& a, double norm, JudgedColumn& column, double* scratch) noexcept {
    double* r = column.residual != nullptr ? column.residual : scratch;
    mf_multiply(a, column.x, r);
    for (std::int32_t i = 0; i < a.n; ++i) r[i] = column.b[i] - r[i];
    column.error = relative_error(norm, largest(r, a.n), largest(column.x, a.n), largest(column.b, a.n));
}

constexpr std::int32_t LANES = 8; ///< columns judged together

/// y += value * x, LANES doubles.
void add_row(double value, const double* __restrict x, double* __restrict y) noexcept {
    for (std::int32_t q = 0; q < LANES; ++q) y[q] += value * x[q];
}

/// Up to LANES columns, side by side in x and r: LANES doubles for each equation.
void judge_together(const Matrix& a, double norm, JudgedColumn* columns, std::int32_t count, double* x,
                    double* r) noexcept {
    std::fill_n(x, std::int64_t{LANES} * a.n, 0.0);
    std::fill_n(r, std::int64_t{LANES} * a.n, 0.0);
    for (std::int32_t q = 0; q < count; ++q)
        for (std::int64_t i = 0; i < a.n; ++i) x[i * LANES + q] = columns[q].x[i];
    for_each_entry(a, [&](std::int64_t i, std::int64_t j, double value) {
        add_row(value, x + j * LANES, r + i * LANES);
        if (i != j) add_row(value, x + i * LANES, r + j * LANES);
    });
    for (std::int32_t q = 0; q < count; ++q) {
        JudgedColumn& column = columns[q];
        double* out = column.residual != nullptr ? column.residual : x; // x has served
        for (std::int64_t i = 0; i < a.n; ++i) out[i] = column.b[i] - r[i * LANES + q];
        column.error =
            relative_error(norm, largest(out, a.n), largest(column.x, a.n), largest(column.b, a.n));
    }
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

Status mf_judge(Context& context, const Matrix& a, double norm, JudgedColumn* columns,
                std::int32_t count) noexcept {
    const bool several = count > 1;
    Buffer<double> x(context.memory, several ? std::int64_t{LANES} * a.n : 0);
    Buffer<double> r(context.memory, several ? std::int64_t{LANES} * a.n : a.n);
    if (!x || !r) return out_of_memory(context);
    for (std::int32_t first = 0; first < count; first += LANES) {
        const std::int32_t width = std::min(count - first, LANES);
        if (several)
            judge_together(a, norm, columns + first, width, x.get(), r.get());
        else
            judge_alone(a, norm, columns[0], r.get());
    }
    return Status::OK;
}

} // namespace vyr
