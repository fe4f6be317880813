// VYR_solve_ld and VYR_solve_N_ld.
#include "engine/engine.h"
#include "interface/handle.h"
#include "interface/process_state.h"

using namespace vyr;

namespace {

/// Only a factor of this order and of the type in force solves; otherwise the status that says why not.
Status may_solve(const mf_solver& solver, std::int32_t n, int type) noexcept {
    if (n != solver.analysis.n) return Status::HANDLE;
    if (solver.factor_status != Status::OK) return solver.factor_status;
    return type == solver.factor_type ? Status::OK : Status::TYPE;
}

/// The exports answer 0 whatever happens; a failure shows in the status slot.
int solve(VYR_handle handle, const Matrix& matrix, double* b, int n_rhs, bool block) noexcept {
    const mf_solver* h = live_handle(handle);
    if (h == nullptr || b == nullptr || n_rhs < 1) return VYR_OK;
    Call call;
    Status status = may_solve(*h, matrix.n, call.context.settings.type);
    if (status == Status::OK) status = mf_solve_system(call.context, h->factor, matrix, b, n_rhs, block);
    // A factor file that cannot be read shows in the solution alone.
    if (status != Status::OK && status != Status::FACTOR_FILE) set_info_status(status);
    return VYR_OK;
}

} // namespace

extern "C" int VYR_solve_ld(VYR_handle h, void* /*reserved*/, int n, const int* colPtr, const int* rowInd,
                            const double* values, double* b) {
    return solve(h, Matrix{{n, colPtr, rowInd}, values}, b, 1, false);
}

extern "C" int VYR_solve_N_ld(VYR_handle h, void* /*reserved*/, int n, const int* colPtr, const int* rowInd,
                              const double* values, double* B, int nRhs) {
    return solve(h, Matrix{{n, colPtr, rowInd}, values}, B, nRhs, true);
}
