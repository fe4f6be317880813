#include "solve/substitution.h"

#include "solve/solve_delayed.h"

namespace vyr {

namespace {

void divide(double* x, const Buffer<double>& scale) noexcept {
    for (std::int64_t i = 0; i < scale.count(); ++i) x[i] /= scale[i];
}

// A factor that is not in core as a whole never reaches a kernel that expects it there. The block solve sends
// core mode 5 to the out-of-core kernel and the single solve does not: deliberate.
Status run_kernel(Context& context, const Factor& factor, double* x, std::int32_t nrhs, bool block) noexcept {
    if (factor.has_delayed())
        return mf_solve_delayed(context, factor, x, block ? nrhs : 1, factor.analysis->n);
    const int mode = context.settings.core_mode;
    const bool stored_in_core = static_cast<bool>(factor.lu_values);
    const bool in_core = stored_in_core && (mode == CORE_IN || mode == CORE_MAPPED);
    switch (context.settings.type) {
    case TYPE_SPD:
        if (in_core || (stored_in_core && mode == CORE_GBLAS && !block))
            return mf_solve_llt(context, factor, x, block ? nrhs : 1);
        return mf_solve_llt_ooc(context, factor, x);
    case TYPE_LDLT:
    case TYPE_CSYM:
        return in_core ? mf_solve_ldlt(context, factor, x) : mf_solve_ldlt_ooc(context, factor, x);
    default:
        return Status::OK; // no kernel serves the type: the vector stays as it is
    }
}

} // namespace

Status mf_substitute(Context& context, const Factor& factor, double* x, std::int32_t nrhs,
                     bool block) noexcept {
    const int scaling = context.settings.scaling;
    if (scaling == 1 || scaling == 3) divide(x, factor.scale_rhs);
    const Status status = run_kernel(context, factor, x, nrhs, block);
    // Without one of its files the factor still gives a vector, which is in the scaled numbers.
    if (status != Status::OK && status != Status::FACTOR_FILE) return status;
    if (scaling == 2 || scaling == 3) divide(x, factor.scale_sol);
    return status;
}

} // namespace vyr
