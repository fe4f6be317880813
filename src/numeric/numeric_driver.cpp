#include "numeric/numeric_driver.h"

#include "interface/process_state.h"
#include "interface/status.h"
#include "memory/accounted_alloc.h"
#include "memory/factor_files.h"
#include "memory/mapped_store.h"
#include "memory/memory_plan.h"
#include "numeric/block_store.h"
#include "numeric/input_assembly.h"
#include "numeric/ldlt_storage.h"
#include "numeric/lu_init_check.h"
#include "numeric/node_loop.h"
#include "numeric/parallel_factor.h"
#include "report/console.h"
#include "symbolic/factor_reservation.h"

#include <algorithm>
#include <cfloat>
#include <cinttypes>
#include <cmath>

namespace vyr {

namespace {

/// Creates the mapping of core mode 3. Its code, moved into a range of its own, is the status.
Status create_mapping(mf_solver& solver) noexcept {
    constexpr int STATUS_OFFSET = VYR_ERR_MAPPING - VYR_ERR_EMPTY_FILE;
    const std::int64_t bytes = solver.factor_entries * static_cast<std::int64_t>(sizeof(double));
    const int code = mf_map_create(solver, bytes, mf_ctrl[CTRL_MEMORY_ESTIMATE]);
    if (code == 0) return VYR_OK;
    mf_message(
        "\r\nERROR!!!\t(%d):Failed to create %6g(Mb) memory mapping for L.\r\n\t\tPlease free the space "
        "on disk.\r\n",
        code, static_cast<double>(bytes) / MEGABYTE);
    return code + STATUS_OFFSET;
}

/// Storage that is not in core: the mapping, or a store of blocks that move into files.
Status open_storage(const double* values, mf_solver& solver, BlockStore& store) noexcept {
    if (ctrl_int(CTRL_CORE_MODE) == CORE_MAPPED)
        if (const Status status = create_mapping(solver); status != VYR_OK) return status;
    mf_map_release(solver);
    mf_map_reset(solver);
    mf_heap_compact();
    if (const Status status = mf_open_store(solver, values, store); status != VYR_OK) return status;
    solver.block_store = &store;
    return VYR_OK;
}

/// The memory plan's word on a factor in core under another core mode: it is asked for such a mode wherever
/// the factor lies.
Status check_buffer(const mf_solver& solver, int core_mode) noexcept {
    if (core_mode == CORE_IN || core_mode == CORE_MAPPED) return VYR_OK;
    const double factor_bytes = static_cast<double>(solver.factor_entries) * sizeof(double);
    double buffer_bytes = 0;
    const int answer = mf_ooc_buffer(factor_bytes, mf_ctrl[CTRL_MEMORY_ESTIMATE], buffer_bytes);
    return answer == 0 ? VYR_OK : VYR_ERR_BUFFER;
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

/// L L^T on the tasks of the schedule, or L D L^T node after node.
Status eliminate(mf_solver& solver) noexcept {
    if (ctrl_int(CTRL_TYPE) != TYPE_SPD) {
        const Status status = mf_ldlt_prepare(solver);
        return status != VYR_OK ? status : mf_node_loop(solver, 0, solver.n_snodes);
    }
    if (const Status status = mf_parallel_factor(solver); status != VYR_OK) return status;
    return check_growth(solver);
}

/// Blocks that come into being one by one, and the read buffer of the solves.
Status factorise_out_of_core(const double* values, mf_solver& solver) noexcept {
    BlockStore store;
    Status status = open_storage(values, solver, store);
    if (status == VYR_OK) status = eliminate(solver);
    if (status == VYR_OK) status = mf_store_close(solver);
    solver.block_store = nullptr;
    return status;
}

Status factorise(const double* values, mf_solver& solver) noexcept {
    // 1. A clean slate: pivots, blocks, files and counters of the run before.
    std::fill_n(solver.diag_values, solver.n, -DBL_MAX);
    mf_reset_factor_files(solver);
    mf_info[INFO_FLOPS] = 0;
    mf_info[INFO_T_ASSEMBLY] = 0;
    // 2. Storage is in core when lu_values exists, whatever mode is in force; a mode that needs it gets it.
    const int core_mode = ctrl_int(CTRL_CORE_MODE);
    if (solver.lu_values == nullptr && (core_mode == CORE_IN || core_mode == CORE_GBLAS) &&
        !mf_reserve_factor_values(solver))
        return VYR_ERR_MEMORY;
    if (solver.lu_values == nullptr) return factorise_out_of_core(values, solver);
    // 3. Input entries into the factor blocks.
    mf_assemble_input(solver, values);
    if ((ctrl_int(CTRL_FLAGS) & FLAG_CHECK_VALUES) != 0) mf_lu_init_check(solver);
    if (const Status status = check_buffer(solver, core_mode); status != VYR_OK) return status;
    // 4. Elimination.
    return eliminate(solver);
}

} // namespace

void mf_numeric_driver(const double* values, mf_solver& solver) noexcept {
    set_info_status(factorise(values, solver));
    if (info_status() != VYR_OK) return;
    mf_info[INFO_FACTORIZATIONS] += 1;
    if (ctrl_int(CTRL_CORE_MODE) == CORE_MAPPED)
        mf_message("\r\n\tMAP=%" PRId32 ",X_Time=%g\t\t", solver.map_count, mf_info[INFO_T_MAPPED_IO] / 1000);
}

} // namespace vyr
