// VYR_init_ld, VYR_param_ld, VYR_symbol_ld and VYR_clear_ld: the life of a matrix but for its numbers.
#include "core/faults.h"
#include "engine/engine.h"
#include "interface/handle.h"
#include "interface/input_check.h"
#include "interface/process_state.h"
#include "memory/memory_plan.h"
#include "report/report.h"
#include "symbolic/pattern.h"

#include <algorithm>
#include <cfloat>
#include <new>

namespace vyr {

namespace {

constexpr std::uint32_t LEAST_OS_MAJOR = 4;
constexpr double MAX_REFINEMENT = 2;

constexpr bool same(int inside, int outside) {
    return inside == outside;
}
static_assert(same(TYPE_BOTH, VYR_TYPE_BOTH_TRIANGLES) && same(TYPE_SIMPLE, VYR_TYPE_SIMPLE) &&
              same(TYPE_SPD, VYR_TYPE_SPD) && same(TYPE_LDLT, VYR_TYPE_INDEFINITE) &&
              same(TYPE_CSYM, VYR_TYPE_COMPLEX) && same(FLAG_REPORT_AT_CLEAR, VYR_FLAG_REPORT_AT_CLEAR) &&
              same(FLAG_CHECK_VALUES, VYR_FLAG_CHECK_VALUES));

/// An element of the caller's parameters; a missing array reads as zeros.
double parameter(const double* param, int element) noexcept {
    return param == nullptr ? 0.0 : param[element];
}

void copy_step_parameters(const double* param) noexcept {
    double* ctrl = process_state().mf_ctrl;
    ctrl[CTRL_PIVOT_MIN] = parameter(param, VYR_PARAM_PIVOT_MIN);
    ctrl[CTRL_GROWTH_LIMIT] = parameter(param, VYR_PARAM_GROWTH);
    ctrl[CTRL_BLOCKED] = parameter(param, VYR_PARAM_BLOCKED);
    ctrl[CTRL_REFINEMENT_LIMIT] = 1; // whatever the caller asked for
}

void write_settings(int type, const double* param) noexcept {
    double* ctrl = process_state().mf_ctrl;
    const bool both = type == TYPE_BOTH;
    ctrl[CTRL_STRATEGY_S] = 2;
    ctrl[CTRL_TYPE] = type;
    ctrl[CTRL_RELAX] = both ? 0.2 : 0.01;
    ctrl[CTRL_PIVOT_THRESHOLD] = both ? 0.9 : 0.1;
    ctrl[CTRL_RESERVED_15] = 3;
    ctrl[CTRL_BLOCK_SIZE] = LAPACK_BLOCK_SIZE;
    ctrl[CTRL_STRATEGY_F] = 1;
    ctrl[CTRL_PIVOTING] = 4;
    ctrl[CTRL_RESERVED_19] = 100;
    ctrl[CTRL_RESERVED_33] = 1;
    ctrl[CTRL_RESERVED_21] = 1;
    const int core_mode = to_int(parameter(param, VYR_PARAM_CORE_MODE));
    if (core_mode == CORE_GPU || core_mode == CORE_GBLAS) ctrl[CTRL_CORE_MODE] = core_mode;
    copy_step_parameters(param);
    ctrl[CTRL_FLAGS] = parameter(param, VYR_PARAM_FLAGS);
}

/// Platform facts; the operating system's version decides whether the library runs at all.
Status gather_platform_facts(const Context& context) noexcept {
    platform::SystemInfo& system = process_state().system;
    platform::system_info(system);
    const Faults* faults = context.memory.faults;
    if (faults != nullptr && faults->os_major != 0) system.os_major = faults->os_major;
    if (system.os_major >= LEAST_OS_MAJOR) return Status::OK;
    mf_print(context.log, "%s must run on windows and its MAJOR VERSION NUMBER must >= 4 ", VERSION_STRING);
    return Status::PLATFORM;
}

Status init(Context& context, std::int32_t n_rows, std::int32_t n_cols, const Pattern& pattern) noexcept {
    ProcessState& state = process_state();
    mf_mem_restart(state.memory);
    if (const Status status = mf_check_input(context, n_rows, n_cols, pattern); status != Status::OK)
        return status;
    state.value_min = 2 * DBL_MIN;
    state.value_max = DBL_MAX / 8;
    if (const Status status = gather_platform_facts(context); status != Status::OK) return status;
    mf_heap_compact(context);
    return is_matrix_type(context.settings.type) ? Status::OK : Status::TYPE;
}

void release(mf_solver* solver) noexcept {
    if (solver == nullptr) return;
    solver->~mf_solver();
    mf_free(process_state().memory, solver);
}

Status analyse(Context& context, const Pattern& pattern, mf_solver& solver) noexcept {
    if (const Status status = mf_check_structure(pattern); status != Status::OK) return status;
    if (const Status status = mf_check_repeats(context, pattern); status != Status::OK) return status;
    solver.pattern_hash = pattern_hash(pattern);
    return mf_symbol(context, pattern, solver.analysis, solver.factor);
}

/// The analysed matrix, or null. A failure that an earlier step left in the status slot ends here too, and
/// one of the first arrays leaves that slot alone.
mf_solver* analyse(Context& context, const Pattern& pattern) noexcept {
    Accounting& memory = process_state().memory;
    void* const place = mf_malloc(memory, sizeof(mf_solver));
    auto* solver = place == nullptr ? nullptr : new (place) mf_solver(memory);
    const Status status = solver == nullptr ? Status::MEMORY : analyse(context, pattern, *solver);
    if (status != Status::OK && status != Status::MEMORY) set_info_status(status);
    if (status != Status::OK || to_int(process_state().mf_info[INFO_STATUS]) != 0) {
        release(solver);
        solver = nullptr;
    }
    context.statistics.peak_sym = mf_mem_peak(memory) / MEGABYTE;
    context.statistics.mem_sym = static_cast<double>(memory.current.load()) / MEGABYTE;
    return solver;
}

void write_report(const Context& context) noexcept {
    (void)mf_write_report("", context.settings, context.statistics, context.log.messages);
}

} // namespace

} // namespace vyr

