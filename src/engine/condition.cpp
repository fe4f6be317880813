// The norm of the inverse: W. W. Hager, "Condition estimates", SIAM J. Sci. Stat. Comput. 5 (1984), in the
// form of N. J. Higham, "FORTRAN codes for estimating the one-norm of a real or complex matrix", ACM Trans.
// Math. Softw. 14 (1988). The operator is symmetric, so one solve serves for it and for its transpose.
#include "engine/condition.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vyr {

namespace {

/// Steps from vertex to vertex; more than three are rare.
constexpr int MOST_STEPS = 5;

double scale_of(const double* scale, std::int32_t i) noexcept {
    return scale != nullptr ? scale[i] : 1.0;
}

/// Largest column sum of magnitudes of S A S. sum: n, scratch, zeroed.
double norm_one(const Matrix& a, const double* scale, double* sum) noexcept {
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t k = a.col_ptr[j]; k < a.col_ptr[j + 1]; ++k) {
            const std::int32_t i = a.row_ind[k];
            const double magnitude = std::fabs(a.values[k]) * scale_of(scale, i) * scale_of(scale, j);
            sum[j] += magnitude;
            if (i != j) sum[i] += magnitude;
        }
    return *std::max_element(sum, sum + a.n);
}

/// Climbs to a vertex of the unit ball of the 1-norm where the norm of B x is largest nearby, B = (S A S)^-1.
class NormEstimate {
public:
    NormEstimate(std::int32_t n, const InverseOperator& inverse, const double* scale, double* x,
                 double* signs) noexcept
        : n_(n), inverse_(inverse), scale_(scale), x_(x), signs_(signs) {}

    /// Raises `norm` from 0.
    [[nodiscard]] Status run(double& norm) noexcept;

private:
    [[nodiscard]] Status apply() noexcept;
    [[nodiscard]] Status climb(double& norm) noexcept;
    [[nodiscard]] Status try_alternating(double& norm) noexcept;
    double norm_of_x() const noexcept;
    std::int32_t largest() const noexcept;
    bool take_signs() noexcept;

    std::int32_t n_;
    const InverseOperator& inverse_;
    const double* scale_;
    double* x_;     ///< n
    double* signs_; ///< n: signs of the last B x at a vertex
};

/// x := B x.
Status NormEstimate::apply() noexcept {
    for (std::int32_t i = 0; scale_ != nullptr && i < n_; ++i) x_[i] /= scale_[i];
    const Status status = inverse_.apply(inverse_.self, x_);
    for (std::int32_t i = 0; scale_ != nullptr && i < n_; ++i) x_[i] /= scale_[i];
    return status;
}

double NormEstimate::norm_of_x() const noexcept {
    double sum = 0;
    for (std::int32_t i = 0; i < n_; ++i) sum += std::fabs(x_[i]);
    return sum;
}

std::int32_t NormEstimate::largest() const noexcept {
    const auto below = [](double a, double b) { return std::fabs(a) < std::fabs(b); };
    return static_cast<std::int32_t>(std::max_element(x_, x_ + n_, below) - x_);
}

/// Replaces x by its signs; false when they are the ones of the time before.
bool NormEstimate::take_signs() noexcept {
    bool changed = false;
    for (std::int32_t i = 0; i < n_; ++i) {
        x_[i] = x_[i] < 0 ? -1.0 : 1.0;
        changed = changed || x_[i] != signs_[i];
        signs_[i] = x_[i];
    }
    return changed;
}

// B sign(B x) is the gradient of |B x| at x: its largest component names the vertex to try next. No vertex is
// better when it is the present one, or when the signs, and with them the gradient, have not changed.
Status NormEstimate::climb(double& norm) noexcept {
    std::fill_n(x_, n_, 1.0 / n_);
    std::fill_n(signs_, n_, 0.0);
    if (const Status status = apply(); status != Status::OK) return status;
    norm = norm_of_x();
    std::int32_t vertex = -1;
    for (int step = 0; step < MOST_STEPS && take_signs(); ++step) {
        if (const Status status = apply(); status != Status::OK) return status;
        const std::int32_t next = largest();
        if (vertex >= 0 && std::fabs(x_[next]) == std::fabs(x_[vertex])) break;
        vertex = next;
        std::fill_n(x_, n_, 0.0);
        x_[vertex] = 1;
        if (const Status status = apply(); status != Status::OK) return status;
        const double norm_here = norm_of_x();
        if (norm_here <= norm) break;
        norm = norm_here;
    }
    return Status::OK;
}

/// A vector that catches matrices for which the climb sees nothing because of cancellation.
Status NormEstimate::try_alternating(double& norm) noexcept {
    for (std::int32_t i = 0; i < n_; ++i)
        x_[i] = (i % 2 == 0 ? 1.0 : -1.0) * (1.0 + static_cast<double>(i) / std::max(n_ - 1, 1));
    const Status status = apply();
    const double bound = 2 * norm_of_x() / (3.0 * n_);
    if (!(bound <= norm)) norm = bound; // also when it is not a number
    return status;
}

Status NormEstimate::run(double& norm) noexcept {
    const Status status = climb(norm);
    return status == Status::OK ? try_alternating(norm) : status;
}

} // namespace

Status mf_condition(Context& context, const Matrix& a, const InverseOperator& inverse, const double* scale,
                    double& condition) noexcept {
    Buffer<double> x = Buffer<double>::zeroed(context.memory, a.n), signs(context.memory, a.n);
    if (!x || !signs) return out_of_memory(context);
    const double norm = norm_one(a, scale, x.get());
    double norm_of_inverse = 0;
    NormEstimate estimate(a.n, inverse, scale, x.get(), signs.get());
    const Status status = estimate.run(norm_of_inverse);
    condition = norm * norm_of_inverse;
    if (!std::isfinite(condition)) condition = std::numeric_limits<double>::infinity();
    return status;
}

} // namespace vyr
