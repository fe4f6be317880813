#include "solve/substitution.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace vyr {

namespace {

constexpr double CONDITION_UNIT = 4503599627370496.0; ///< 2^52
constexpr double REQUIRED_REDUCTION = 10.0;

/// r := r - A x over the stored entries, mirrored for the off-diagonal ones of a stored triangle.
void subtract_product(const Matrix& matrix, bool mirrored, const double* x, double* r) noexcept {
    for (std::int32_t j = 0; j < matrix.n; ++j) {
        for (std::int32_t e = matrix.col_ptr[j]; e < matrix.col_ptr[j + 1]; ++e) {
            const std::int32_t i = matrix.row_ind[e];
            r[i] -= x[j] * matrix.values[e];
            if (mirrored && i != j) r[j] -= x[i] * matrix.values[e];
        }
    }
}

double largest(std::int32_t n, const double* v) noexcept {
    double result = 0;
    for (std::int32_t i = 0; i < n; ++i) result = std::max(result, std::fabs(v[i]));
    return result;
}

/// Largest residual relative to its right-hand side; rows with a zero right-hand side do not count. A figure
/// that is not a number is passed on: no comparison with it stops the iteration.
double relative_residual(std::int32_t n, const double* r, const double* b) noexcept {
    double w = 0;
    for (std::int32_t i = 0; i < n; ++i) {
        if (b[i] == 0) continue;
        const double ratio = std::fabs(r[i] / b[i]);
        if (ratio > w || ratio != ratio) w = ratio;
        if (w != w) break;
    }
    return w;
}

} // namespace

// R. D. Skeel, "Iterative refinement implies numerical stability for Gaussian elimination", Math. Comp. 35
// (1980). Here a solution is accepted only when it cuts the relative residual to a tenth.
Status mf_refine(Context& context, const Factor& factor, const Matrix& matrix, double* b,
                 bool block) noexcept {
    const std::int32_t n = matrix.n;
    const bool mirrored = is_lower_triangle_type(context.settings.type);
    Buffer<double> work(context.memory, 3 * static_cast<std::int64_t>(n), 0.0);
    if (!work) return out_of_memory(context);
    double* x_best = work.get();
    double* r = x_best + n;
    double* x_try = r + n;
    std::copy_n(b, n, r);

    double w_previous = DBL_MAX, w_first = 0, condition = 0;
    int n_accepted = 0;
    Status result = Status::OK;
    do {
        const Status status = mf_substitute(context, factor, r, 1, block);
        if (status != Status::OK && status != Status::FACTOR_FILE) return status;
        if (status != Status::OK) result = status;
        for (std::int32_t i = 0; i < n; ++i) x_try[i] = x_best[i] + r[i];
        std::copy_n(b, n, r);
        subtract_product(matrix, mirrored, x_try, r);
        const double w = relative_residual(n, r, b);
        if (n_accepted == 0) {
            condition = largest(n, r) / largest(n, x_try) * CONDITION_UNIT;
            w_first = w;
        }
        if (w > w_previous / REQUIRED_REDUCTION) break;
        ++n_accepted;
        w_previous = w;
        std::copy_n(x_try, n, x_best);
        if (w < DBL_EPSILON) break;
    } while (n_accepted < context.settings.refinement_limit);

    std::copy_n(x_best, n, b);
    context.statistics.condition = condition;
    mf_message(context, "\r\n\t\tcond=%g,iter=%d,w_0=%g", condition, n_accepted, w_first);
    return result;
}

} // namespace vyr