using namespace vyr;

extern "C" int VYR_init_ld(int nRows, int nCols, const int* colPtr, const int* rowInd,
                           const double* /*values*/, int matrixType, double* param) {
    ProcessState& state = process_state();
    std::fill_n(state.mf_ctrl, CTRL_COUNT, 0.0);
    std::fill_n(state.mf_info, INFO_COUNT, 0.0);
    state.param = param;
    const int type = matrixType == TYPE_CSYM ? TYPE_LDLT : matrixType;
    write_settings(type, param);
    Call call;
    if (matrixType == TYPE_CSYM)
        mf_print(call.context.log,
                 "\r\nWARNING!!!\ttype 13 is only for complex and symmetric matrix.\r\n\t\tIt will be "
                 "changed to 12 by VYR.\r\n");
    const Status status = init(call.context, nRows, nCols, Pattern{nCols, colPtr, rowInd});
    return status == Status::OK ? VYR_OK : set_info_status(status);
}

extern "C" int VYR_param_ld(const double* param) {
    if (param != nullptr) copy_step_parameters(param);
    return VYR_OK;
}

extern "C" VYR_handle VYR_symbol_ld(void* /*reserved*/, int n, const int* colPtr, const int* rowInd) {
    ProcessState& state = process_state();
    if (const int core_mode = ctrl_int(CTRL_CORE_MODE); core_mode == CORE_GPU || core_mode == CORE_GBLAS) {
        const Call call;
        mf_print(call.context.log,
                 "\r\nGPU_CORE or GBLAS_CORE must define _USE_CUDA_LIB_! Switched to ORNE_IN_CORE.");
        state.mf_ctrl[CTRL_CORE_MODE] = CORE_IN;
    }
    state.mf_ctrl[CTRL_FLAGS] = 0; // silent from here on
    state.mf_ctrl[CTRL_TYPE] = TYPE_SPD;

    Call call;
    mf_solver* solver = analyse(call.context, Pattern{n, colPtr, rowInd});
    double& limit = state.mf_ctrl[CTRL_REFINEMENT_LIMIT];
    limit = std::min(limit, MAX_REFINEMENT);
    if (solver == nullptr) {
        call.context.statistics.status = state.mf_info[INFO_STATUS];
        write_report(call.context);
        if (state.param != nullptr) state.param[VYR_PARAM_STATUS] = state.mf_info[INFO_STATUS];
    }
    return solver;
}

extern "C" int VYR_clear_ld(VYR_handle h) {
    mf_solver* const solver = live_handle(h);
    if (solver == nullptr && h != nullptr) return VYR_OK;
    process_state().param = nullptr; // the caller may release it now
    if ((ctrl_int(CTRL_FLAGS) & FLAG_REPORT_AT_CLEAR) != 0) {
        const Call call;
        write_report(call.context);
    }
    release(solver);
    return VYR_OK;
}

extern "C" void mf_dump_ld(FILE* file, const char* title) {
    const Call call;
    if (file != nullptr && call.context.log.messages)
        mf_report_body(file, title, call.context.settings, call.context.statistics);
}
