#include "symbolic/steps.h"

#include <algorithm>

namespace vyr {

// I. S. Duff and J. K. Reid, "The multifrontal solution of indefinite sparse symmetric linear equations", ACM
// Trans. Math. Softw. 9 (1983): in postorder the updates of a node's children are the top of the stack.
Status mf_update_stack(Context& context, Analysis& analysis) noexcept {
    Buffer<std::int32_t> stack(context.memory, analysis.n_snodes);
    if (!stack) return out_of_memory(context, Status::FACTOR_STORAGE);
    std::int32_t depth = 0;
    std::int64_t entries = 0;
    const auto triangle = [](const mf_snode& node) { return std::int64_t{node.nupd} * (node.nupd + 1) / 2; };
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
        const mf_snode& node = analysis.snodes[s];
        for (std::int32_t child = 0; child < node.child_count; ++child)
            entries -= triangle(analysis.snodes[stack[--depth]]);
        if (node.nupd == 0) continue;
        stack[depth++] = s;
        entries += triangle(node);
        analysis.update_stack_peak = std::max(analysis.update_stack_peak, entries);
    }
    return Status::OK;
}

} // namespace vyr
