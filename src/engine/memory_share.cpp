#include "engine/memory_share.h"

#include "core/tuning.h"
#include "memory/factor_files.h"
#include "numeric/phases.h"
#include "platform/platform.h"

#include <algorithm>

namespace vyr {

namespace {

/// What a thread's BLAS keeps for its packed blocks, and what is left to stacks, the C library and chance.
constexpr double BLAS_BYTES_A_THREAD = 24e6;
constexpr double OTHER_BYTES = 24e6;

} // namespace

std::int64_t mf_factor_nnz(const Analysis& analysis) noexcept {
    std::int64_t entries = analysis.factor_entries;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
        const std::int64_t npiv = analysis.snodes[s].npiv;
        entries -= npiv * (npiv - 1) / 2;
    }
    return entries;
}

double mf_bytes_beside_blocks(const Analysis& analysis, int type, std::int32_t n_threads) noexcept {
    const double work = mf_task_work_bytes(analysis, n_threads);
    const double entry_lists = 12.0 * analysis.n_input;
    const double updates = type == TYPE_LDLT ? 8.0 * analysis.schedule.waiting_entries : 0;
    const double vectors = 8.0 * 8.0 * analysis.n + 8.0 * analysis.n_snodes;
    return static_cast<double>(platform::resident_bytes()) + work + updates + entry_lists + vectors +
           BLAS_BYTES_A_THREAD * n_threads + OTHER_BYTES;
}

Status mf_path_bytes(Context& context, const Analysis& analysis, int type, double& bytes) noexcept {
    Buffer<double> path(context.memory, analysis.n_snodes);
    if (!path) return out_of_memory(context);
    bytes = 0;
    for (std::int32_t s = analysis.n_snodes - 1; s >= 0; --s) {
        const std::int32_t p = analysis.snode_parent[s];
        const auto block_bytes = static_cast<std::uint64_t>(analysis.snodes[s].n_entries()) * sizeof(double);
        const bool reached = type == TYPE_SPD && p >= 0; // a node adds to all its ancestors
        path[s] = static_cast<double>(mf_block_cost(block_bytes)) + (reached ? path[p] : 0);
        bytes = std::max(bytes, path[s]);
    }
    return Status::OK;
}

} // namespace vyr
