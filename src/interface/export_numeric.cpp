// VYR_numeric_ld: factorization of an analysed matrix.
#include "interface/handle.h"
#include "interface/input_check.h"
#include "interface/process_state.h"
#include "interface/status.h"
#include "memory/buffer.h"
#include "numeric/numeric_driver.h"
#include "report/console_summary.h"
#include "report/numeric_messages.h"
#include "solve/full_storage.h"
#include "symbolic/input_pattern.h"

#include <algorithm>

namespace vyr {

namespace {

/// The matrix of one numeric step: the caller's, or its expansion to both triangles.
struct NumericInput {
    std::int32_t n;
    const std::int32_t* col_ptr;
    const std::int32_t* row_ind;
    const double* values;
    FullStorage expanded;
};

Status check_arrays(const NumericInput& input) noexcept {
    if (input.values == nullptr) return VYR_ERR_NULL_MATRIX;
    return mf_check_structure(input.n, input.col_ptr, input.row_ind);
}

Status expand(NumericInput& input) noexcept {
    FullStorage& full = input.expanded;
    if (!mf_sym_expand(input.n, input.col_ptr, input.row_ind, input.values, full)) return VYR_ERR_MEMORY;
    input.col_ptr = full.col_ptr.get();
    input.row_ind = full.row_ind.get();
    input.values = full.values.get();
    return VYR_OK;
}

/// Dispatches by type. Types without a factorization leave the status alone.
void factorise(const NumericInput& input, const double* values, int type, mf_solver* solver) noexcept {
    if (type == TYPE_SIMPLE) {
        set_info_status(VYR_ERR_TYPE);
    } else if (solver == nullptr) {
        set_info_status(VYR_ERR_HANDLE);
    } else if (is_lower_triangle_type(type)) {
        if (input.n != solver->n || input.col_ptr[input.n] != solver->n_input)
            set_info_status(VYR_ERR_HANDLE);
        else
            mf_numeric_driver(values, *solver);
    }
}

/// The step between the two clock readings. Returns the status; a NaN or malformed matrix ends it early.
Status numeric_step(NumericInput& input, mf_solver* solver) noexcept {
    const int type = ctrl_int(CTRL_TYPE);
    const int scaling = ctrl_int(CTRL_SCALING);
    if (const Status status = check_arrays(input); status != VYR_OK) return status;
    if (type == TYPE_EXPAND)
        if (const Status status = expand(input); status != VYR_OK) return status;

    const double* values = input.values;
    double* value_copy = nullptr; // scaling must not alter the caller's values
    if (scaling != 0) {
        const std::int32_t nnz = input.col_ptr[input.n];
        value_copy = mf_array<double>(nnz);
        if (value_copy == nullptr) return VYR_ERR_MEMORY;
        std::copy_n(values, nnz, value_copy);
        values = value_copy;
    }
    ValueRange range;
    // On a NaN the copy is not released, deliberately.
    if (const Status status = mf_scan_values(input.n, input.col_ptr, input.row_ind, values, range);
        status != VYR_OK)
        return status;
    mf_info[INFO_VALUE_MAX] = mf_info[INFO_DIAGONAL_MIN] = range.largest;
    mf_info[INFO_VALUE_MIN] = range.smallest_nonzero;

    mf_console_summary();
    factorise(input, values, type, solver);
    mf_free(value_copy);
    return info_status();
}

} // namespace

} // namespace vyr

using namespace vyr;

extern "C" int VYR_numeric_ld(void* /*reserved*/, int n, const int* colPtr, const int* rowInd,
                              const double* values, VYR_handle h) {
    const double start_ms = platform::clock_ms();
    set_info_status(VYR_OK);
    mf_info[INFO_NUMERIC_START] = start_ms;

    NumericInput input{n, colPtr, rowInd, values, {}};
    const Status status = numeric_step(input, from_handle(h));
    set_info_status(status);
    if (status == VYR_ERR_NAN) return status;
    mf_numeric_failure_message(status);
    mf_info[INFO_MEM] = static_cast<double>(mem_current.load()) / MEGABYTE;
    mf_info[INFO_PEAK] = mf_mem_peak() / MEGABYTE;
    mf_info[INFO_T_NUM] = (platform::clock_ms() - start_ms) / 1000;
    return status;
}
