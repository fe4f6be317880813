// VYR_clear_ld: the end of a matrix.
#include "interface/handle.h"
#include "interface/process_state.h"
#include "memory/accounted_alloc.h"
#include "report/report.h"

using namespace vyr;

extern "C" int VYR_clear_ld(VYR_handle h) {
    if ((ctrl_int(CTRL_FLAGS) & FLAG_REPORT_AT_CLEAR) != 0) mf_write_report();
    mf_free(mf_scale_rhs);
    mf_free(mf_scale_sol);
    mf_scale_rhs = nullptr;
    mf_scale_sol = nullptr;
    mf_release_solver(from_handle(h));
    return VYR_OK;
}
