#include "interface/handle.h"

#include "core/hash.h"
#include "interface/process_state.h"

using namespace vyr;

mf_solver::mf_solver(Accounting& memory) noexcept : factor(memory, analysis), next(process_state().handles) {
    process_state().handles = this;
}

mf_solver::~mf_solver() {
    mf_solver** link = &process_state().handles;
    while (*link != this) link = &(*link)->next;
    *link = next;
}

mf_solver* vyr::live_handle(VYR_handle handle) noexcept {
    mf_solver* live = process_state().handles;
    while (live != nullptr && live != handle) live = live->next;
    return live;
}

std::uint64_t vyr::pattern_hash(const Pattern& pattern) noexcept {
    const std::size_t n_entries = static_cast<std::size_t>(pattern.col_ptr[pattern.n]);
    const std::size_t n_pointers = static_cast<std::size_t>(pattern.n) + 1;
    const std::uint64_t pointers = mf_hash(pattern.col_ptr, n_pointers * sizeof *pattern.col_ptr);
    return mf_hash(pattern.row_ind, n_entries * sizeof *pattern.row_ind, pointers);
}
