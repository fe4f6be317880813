// What a factor can tell beside solutions: parts of a solve, condition, determinant, the factor itself.
#include "api/common.h"

#include "engine/condition.h"
#include "engine/inspect.h"
#include "engine/memory_share.h"
#include "solve/solve.h"

#include <algorithm>
#include <cfloat>
#include <limits>

using namespace vyr;
using namespace vyr::api;

namespace {

struct Inverse {
    Context& context;
    const SolverFactor& solver;

    static Status apply(void* self, double* x) noexcept {
        auto& inverse = *static_cast<Inverse*>(self);
        return mf_solver_apply(inverse.context, inverse.solver, 1, x);
    }
};

} // namespace

extern "C" vyr_status vyr_solve_part(const vyr_factor* factor, int32_t part, int32_t nrhs, double* x,
                                     int64_t ldx) {
    if (factor == nullptr || x == nullptr) return VYR_STATUS_NULL;
    SolveGrant grant(factor);
    if (grant.status() != VYR_STATUS_OK) return grant.status();
    if (part < VYR_PART_P || part > VYR_PART_LTPT || bad_columns(*factor, nrhs, ldx))
        return VYR_STATUS_ARGUMENT;
    return grant.answer(
        mf_solve_part(grant.context(), factor->solver.factor, static_cast<SolvePart>(part), x, nrhs, ldx));
}

extern "C" vyr_status vyr_condition(const vyr_factor* factor, int32_t equilibrated, double* condition) {
    if (factor == nullptr || condition == nullptr) return VYR_STATUS_NULL;
    SolveGrant grant(factor);
    if (grant.status() != VYR_STATUS_OK) return grant.status();
    const SolverFactor& solver = factor->solver;
    if (!solver.keep_matrix) return VYR_STATUS_NOT_KEPT;
    Context& context = grant.context();
    Buffer<double> scale;
    if (equilibrated != 0) {
        scale = Buffer<double>(context.memory, solver.analysis.canonical.n);
        if (!scale) return VYR_STATUS_MEMORY;
        if (const Status status = mf_equilibration(context, solver.matrix(), scale.get());
            status != Status::OK)
            return grant.answer(status);
    }
    Inverse inverse{context, solver};
    const Status status =
        mf_condition(context, solver.matrix(), {&inverse, Inverse::apply}, scale.get(), *condition);
    if (status == Status::OK && equilibrated == 0) factor->condition.store(*condition);
    return grant.answer(status);
}

extern "C" vyr_status vyr_log_determinant(const vyr_factor* factor, double* logarithm, int32_t* sign) {
    if (factor == nullptr || logarithm == nullptr || sign == nullptr) return VYR_STATUS_NULL;
    SolveGrant grant(factor);
    if (grant.status() != VYR_STATUS_OK) return grant.status();
    PivotSummary summary;
    const Status status = mf_pivot_summary(grant.context(), factor->solver.factor, summary);
    *logarithm = summary.log_abs_det;
    *sign = summary.sign;
    return grant.answer(status);
}

extern "C" vyr_status vyr_factor_diagonal(const vyr_factor* factor, double* diagonal, double* beside) {
    if (factor == nullptr || diagonal == nullptr) return VYR_STATUS_NULL;
    SolveGrant grant(factor);
    if (grant.status() != VYR_STATUS_OK) return grant.status();
    return grant.answer(mf_factor_diagonal(grant.context(), factor->solver.factor, diagonal, beside));
}

extern "C" vyr_status vyr_factor_pivots(const vyr_factor* factor, double* pivots) {
    if (factor == nullptr || pivots == nullptr) return VYR_STATUS_NULL;
    SolveGrant grant(factor);
    if (grant.status() == VYR_STATUS_BUSY) return VYR_STATUS_BUSY;
    if (factor->status != VYR_STATUS_OK && factor->status != VYR_STATUS_NOT_POSITIVE)
        return VYR_STATUS_NOT_FACTORISED;
    const SolverFactor& solver = factor->solver;
    const Factor& inner = solver.factor;
    const Analysis& analysis = *inner.analysis;
    Buffer<double> diagonal(grant.context().memory, analysis.n);
    Buffer<std::int32_t> order(grant.context().memory, analysis.n);
    if (!diagonal || !order) return VYR_STATUS_MEMORY;
    Status status = Status::OK;
    if (solver.type == TYPE_SPD) {
        std::copy_n(inner.diag_values.get(), analysis.n, diagonal.get());
        std::copy_n(analysis.perm.get(), analysis.n, order.get());
    } else {
        status = mf_factor_diagonal(grant.context(), inner, diagonal.get(), nullptr);
        Buffer<std::int64_t> ptr(grant.context().memory, std::int64_t{analysis.n} + 1);
        if (!ptr) return VYR_STATUS_MEMORY;
        if (status == Status::OK)
            status = mf_factor_columns(grant.context(), inner, ptr.get(), nullptr, nullptr, order.get());
    }
    for (std::int32_t k = 0; k < analysis.n && status == Status::OK; ++k)
        pivots[order[k]] = diagonal[k] == -DBL_MAX ? std::numeric_limits<double>::quiet_NaN() : diagonal[k];
    return grant.answer(status);
}

extern "C" vyr_status vyr_factor_columns(const vyr_factor* factor, int64_t* ptr, int32_t* ind, double* values,
                                         int32_t* order) {
    if (factor == nullptr || ptr == nullptr || (ind == nullptr) != (values == nullptr))
        return VYR_STATUS_NULL;
    SolveGrant grant(factor);
    if (grant.status() != VYR_STATUS_OK) return grant.status();
    return grant.answer(mf_factor_columns(grant.context(), factor->solver.factor, ptr, ind, values, order));
}
