#include "solve/solve.h"
#include "core/finite.h"
#include "engine/engine.h"
#include "engine/solver.h"

#include <algorithm>

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

} // namespace

Status mf_solver_apply(Context& context, const SolverFactor& solver, std::int32_t nrhs, double* x) noexcept {
    context.settings.type = solver.type;
    return solve_block(context, solver, x, nrhs);
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
    if (const Status status = mf_refine(context, solver, nrhs, b, ldb, x, ldx, call); status != Status::OK)
        return status;
    if (call.error_limit > 0 && !(call.backward_error <= call.error_limit))
        return fail(context, Status::INACCURATE, "the backward error is %.1e, above the limit of %.1e",
                    call.backward_error, call.error_limit);
    return Status::OK;
}

} // namespace vyr
