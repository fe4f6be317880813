// VYR_numeric_ld: factorization of an analysed matrix.
#include "engine/engine.h"
#include "engine/full_storage.h"
#include "interface/handle.h"
#include "interface/input_check.h"
#include "interface/process_state.h"
#include "report/report.h"
#include "symbolic/pattern.h"

#include <algorithm>
#include <cmath>

namespace vyr {

namespace {

bool is_analysed_pattern(const Pattern& pattern, const mf_solver& solver) noexcept {
    return pattern.n == solver.analysis.n && pattern.col_ptr[pattern.n] == solver.analysis.n_input &&
           pattern_hash(pattern) == solver.pattern_hash;
}

/// Dispatches by type. Known types without a factorization succeed without one.
Status factorise(Context& context, const Matrix& matrix, const double* values, mf_solver* solver) noexcept {
    const int type = context.settings.type;
    if (type == TYPE_SIMPLE) return Status::TYPE;
    if (solver == nullptr) return Status::HANDLE;
    if (!is_matrix_type(type)) return Status::TYPE;
    if (!is_lower_triangle_type(type)) return Status::OK;
    if (!is_analysed_pattern(matrix, *solver)) return Status::HANDLE;
    const Status status = mf_factorise(context, values, solver->factor);
    // Comparisons with what an infinite value leads to may let every pivot pass.
    if (status == Status::OK && std::isinf(context.statistics.value_max)) return Status::ILL_CONDITIONED;
    return status;
}

/// The step between the two clock readings; a NaN or malformed matrix ends it early.
Status numeric_step(Context& context, Matrix matrix, mf_solver* solver) noexcept {
    if (matrix.values == nullptr) return Status::NULL_MATRIX;
    if (const Status status = mf_check_structure(matrix); status != Status::OK) return status;
    FullStorage expanded;
    if (context.settings.type == TYPE_EXPAND) {
        if (const Status status = mf_sym_expand(context, matrix, expanded); status != Status::OK)
            return status;
        matrix = expanded.matrix();
    }
    const double* values = matrix.values;
    Buffer<double> value_copy; // scaling must not alter the caller's values
    if (context.settings.scaling != 0) {
        value_copy = Buffer<double>(context.memory, matrix.col_ptr[matrix.n]);
        if (!value_copy) return Status::MEMORY;
        std::copy_n(values, value_copy.count(), value_copy.get());
        values = value_copy.get();
    }
    ValueRange range;
    if (const Status status = mf_scan_values(context, matrix, range); status != Status::OK) return status;
    context.statistics.value_max = context.statistics.diagonal_min = range.largest;
    context.statistics.value_min = range.smallest_nonzero;

    mf_console_summary(context.log, context.settings, context.statistics);
    return factorise(context, matrix, values, solver);
}

} // namespace

} // namespace vyr

using namespace vyr;

extern "C" int VYR_numeric_ld(void* /*reserved*/, int n, const int* colPtr, const int* rowInd,
                              const double* values, VYR_handle h) {
    const double start_ms = platform::clock_ms();
    set_info_status(Status::OK);
    Call call;
    Statistics& statistics = call.context.statistics;
    statistics.numeric_start = start_ms;

    mf_solver* const solver = live_handle(h);
    const Status status = numeric_step(call.context, Matrix{{n, colPtr, rowInd}, values}, solver);
    if (solver != nullptr) {
        solver->factor_status = status;
        solver->factor_type = call.context.settings.type;
    }
    if (status == Status::NAN_VALUE) return set_info_status(status);
    mf_numeric_failure_message(call.context.log, status);
    const Accounting& memory = call.context.memory;
    statistics.mem = static_cast<double>(memory.current.load()) / MEGABYTE;
    statistics.peak = mf_mem_peak(memory) / MEGABYTE;
    statistics.t_num = (platform::clock_ms() - start_ms) / 1000;
    return set_info_status(status);
}
