#include "solve/substitution.h"

#include "interface/process_state.h"
#include "solve/solve_ldlt.h"
#include "solve/solve_ldlt_ooc.h"
#include "solve/solve_llt.h"
#include "solve/solve_llt_ooc.h"

namespace vyr {

namespace {

void divide(std::int32_t n, double* x, const double* scale) noexcept {
    for (std::int32_t i = 0; i < n; ++i) x[i] /= scale[i];
}

} // namespace

Substitution::Substitution(mf_solver& solver, bool block) noexcept
    : solver_(solver),
      block_(block),
      type_(ctrl_int(CTRL_TYPE)),
      core_mode_(ctrl_int(CTRL_CORE_MODE)),
      scaling_(ctrl_int(CTRL_SCALING)) {}

// A factor that is not in core as a whole never reaches a kernel that expects it there. The block solve sends
// core mode 5 to the out-of-core kernel and the single solve does not: deliberate.
Status Substitution::run_kernel(double* x, std::int32_t nrhs) const noexcept {
    const bool stored_in_core = solver_.lu_values != nullptr;
    const bool in_core = stored_in_core && (core_mode_ == CORE_IN || core_mode_ == CORE_MAPPED);
    switch (type_) {
    case TYPE_SPD:
        if (in_core && block_) return mf_solve_llt_n(solver_, x, nrhs);
        if (in_core || (stored_in_core && core_mode_ == CORE_GBLAS && !block_))
            return mf_solve_llt(solver_, x);
        return mf_solve_llt_ooc(solver_, x);
    case TYPE_LDLT:
    case TYPE_CSYM:
        if (!in_core) return mf_solve_ldlt_ooc(solver_, x);
        return mf_solve_ldlt(solver_, x) == VYR_ERR_MEMORY ? VYR_ERR_MEMORY : VYR_OK;
    default:
        return VYR_OK; // no kernel serves the type: the vector stays as it is
    }
}

Status Substitution::apply(double* x, std::int32_t nrhs) const noexcept {
    const bool scale_rhs = (scaling_ == 1 || scaling_ == 3) && mf_scale_rhs != nullptr;
    const bool scale_sol = (scaling_ == 2 || scaling_ == 3) && mf_scale_sol != nullptr;
    if (scale_rhs) divide(solver_.n, x, mf_scale_rhs);
    if (const Status status = run_kernel(x, nrhs); status != VYR_OK) return status;
    if (scale_sol) divide(solver_.n, x, mf_scale_sol);
    return VYR_OK;
}

} // namespace vyr
