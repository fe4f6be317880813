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

/// The factorised structure may number the equations another way than the caller: order[k] is the caller's
/// equation k; null when they are the same.
const std::int32_t* caller_order(const vyr_factor& factor) noexcept {
    const Pairing& pairing = factor.solver.structure().pairing;
    return pairing.ties ? pairing.order.get() : nullptr;
}

bool begins_with_p(std::int32_t part) noexcept {
    return part == VYR_PART_P || part == VYR_PART_PL;
}

bool ends_with_pt(std::int32_t part) noexcept {
    return part == VYR_PART_PT || part == VYR_PART_LTPT;
}

/// One column through a part of the factorization, from and to the caller's numbering.
Status solve_part(Context& context, const vyr_factor& factor, std::int32_t part, double* x,
                  double* scratch) noexcept {
    const std::int32_t* order = caller_order(factor);
    const std::int32_t n = factor.solver.analysis.canonical.n;
    if (order != nullptr && begins_with_p(part)) {
        for (std::int32_t k = 0; k < n; ++k) scratch[k] = x[order[k]];
        std::copy_n(scratch, n, x);
    }
    const Status status =
        mf_solve_part(context, factor.solver.factor(), static_cast<SolvePart>(part), x, 1, n);
    if (order != nullptr && ends_with_pt(part)) {
        std::copy_n(x, n, scratch);
        for (std::int32_t k = 0; k < n; ++k) x[order[k]] = scratch[k];
    }
    return status;
}

struct Inverse {
    Context& context;
    const SolverFactor& solver;

    static Status apply(void* self, double* x) noexcept {
        auto& inverse = *static_cast<Inverse*>(self);
        return mf_solver_apply(inverse.context, inverse.solver, x);
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
    Buffer<double> scratch(grant.context().memory, factor->solver.analysis.canonical.n);
    if (!scratch) return VYR_STATUS_MEMORY;
    for (std::int32_t j = 0; j < nrhs; ++j)
        if (const Status status = solve_part(grant.context(), *factor, part, x + j * ldx, scratch.get());
            status != Status::OK)
            return grant.answer(status);
    return VYR_STATUS_OK;
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
    const Status status = mf_pivot_summary(grant.context(), factor->solver.factor(), summary);
    *logarithm = summary.log_abs_det;
    *sign = summary.sign;
    return grant.answer(status);
}

extern "C" vyr_status vyr_factor_diagonal(const vyr_factor* factor, double* diagonal, double* beside) {
    if (factor == nullptr || diagonal == nullptr) return VYR_STATUS_NULL;
    SolveGrant grant(factor);
    if (grant.status() != VYR_STATUS_OK) return grant.status();
    return grant.answer(mf_factor_diagonal(grant.context(), factor->solver.factor(), diagonal, beside));
}

extern "C" vyr_status vyr_factor_pivots(const vyr_factor* factor, double* pivots) {
    if (factor == nullptr || pivots == nullptr) return VYR_STATUS_NULL;
    SolveGrant grant(factor);
    if (grant.status() == VYR_STATUS_BUSY) return VYR_STATUS_BUSY;
    if (factor->status != VYR_STATUS_OK && factor->status != VYR_STATUS_NOT_POSITIVE)
        return VYR_STATUS_NOT_FACTORISED;
    const SolverFactor& solver = factor->solver;
    const Factor& inner = solver.factor();
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
    const std::int32_t* caller = caller_order(*factor);
    for (std::int32_t k = 0; k < analysis.n && status == Status::OK; ++k) {
        const std::int32_t equation = caller == nullptr ? order[k] : caller[order[k]];
        pivots[equation] = diagonal[k] == -DBL_MAX ? std::numeric_limits<double>::quiet_NaN() : diagonal[k];
    }
    return grant.answer(status);
}

extern "C" vyr_status vyr_factor_columns(const vyr_factor* factor, int64_t* ptr, int32_t* ind, double* values,
                                         int32_t* order) {
    if (factor == nullptr || ptr == nullptr || (ind == nullptr) != (values == nullptr))
        return VYR_STATUS_NULL;
    SolveGrant grant(factor);
    if (grant.status() != VYR_STATUS_OK) return grant.status();
    const Status status =
        mf_factor_columns(grant.context(), factor->solver.factor(), ptr, ind, values, order);
    const std::int32_t* caller = caller_order(*factor);
    for (std::int32_t k = 0; order != nullptr && caller != nullptr && k < factor->solver.analysis.canonical.n;
         ++k)
        order[k] = caller[order[k]];
    return grant.answer(status);
}
