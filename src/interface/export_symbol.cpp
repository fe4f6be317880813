// VYR_symbol_ld: analysis of the pattern.
#include "interface/handle.h"
#include "interface/process_state.h"
#include "report/console.h"
#include "report/report.h"
#include "symbolic/symbolic.h"

#include <algorithm>

using namespace vyr;

namespace {

constexpr double MAX_REFINEMENT = 2;

} // namespace

extern "C" VYR_handle VYR_symbol_ld(void* /*reserved*/, int n, const int* colPtr, const int* rowInd) {
    const int core_mode = ctrl_int(CTRL_CORE_MODE);
    if (core_mode == CORE_GPU || core_mode == CORE_GBLAS) {
        mf_print("\r\nGPU_CORE or GBLAS_CORE must define _USE_CUDA_LIB_! Switched to ORNE_IN_CORE.");
        mf_ctrl[CTRL_CORE_MODE] = CORE_IN;
    }
    mf_ctrl[CTRL_FLAGS] = 0; // silent from here on
    mf_scale_rhs = nullptr;
    mf_scale_sol = nullptr;
    mf_ctrl[CTRL_TYPE] = TYPE_SPD;

    auto* solver = mf_symbol(n, colPtr, rowInd);
    mf_ctrl[CTRL_REFINEMENT_LIMIT] = std::min(mf_ctrl[CTRL_REFINEMENT_LIMIT], MAX_REFINEMENT);
    if (solver == nullptr) {
        mf_write_report();
        if (mf_param != nullptr) mf_param[VYR_PARAM_STATUS] = mf_info[INFO_STATUS];
    }
    return to_handle(solver);
}
