// VYR_solve_ld and VYR_solve_N_ld.
#include "engine/engine.h"
#include "interface/handle.h"
#include "interface/process_state.h"

using namespace vyr;

namespace {

/// The exports answer 0 whatever happens; a failure shows in the status slot.
int solve(VYR_handle h, const Matrix& matrix, double* b, int n_rhs, bool block) noexcept {
    if (h == nullptr || b == nullptr || n_rhs < 1) return VYR_OK;
    Call call;
    const Status status = mf_solve_system(call.context, h->factor, matrix, b, n_rhs, block);
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
