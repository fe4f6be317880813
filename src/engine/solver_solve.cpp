#include "solve/solve.h"
#include "core/finite.h"
#include "engine/engine.h"
#include "engine/residual.h"
#include "engine/solver.h"

#include <algorithm>
#include <cmath>

namespace vyr {

namespace {

/// A block of columns with its leading dimension.
struct Columns {
    double* data;
    std::int64_t ld;

    double* of(std::int32_t j) const noexcept { return data + j * ld; }
};

/// Solves in place: columns of n doubles one behind the other.
Status solve_block(Context& context, const SolverFactor& solver, double* x, std::int32_t nrhs) noexcept {
    const Factor& factor = solver.factor;
    const std::int32_t n = factor.analysis->n;
    const Matrix matrix{{n, nullptr, nullptr}, nullptr}; // no residual is formed here
    const bool block = nrhs > 1 && (factor.has_delayed() || (solver.type == TYPE_SPD && factor.lu_values));
    const std::int32_t width = block ? nrhs : 1;
    for (std::int32_t k = 0; k < nrhs; k += width) {
        if (mf_stop(context)) return Status::CANCELLED;
        if (const Status status = mf_solve(context, factor, matrix, x + std::int64_t{k} * n, width, block);
            status != Status::OK)
            return status;
    }
    return Status::OK;
}

/// The same for columns with any leading dimension.
Status solve_columns(Context& context, const SolverFactor& solver, std::int32_t nrhs, Columns x) noexcept {
    const std::int64_t n = solver.analysis.canonical.n;
    if (nrhs == 1 || x.ld == n) return solve_block(context, solver, x.data, nrhs);
    Buffer<double> work(context.memory, n * nrhs);
    if (!work) return out_of_memory(context);
    for (std::int32_t j = 0; j < nrhs; ++j) std::copy_n(x.of(j), n, work.get() + j * n);
    const Status status = solve_block(context, solver, work.get(), nrhs);
    for (std::int32_t j = 0; j < nrhs; ++j) std::copy_n(work.get() + j * n, n, x.of(j));
    return status;
}

/// Wilkinson, "Rounding Errors in Algebraic Processes", 1963, with residuals in working precision (Skeel,
/// "Iterative refinement implies numerical stability for Gaussian elimination", Math. Comp. 35, 1980).
class Refinement {
public:
    Refinement(Context& context, const SolverFactor& solver, std::int32_t nrhs, const double* b,
               std::int64_t ldb, Columns x) noexcept
        : context_(context), solver_(solver), nrhs_(nrhs), b_(b), ldb_(ldb), x_(x) {}

    Status error(const double* x, std::int64_t ldx, double& error) const noexcept {
        return mf_backward_error(context_, solver_.matrix(), solver_.norm, x, b_, nrhs_, ldx, ldb_, error);
    }

    /// Improves x for as long as each step at least halves the error and it is above `good`.
    Status run(double good, SolveCall& call) noexcept {
        const std::int64_t n = solver_.analysis.canonical.n;
        const int most = call.refinements;
        call.refinements = 0;
        if (const Status status = error(x_.data, x_.ld, call.backward_error); status != Status::OK)
            return status;
        if (most == 0 || !(call.backward_error > good)) return Status::OK;
        Buffer<double> better(context_.memory, n * nrhs_);
        if (!better) return out_of_memory(context_);
        while (call.refinements < most && call.backward_error > good) {
            if (const Status status = step(better.get()); status != Status::OK) return status;
            double better_error = 0;
            if (const Status status = error(better.get(), n, better_error); status != Status::OK)
                return status;
            if (!(better_error <= 0.5 * call.backward_error)) break;
            for (std::int32_t j = 0; j < nrhs_; ++j) std::copy_n(better.get() + j * n, n, x_.of(j));
            call.backward_error = better_error;
            ++call.refinements;
        }
        return Status::OK;
    }

private:
    /// better := x plus the solution for the residual of x.
    Status step(double* better) noexcept {
        const std::int64_t n = solver_.analysis.canonical.n;
        for (std::int32_t j = 0; j < nrhs_; ++j) {
            double* column = better + j * n;
            mf_multiply(solver_.matrix(), x_.of(j), column);
            for (std::int64_t i = 0; i < n; ++i) column[i] = b_[j * ldb_ + i] - column[i];
        }
        if (const Status status = solve_columns(context_, solver_, nrhs_, {better, n}); status != Status::OK)
            return status;
        for (std::int32_t j = 0; j < nrhs_; ++j)
            for (std::int64_t i = 0; i < n; ++i) better[j * n + i] += x_.of(j)[i];
        return Status::OK;
    }

    Context& context_;
    const SolverFactor& solver_;
    std::int32_t nrhs_;
    const double* b_;
    std::int64_t ldb_;
    Columns x_;
};

constexpr double GOOD_ERROR = 1e-14; ///< solutions with a backward error up to this one are left as they are

} // namespace

Status mf_solver_apply(Context& context, const SolverFactor& solver, double* x) noexcept {
    context.settings.type = solver.type;
    return solve_columns(context, solver, 1, {x, solver.analysis.canonical.n});
}

Status mf_solver_solve(Context& context, const SolverFactor& solver, std::int32_t nrhs, const double* b,
                       std::int64_t ldb, double* x, std::int64_t ldx, SolveCall& call) noexcept {
    const std::int64_t n = solver.analysis.canonical.n;
    context.settings.type = solver.type;
    context.settings.refinement_limit = 1;
    mf_begin_phase(context, PHASE_SOLVE, nrhs);
    for (std::int32_t j = 0; j < nrhs; ++j)
        if (!all_finite(b + j * ldb, n))
            return fail(context, Status::NAN_VALUE, "a right-hand side holds a value that is not finite");
    const bool judged =
        solver.keep_matrix && (call.refinements > 0 || call.wants_error || call.error_limit > 0);
    Buffer<double> copy; // of right-hand sides that the solutions take the place of
    if (judged && b == x) {
        copy = Buffer<double>(context.memory, n * nrhs);
        if (!copy) return out_of_memory(context);
        for (std::int32_t j = 0; j < nrhs; ++j) std::copy_n(b + j * ldb, n, copy.get() + j * n);
        b = copy.get();
        ldb = n;
    }
    if (b != x)
        for (std::int32_t j = 0; j < nrhs; ++j) std::copy_n(b + j * ldb, n, x + j * ldx);
    if (const Status status = solve_columns(context, solver, nrhs, {x, ldx}); status != Status::OK)
        return status;
    if (!judged) {
        call.refinements = 0;
        return Status::OK;
    }
    Refinement refinement(context, solver, nrhs, b, ldb, {x, ldx});
    if (const Status status = refinement.run(GOOD_ERROR, call); status != Status::OK) return status;
    if (call.error_limit > 0 && !(call.backward_error <= call.error_limit))
        return fail(context, Status::INACCURATE, "the backward error is %.1e, above the limit of %.1e",
                    call.backward_error, call.error_limit);
    return Status::OK;
}

} // namespace vyr
