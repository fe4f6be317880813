#include "numeric/ldlt_storage.h"

#include "interface/process_state.h"
#include "memory/buffer.h"

#include <algorithm>

namespace vyr {

namespace {

/// Makes sure that `array` exists. Zeroed blocks come untouched.
template <typename T>
bool have(T*& array, std::int64_t count) noexcept {
    if (array != nullptr) return true;
    const std::uint64_t wanted = count < 1 ? 1 : static_cast<std::uint64_t>(count);
    if (wanted > std::numeric_limits<std::size_t>::max() / 2 / sizeof(T)) return false;
    array = static_cast<T*>(mf_calloc(static_cast<std::size_t>(wanted) * sizeof(T)));
    return array != nullptr;
}

/// The kernel keeps a whole front undivided; an analysis for another core mode counts 16 columns of it.
bool have_front_work(mf_solver& solver) noexcept {
    std::int64_t need = 0;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) need = std::max(need, solver.snodes[s].n_entries());
    if (solver.largest_front < need) {
        mf_free(solver.front_work);
        solver.front_work = nullptr;
        solver.largest_front = need;
    }
    return have(solver.front_work, solver.largest_front);
}

} // namespace

Status mf_ldlt_prepare(mf_solver& solver) noexcept {
    const std::int64_t ldw = solver.ldw();
    const bool stacked = ctrl_int(CTRL_CORE_MODE) == CORE_MAPPED;
    if (have(solver.pivot_index, solver.n) && have(solver.work_block, ldw * ldw) && have_front_work(solver) &&
        have(solver.update_nodes, solver.n_snodes) &&
        (!stacked || have(solver.update_stack, solver.update_stack_peak)))
        return VYR_OK;
    return VYR_ERR_MEMORY;
}

} // namespace vyr
