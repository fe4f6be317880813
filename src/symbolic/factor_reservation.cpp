#include "symbolic/factor_reservation.h"

#include "interface/process_state.h"
#include "memory/buffer.h"
#include "memory/memory_plan.h"
#include "report/console.h"

#include <algorithm>
#include <cfloat>

namespace vyr {

bool mf_reserve_factor_values(mf_solver& solver) noexcept {
    const std::size_t bytes = static_cast<std::size_t>(solver.factor_entries) * sizeof(double);
    solver.lu_values = static_cast<double*>(mf_calloc(bytes));
    if (solver.lu_values == nullptr) {
        mf_message(
            "\r\nERROR!!!\tFailed to alloc %6g(Mb) memory for L.\r\n\t\tPlease switch to OUT-CORE mode "
            "or enlarge the memory.\r\n",
            static_cast<double>(bytes) / MEGABYTE);
        return false;
    }
    solver.lu_values_zero = true;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s)
        solver.snodes[s].factor_block = solver.lu_values + solver.snodes[s].start;
    return true;
}

Status mf_alloc_L(mf_solver& solver) noexcept {
    const int core_mode = ctrl_int(CTRL_CORE_MODE);
    const double factor_bytes = static_cast<double>(solver.factor_entries) * 8.0;
    double ratio = 0;
    if (mf_mem_check(factor_bytes, core_mode != CORE_IN, ratio) != 0) return VYR_ERR_FACTOR_STORAGE;
    solver.diag_values = mf_array<double>(solver.n);
    if (solver.diag_values == nullptr) return VYR_ERR_FACTOR_STORAGE;
    std::fill_n(solver.diag_values, solver.n, -DBL_MAX);

    if ((core_mode == CORE_IN || core_mode == CORE_GBLAS) && !mf_reserve_factor_values(solver))
        return VYR_ERR_FACTOR_STORAGE;
    solver.storage_cursor = 0;

    if (ctrl_int(CTRL_TYPE) == TYPE_LDLT) {
        solver.front_work = mf_array<double>(solver.largest_front);
        if (solver.front_work == nullptr) return VYR_ERR_FACTOR_STORAGE;
    }
    if (core_mode != CORE_IN)
        mf_message("\r\nDUMP:\tThe reserved memory is %6g(Mb).\r\n",
                   mf_ctrl[CTRL_MEMORY_ESTIMATE] / MEGABYTE);
    if (core_mode == CORE_MAPPED) {
        solver.update_stack = mf_array<double>(solver.update_stack_peak);
        if (solver.update_stack == nullptr) return VYR_ERR_FACTOR_STORAGE;
    }
    return VYR_OK;
}

} // namespace vyr
