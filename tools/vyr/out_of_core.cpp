#include "tools/vyr/out_of_core.h"

#include "interface/handle.h"
#include "interface/process_state.h"
#include "memory/accounted_alloc.h"
#include "memory/factor_files.h"
#include "numeric/tuning.h"
#include "platform/platform.h"

#include <algorithm>
#include <vector>

#include <omp.h>

namespace vyr::tool {

namespace {

/// What a thread's BLAS keeps for its packed blocks, and what is left to stacks, the C library and chance.
constexpr double BLAS_BYTES_A_THREAD = 24e6;
constexpr double OTHER_BYTES = 24e6;

/// Bytes that the process takes beside the blocks from here to the end of the solve.
double bytes_beside_blocks(const mf_solver& solver, int type) {
    const double strips = 8.0 * tuning::STRIP_COLUMNS * solver.largest_update * solver.n_threads;
    const double entry_lists = 12.0 * solver.n_input;
    double fronts = 0; // a whole one and its whole update
    if (type == VYR_TYPE_INDEFINITE) {
        std::int64_t largest_block = 0;
        for (std::int32_t s = 0; s < solver.n_snodes; ++s)
            largest_block = std::max(largest_block, solver.snodes[s].n_entries());
        const double width = static_cast<double>(solver.ldw());
        fronts = 8.0 * (static_cast<double>(largest_block) + width * width);
    }
    const double vectors = 8.0 * 8.0 * solver.n + 8.0 * solver.n_snodes;
    return static_cast<double>(platform::resident_bytes()) + strips + fronts + entry_lists + vectors +
           BLAS_BYTES_A_THREAD * solver.n_threads + OTHER_BYTES;
}

/// Largest sum of the blocks of a node and its ancestors: no order of elimination holds less.
double path_bytes(const mf_solver& solver) {
    std::vector<double> path(static_cast<std::size_t>(solver.n_snodes));
    double largest = 0;
    for (std::int32_t s = solver.n_snodes - 1; s >= 0; --s) {
        const std::int32_t p = solver.snode_parent[s];
        const auto bytes = static_cast<std::uint64_t>(solver.snodes[s].n_entries()) * sizeof(double);
        double& sum = path[static_cast<std::size_t>(s)];
        sum = static_cast<double>(mf_block_cost(bytes)) + (p < 0 ? 0 : path[static_cast<std::size_t>(p)]);
        largest = std::max(largest, sum);
    }
    return largest;
}

} // namespace

OutOfCoreRun::OutOfCoreRun(const OutOfCore& wanted)
    : active_(static_cast<bool>(wanted)),
      limit_bytes_(active_ ? wanted.memory_limit_bytes : 0),
      home_(std::filesystem::current_path()) {
    if (!active_) return;
    std::filesystem::current_path(wanted.directory);
    mf_ctrl[CTRL_CORE_MODE] = CORE_OUT;
}

OutOfCoreRun::~OutOfCoreRun() {
    std::error_code ignored;
    if (active_) std::filesystem::current_path(home_, ignored);
}

VYR_handle OutOfCoreRun::analyse(std::int32_t n, const int* col_ptr, const int* row_ind, int type) {
    if (limit_bytes_ <= 0) return VYR_symbol_ld(nullptr, n, col_ptr, row_ind);
    const int n_threads = omp_get_max_threads();
    omp_set_num_threads(1);
    VYR_handle h = VYR_symbol_ld(nullptr, n, col_ptr, row_ind);
    omp_set_num_threads(n_threads);
    if (h == nullptr) return h;
    mf_solver& solver = *from_handle(h);
    // More than one subtree are trees of their own: two at a time would hold the blocks of two paths.
    const bool by_tasks = type != VYR_TYPE_INDEFINITE;
    solver.n_threads = by_tasks && solver.n_tasks > 2 ? 1 : n_threads;
    mf_heap_compact(); // what the analysis no longer needs must not count
    bytes_beside_blocks_ = bytes_beside_blocks(solver, type);
    solver.memory_limit_bytes = static_cast<std::int64_t>(std::max(limit_bytes_ - bytes_beside_blocks_, 1.0));
    return h;
}

FileUse OutOfCoreRun::use(const mf_solver& solver, int status) const {
    FileUse use;
    use.asked = active_;
    if (!active_) return use;
    use.n_files = solver.file_count;
    use.bytes = static_cast<double>(solver.file_doubles) * sizeof(double);
    use.seconds_written = mf_info[INFO_T_FILE_WRITE] / 1000;
    const bool no_memory = status == VYR_ERR_FACTOR_STORAGE || status == VYR_ERR_MEMORY;
    use.unwritable =
        no_memory && (solver.file_status == VYR_ERR_FACTOR_FILE || solver.file_status == VYR_ERR_EMPTY_FILE);
    if (no_memory && !use.unwritable && limit_bytes_ > 0) {
        // Some room for finished blocks, or the files would be too many and too small.
        const double spare = 0.05 * static_cast<double>(solver.factor_entries) * sizeof(double);
        use.least_limit_bytes = bytes_beside_blocks_ + path_bytes(solver) + spare;
    }
    return use;
}

} // namespace vyr::tool
