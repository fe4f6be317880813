// Storage of the L D L^T factorization, allocated at its first run: the analysis serves L L^T.
#include "numeric/phases.h"

#include <algorithm>

namespace vyr {

namespace {

/// Makes sure that `array` has `count` elements. Zeroed blocks come untouched.
template <typename T>
bool have(Accounting& memory, Buffer<T>& array, std::int64_t count) noexcept {
    if (!array || array.count() < count) {
        array.reset();
        array = Buffer<T>::zeroed(memory, count);
    }
    return static_cast<bool>(array);
}

/// The kernel keeps a whole front undivided; an analysis for another core mode counts 16 columns of it.
std::int64_t front_entries(const Analysis& analysis) noexcept {
    std::int64_t largest = analysis.largest_front;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s)
        largest = std::max(largest, analysis.snodes[s].n_entries());
    return largest;
}

} // namespace

Status mf_ldlt_prepare(Context& context, Factor& factor) noexcept {
    const Analysis& analysis = *factor.analysis;
    Accounting& memory = *factor.memory;
    FactorWork& work = factor.work;
    const std::int64_t ldw = analysis.ldw();
    const bool stacked = context.settings.core_mode == CORE_MAPPED;
    if (have(memory, factor.pivot_index, analysis.n) && have(memory, work.work_block, ldw * ldw) &&
        have(memory, work.front_work, front_entries(analysis)) &&
        have(memory, work.update_nodes, analysis.n_snodes) &&
        (!stacked || have(memory, work.update_stack, analysis.update_stack_peak)))
        return Status::OK;
    return out_of_memory(context);
}

} // namespace vyr
