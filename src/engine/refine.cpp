// Wilkinson, "Rounding Errors in Algebraic Processes", 1963; with residuals in working precision, which is
// enough for a small backward error (Skeel, "Iterative refinement implies numerical stability for Gaussian
// elimination", Math. Comp. 35, 1980).
#include "engine/refine.h"

#include "engine/residual.h"
#include "solve/solve.h"

#include <algorithm>

namespace vyr {

namespace {

/// Each step gains the digits that the factorization kept: after this many there is nothing left to gain.
constexpr int MOST_STEPS = 10;

/// better = x plus the solution for the residual of x. correction: n doubles of scratch.
Status improve(Context& context, const Factor& factor, const Matrix& a, const double* b, const double* x,
               std::int32_t nrhs, double* correction, double* better) noexcept {
    for (std::int32_t j = 0; j < nrhs; ++j, b += a.n, x += a.n, better += a.n) {
        mf_multiply(a, x, correction);
        for (std::int32_t i = 0; i < a.n; ++i) correction[i] = b[i] - correction[i];
        const Status status = mf_solve(context, factor, a, correction, 1, false);
        if (status != Status::OK) return status;
        for (std::int32_t i = 0; i < a.n; ++i) better[i] = x[i] + correction[i];
    }
    return Status::OK;
}

} // namespace

Status mf_refine_columns(Context& context, const Factor& factor, const Matrix& a, const double* b, double* x,
                         std::int32_t nrhs, int& steps) noexcept {
    steps = 0;
    const std::int64_t n_values = std::int64_t{a.n} * nrhs;
    Buffer<double> better(context.memory, n_values), correction(context.memory, a.n);
    if (!better || !correction) return out_of_memory(context);
    double norm = 0, error = 0, better_error = 0;
    Status status = mf_norm_inf(context, a, norm);
    if (status == Status::OK) status = mf_backward_error(context, a, norm, x, b, nrhs, a.n, a.n, error);
    while (status == Status::OK && steps < MOST_STEPS && error > GOOD_BACKWARD_ERROR) {
        status = improve(context, factor, a, b, x, nrhs, correction.get(), better.get());
        if (status == Status::OK)
            status = mf_backward_error(context, a, norm, better.get(), b, nrhs, a.n, a.n, better_error);
        if (status != Status::OK || !(better_error <= 0.5 * error)) break;
        std::copy_n(better.get(), n_values, x);
        error = better_error;
        ++steps;
    }
    return status;
}

} // namespace vyr
