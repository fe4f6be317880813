#include "symbolic/symbolic.h"

#include "interface/process_state.h"
#include "interface/status.h"
#include "memory/buffer.h"
#include "symbolic/column_counts.h"
#include "symbolic/elimination_tree.h"
#include "symbolic/factor_reservation.h"
#include "symbolic/full_pattern.h"
#include "symbolic/input_pattern.h"
#include "symbolic/ordering.h"
#include "symbolic/postorder.h"
#include "symbolic/relative_index.h"
#include "symbolic/row_structure.h"
#include "symbolic/supernodes.h"
#include "symbolic/task_partition.h"
#include "symbolic/update_stack_size.h"

#include <algorithm>
#include <utility>

namespace vyr {

namespace {

/// More entries than this would overflow 32-bit positions in the full pattern.
constexpr std::int32_t MAX_ENTRIES = 1 << 30;

/// Trees and supernodes of the ordered pattern, up to the value map of the input pattern's entries.
bool build_structure(const FullPattern& full, mf_solver& solver) noexcept {
    const std::int32_t n = solver.n;
    Buffer<std::int32_t> inverse(n), scratch(n);
    if (!inverse || !scratch) return false;
    const auto invert = [&] {
        for (std::int32_t k = 0; k < n; ++k) inverse[solver.perm[k]] = k;
    };
    invert();
    solver.root_count = mf_etree(full, solver.perm, inverse.get(), solver.parent, scratch.get());
    if (!mf_postorder(solver)) return false;
    invert();
    return mf_colcount(full, inverse.get(), solver) && mf_supernodes(solver) &&
           mf_factor_positions(full, inverse.get(), solver) && mf_snode_finish(solver) &&
           mf_update_stack(solver);
}

/// Turns the value map of the canonical pattern into one of the caller's entries.
bool map_caller_entries(const InputPattern& input, mf_solver& solver) noexcept {
    if (!input.entry_of) return true;
    auto* caller_map = mf_array<std::int64_t>(input.n_caller_entries);
    if (caller_map == nullptr) return false;
    for (std::int32_t e = 0; e < input.n_caller_entries; ++e)
        caller_map[e] = solver.value_map[input.entry_of[e]];
    mf_free(std::exchange(solver.value_map, caller_map));
    solver.repeated_entries = true;
    return true;
}

/// What the numeric phase needs and only the finished schedule can size.
bool allocate_numeric_work(mf_solver& solver) noexcept {
    const std::int64_t n_arrays = std::max<std::int64_t>(2, 2 * std::int64_t{solver.partition_count});
    solver.node_work = mf_array<std::int32_t>(n_arrays * solver.n);
    solver.snode_work = mf_array<std::int32_t>(solver.n_snodes);
    return solver.node_work != nullptr && solver.snode_work != nullptr;
}

/// Everything behind the first allocations. Returns 0 or -10; the caller releases the object on failure.
Status analyse(const InputPattern& input, FullPattern& full, mf_solver& solver,
               double& ordering_ms) noexcept {
    // 1. Fill-reducing ordering.
    ordering_ms = platform::clock_ms();
    const bool ordered = mf_order(full.n, full.col_ptr.get(), full.row_ind.get(), solver.perm);
    ordering_ms = platform::clock_ms() - ordering_ms;
    // 2. Trees, supernodes, row lists, value map.
    if (!ordered || !build_structure(full, solver) || !map_caller_entries(input, solver))
        return VYR_ERR_FACTOR_STORAGE;
    full = FullPattern();
    // 3. Parallel schedule.
    if (const Status status = mf_task_partition(solver); status != VYR_OK) return status;
    // 4. Factor storage and numeric work space.
    if (const Status status = mf_alloc_L(solver); status != VYR_OK) return status;
    if (!allocate_numeric_work(solver)) return VYR_ERR_FACTOR_STORAGE;
    mf_free(std::exchange(solver.child_count, nullptr));
    mf_free(std::exchange(solver.column_count, nullptr));
    return VYR_OK;
}

/// The road from a checked pattern to the finished object. INFO_STATUS keeps an earlier failure.
mf_solver* build_solver(std::int32_t n, const std::int32_t* col_ptr, const std::int32_t* row_ind,
                        double& ordering_ms) noexcept {
    InputPattern input;
    FullPattern full;
    if (!mf_input_pattern(n, col_ptr, row_ind, input)) return nullptr;
    if (input.n_caller_entries > MAX_ENTRIES || mf_full_entries(input) > INT32_MAX) {
        set_info_status(VYR_ERR_FACTOR_STORAGE);
        return nullptr;
    }
    if (!mf_sym_full(input, full)) return nullptr;
    mf_solver* solver = mf_create_solver(n, input.col_ptr[n]);
    if (solver == nullptr) return nullptr;

    const Status status = analyse(input, full, *solver, ordering_ms);
    if (status != VYR_OK) set_info_status(status);
    if (info_status() != VYR_OK) {
        mf_release_solver(solver);
        return nullptr;
    }
    solver->n_input = input.n_caller_entries;
    mf_info[INFO_NZLU] = mf_info[INFO_NZLU_SYM] = static_cast<double>(solver->factor_entries);
    mf_info[INFO_NODES] = solver->n_snodes;
    return solver;
}

} // namespace

mf_solver* mf_symbol(std::int32_t n, const std::int32_t* col_ptr, const std::int32_t* row_ind) noexcept {
    const double start_ms = platform::clock_ms();
    double ordering_ms = 0;
    mf_solver* solver = nullptr;
    if (const Status status = mf_check_structure(n, col_ptr, row_ind); status != VYR_OK)
        set_info_status(status);
    else
        solver = build_solver(n, col_ptr, row_ind, ordering_ms);

    const double elapsed_ms = platform::clock_ms() - start_ms;
    mf_info[INFO_T_SYM] = elapsed_ms / 1000;
    mf_info[INFO_T_SYMFAC] = (elapsed_ms - ordering_ms) / 1000;
    mf_info[INFO_FACTORIZATIONS] = 0;
    mf_info[INFO_PEAK_SYM] = mf_mem_peak() / MEGABYTE;
    mf_info[INFO_MEM_SYM] = static_cast<double>(mem_current.load()) / MEGABYTE;
    return solver;
}

} // namespace vyr
