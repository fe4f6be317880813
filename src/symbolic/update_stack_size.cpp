#include "symbolic/update_stack_size.h"

#include "memory/buffer.h"

#include <algorithm>

namespace vyr {

// I. S. Duff and J. K. Reid, "The multifrontal solution of indefinite sparse symmetric linear equations", ACM
// Trans. Math. Softw. 9 (1983): in postorder the updates of a node's children are the top of the stack.
bool mf_update_stack(mf_solver& solver) noexcept {
    Buffer<std::int32_t> stack(solver.n_snodes);
    if (!stack) return false;
    std::int32_t depth = 0;
    std::int64_t entries = 0;
    const auto triangle = [](const mf_snode& node) { return std::int64_t{node.nupd} * (node.nupd + 1) / 2; };
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        const mf_snode& node = solver.snodes[s];
        for (std::int32_t child = 0; child < node.child_count; ++child)
            entries -= triangle(solver.snodes[stack[--depth]]);
        if (node.nupd == 0) continue;
        stack[depth++] = s;
        entries += triangle(node);
        solver.stack_depth = std::max(solver.stack_depth, depth);
        solver.update_stack_peak = std::max(solver.update_stack_peak, entries);
    }
    return true;
}

} // namespace vyr
