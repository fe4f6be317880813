#include "memory/entry_lists.h"

#include <algorithm>
#include <utility>

namespace vyr {

namespace {

/// Node whose block holds position `position` of the factor. Entries of a column come one after the other and
/// often go to one node: `guess`, the answer before, is looked at first.
std::int32_t node_at(const Analysis& analysis, std::int64_t position, std::int32_t guess) noexcept {
    const mf_snode* begin = analysis.snodes.get();
    const mf_snode* end = begin + analysis.n_snodes;
    if (position >= begin[guess].start && position < begin[guess].start + begin[guess].n_entries())
        return guess;
    const mf_snode* above = std::upper_bound(
        begin, end, position, [](std::int64_t p, const mf_snode& node) noexcept { return p < node.start; });
    return static_cast<std::int32_t>(above - begin) - 1;
}

} // namespace

Status mf_list_entries(Context& context, const Analysis& analysis, Buffer<std::int32_t>& entries,
                       Buffer<std::int32_t>& offset) noexcept {
    Buffer<std::int32_t> node_of(context.memory, analysis.n_input);
    Buffer<std::int32_t> list(context.memory, analysis.n_input);
    Buffer<std::int32_t> begin(context.memory, std::int64_t{analysis.n_snodes} + 2, 0);
    if (!node_of || !list || !begin) return out_of_memory(context);
    std::int32_t* next = begin.get() + 1; // next[s] ends up as the offset of node s + 1
    std::int32_t node = 0;
    for (std::int32_t e = 0; e < analysis.n_input; ++e) {
        node_of[e] = node = node_at(analysis, analysis.value_map[e], node);
        ++next[node + 1];
    }
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) next[s + 1] += next[s];
    for (std::int32_t e = 0; e < analysis.n_input; ++e) list[next[node_of[e]]++] = e;
    entries = std::move(list);
    offset = std::move(begin);
    return Status::OK;
}

} // namespace vyr
