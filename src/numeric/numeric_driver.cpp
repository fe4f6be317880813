#include "numeric/numeric_driver.h"

#include "interface/process_state.h"
#include "interface/status.h"
#include "numeric/input_assembly.h"
#include "numeric/ldlt_storage.h"
#include "numeric/lu_init_check.h"
#include "numeric/node_loop.h"
#include "numeric/parallel_factor.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace vyr {

namespace {

/// Clears what the previous factorization left on the nodes.
void reset_nodes(mf_solver& solver) noexcept {
    for (std::int32_t s = 0; s < solver.n_snodes; ++s)
        solver.snodes[s].flags &= ~std::uint32_t{NODE_FINISHED | NODE_ASSEMBLED | NODE_WRITTEN};
}

/// Keeps the extremes of the diagonal and stops as soon as they spread too far.
Status check_growth(const mf_solver& solver) noexcept {
    const double limit = mf_ctrl[CTRL_GROWTH_LIMIT];
    if (!(limit > 1)) return VYR_OK;
    for (std::int32_t k = 0; k < solver.n; ++k) {
        const double pivot = std::fabs(solver.diag_values[k]);
        mf_info[INFO_DIAGONAL_MIN] = std::min(mf_info[INFO_DIAGONAL_MIN], pivot);
        mf_info[INFO_DIAGONAL_MAX] = std::max(mf_info[INFO_DIAGONAL_MAX], pivot);
        if (mf_info[INFO_DIAGONAL_MAX] > mf_info[INFO_DIAGONAL_MIN] * limit) return VYR_ERR_GROWTH;
    }
    return VYR_OK;
}

Status factorise(const double* values, mf_solver& solver) noexcept {
    // 1. A clean slate.
    reset_nodes(solver);
    mf_info[INFO_FLOPS] = 0;
    mf_info[INFO_T_ASSEMBLY] = 0;
    // 2. Input entries into the factor blocks.
    if (solver.lu_values == nullptr) return VYR_ERR_FACTOR_STORAGE;
    mf_assemble_input(solver, values);
    if ((ctrl_int(CTRL_FLAGS) & FLAG_CHECK_VALUES) != 0) mf_lu_init_check(solver);
    // 3. Elimination.
    std::fill_n(solver.diag_values, solver.n, -DBL_MAX);
    if (ctrl_int(CTRL_TYPE) != TYPE_SPD) {
        const Status status = mf_ldlt_prepare(solver);
        return status != VYR_OK ? status : mf_node_loop(solver, 0, solver.n_snodes);
    }
    if (const Status status = mf_parallel_factor(solver); status != VYR_OK) return status;
    return check_growth(solver);
}

} // namespace

void mf_numeric_driver(const double* values, mf_solver& solver) noexcept {
    set_info_status(factorise(values, solver));
    if (info_status() == VYR_OK) mf_info[INFO_FACTORIZATIONS] += 1;
}

} // namespace vyr
