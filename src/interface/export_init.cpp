// VYR_init_ld and VYR_param_ld: settings in force, input check, platform facts.
#include "interface/input_check.h"
#include "interface/process_state.h"
#include "interface/status.h"
#include "memory/accounted_alloc.h"
#include "report/console.h"

#include <algorithm>
#include <cfloat>

namespace vyr {

namespace {

constexpr std::uint32_t LEAST_OS_MAJOR = 4;

/// An element of the caller's parameters; a missing array reads as zeros.
double parameter(const double* param, int element) noexcept {
    return param == nullptr ? 0.0 : param[element];
}

void copy_step_parameters(const double* param) noexcept {
    mf_ctrl[CTRL_PIVOT_MIN] = parameter(param, VYR_PARAM_PIVOT_MIN);
    mf_ctrl[CTRL_GROWTH_LIMIT] = parameter(param, VYR_PARAM_GROWTH);
    mf_ctrl[CTRL_BLOCKED] = parameter(param, VYR_PARAM_BLOCKED);
    mf_ctrl[CTRL_REFINEMENT_LIMIT] = 1; // whatever the caller asked for
}

void write_settings(int type, const double* param) noexcept {
    const bool both = type == TYPE_BOTH;
    mf_ctrl[CTRL_STRATEGY_S] = 2;
    mf_ctrl[CTRL_TYPE] = type;
    mf_ctrl[CTRL_RELAX] = both ? 0.2 : 0.01;
    mf_ctrl[CTRL_PIVOT_THRESHOLD] = both ? 0.9 : 0.1;
    mf_ctrl[CTRL_RESERVED_15] = 3;
    mf_ctrl[CTRL_BLOCK_SIZE] = 16;
    mf_ctrl[CTRL_STRATEGY_F] = 1;
    mf_ctrl[CTRL_PIVOTING] = 4;
    mf_ctrl[CTRL_RESERVED_19] = 100;
    mf_ctrl[CTRL_RESERVED_33] = 1;
    mf_ctrl[CTRL_RESERVED_21] = 1;
    const int core_mode = to_int(parameter(param, VYR_PARAM_CORE_MODE));
    if (core_mode == CORE_GPU || core_mode == CORE_GBLAS) mf_ctrl[CTRL_CORE_MODE] = core_mode;
    copy_step_parameters(param);
    mf_ctrl[CTRL_FLAGS] = parameter(param, VYR_PARAM_FLAGS);
}

/// Platform facts; the operating system's version decides whether the library runs at all.
Status gather_platform_facts() noexcept {
    platform::system_info(mf_system);
#ifdef VYR_TEST_HOOKS
    if (mf_test_hooks.os_major != 0) mf_system.os_major = mf_test_hooks.os_major;
#endif
    if (mf_system.os_major >= LEAST_OS_MAJOR) return VYR_OK;
    mf_print("%s must run on windows and its MAJOR VERSION NUMBER must >= 4 ", VERSION_STRING);
    set_info_status(VYR_ERR_PLATFORM);
    return VYR_ERR_PLATFORM;
}

} // namespace

} // namespace vyr

using namespace vyr;

extern "C" int VYR_init_ld(int nRows, int nCols, const int* colPtr, const int* rowInd,
                           const double* /*values*/, int matrixType, double* param) {
    std::fill_n(mf_ctrl, CTRL_COUNT, 0.0);
    std::fill_n(mf_info, INFO_COUNT, 0.0);
    mf_param = param;
    if (matrixType == TYPE_CSYM) {
        mf_print("\r\nWARNING!!!\ttype 13 is only for complex and symmetric matrix.\r\n\t\tIt will be "
                 "changed to 12 "
                 "by VYR.\r\n");
        matrixType = TYPE_LDLT;
    }
    write_settings(matrixType, param);
    mf_mem_restart();
    if (const Status status = mf_check_input(nRows, nCols, colPtr, rowInd); status != VYR_OK) return status;
    mf_value_min = 2 * DBL_MIN;
    mf_value_max = DBL_MAX / 8;
    if (const Status status = gather_platform_facts(); status != VYR_OK) return status;
    mf_heap_compact();
    return VYR_OK;
}

extern "C" int VYR_param_ld(const double* param) {
    if (param != nullptr) copy_step_parameters(param);
    return VYR_OK;
}
