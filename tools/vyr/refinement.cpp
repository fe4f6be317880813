// Wilkinson, "Rounding Errors in Algebraic Processes", 1963; with residuals in working precision, which is
// enough for a small backward error (Skeel, "Iterative refinement implies numerical stability for Gaussian
// elimination", Math. Comp. 35, 1980).
#include "tools/vyr/refinement.h"

#include "tools/vyr/norms.h"

#include <utility>
#include <vector>

namespace vyr::tool {

namespace {

/// Each step gains the digits that the factorization kept: after this many there is nothing left to gain.
constexpr int MOST_STEPS = 10;

/// x plus the solution for the residual of x.
DenseMatrix corrected(const SparseMatrix& a, VYR_handle h, const DenseMatrix& b, const DenseMatrix& x) {
    DenseMatrix better = x;
    for (std::int32_t j = 0; j < b.n_cols; ++j) {
        std::vector<double> step = multiply(a, x.column(j));
        for (std::int32_t i = 0; i < a.n; ++i) step[i] = b.column(j)[i] - step[i];
        VYR_solve_ld(h, nullptr, a.n, a.col_ptr.data(), a.row_ind.data(), a.values.data(), step.data());
        for (std::int32_t i = 0; i < a.n; ++i) better.column(j)[i] += step[i];
    }
    return better;
}

} // namespace

int refine(const SparseMatrix& a, VYR_handle h, const DenseMatrix& b, DenseMatrix& x) {
    double error = backward_error(a, x, b);
    for (int step = 0; step < MOST_STEPS; ++step) {
        if (!(error > GOOD_BACKWARD_ERROR)) return step;
        DenseMatrix better = corrected(a, h, b, x);
        const double better_error = backward_error(a, better, b);
        if (!(better_error <= 0.5 * error)) return step;
        x = std::move(better);
        error = better_error;
    }
    return MOST_STEPS;
}

} // namespace vyr::tool
