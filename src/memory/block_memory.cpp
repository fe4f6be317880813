// The memory side of the factor files: separately allocated blocks and the read buffer.
#include "interface/process_state.h"
#include "memory/accounted_alloc.h"
#include "memory/factor_files.h"

namespace vyr {

std::int64_t mf_block_cost(std::uint64_t bytes) noexcept {
    const std::uint64_t page = mf_system.page_size;
    // Page blocks keep a few bytes of their own in front.
    return static_cast<std::int64_t>(bytes < page ? bytes : (bytes / page + 2) * page);
}

void mf_release_block(mf_solver& solver, mf_snode& node) noexcept {
    if (node.block_bytes == 0) return;
    mf_page_free(node.factor_block, node.flags);
    solver.held_bytes -= mf_block_cost(node.block_bytes);
    node.factor_block = nullptr;
    node.block_bytes = 0;
    node.flags &= ~FLAG_PAGE_BLOCK;
}

void mf_release_read_buffer(mf_solver& solver) noexcept {
    mf_free(solver.file_buffer);
    solver.file_buffer = nullptr;
    solver.file_buffer_bytes = 0;
}

bool mf_obtain_read_buffer(mf_solver& solver, std::int64_t pending_bytes) noexcept {
    if (solver.file_buffer != nullptr && solver.file_buffer_bytes >= solver.file_max_bytes) return true;
    mf_release_read_buffer(solver);
    if (solver.held_bytes - pending_bytes + solver.file_max_bytes > solver.room_bytes) return false;
    solver.file_buffer = mf_malloc(static_cast<std::size_t>(solver.file_max_bytes));
    if (solver.file_buffer == nullptr) return false;
    solver.file_buffer_bytes = solver.file_max_bytes;
    return true;
}

void mf_reset_factor_files(mf_solver& solver) noexcept {
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        mf_snode& node = solver.snodes[s];
        mf_release_block(solver, node);
        if (solver.lu_values == nullptr) node.factor_block = nullptr;
        node.flags &= ~std::uint32_t{NODE_FINISHED | NODE_ASSEMBLED | NODE_WRITTEN};
    }
    mf_release_read_buffer(solver);
    solver.file_count = 0;
    solver.file_max_bytes = 0;
    solver.file_doubles = 0;
    solver.file_status = 0;
    solver.held_bytes = 0;
    solver.finished_bytes = 0;
    mf_info[INFO_T_FILE_WRITE] = 0;
}

} // namespace vyr
