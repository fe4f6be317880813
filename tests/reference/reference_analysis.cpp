#include "reference/reference_analysis.h"

namespace vyr::reference {

ReferenceAnalysis analyse(const Pattern& lower, const Ints& ordering, std::int32_t core_mode,
                          std::int32_t threads, bool blocked) {
    ReferenceAnalysis result;
    const Pattern full = sym_full(lower);
    const Ints origin = sym_map(full, lower);
    const EliminationTree elimination = etree(full, ordering);
    result.root_count = elimination.root_count;
    result.parent = elimination.parent;
    result.perm = ordering;
    result.child_count = postorder(result.parent, result.perm);

    Ints new_place;
    const Pattern permuted = sym_permute(full, result.perm, new_place);
    result.column_count = colcount(permuted, result.parent);
    result.tree = supernodes(permuted, result.parent, result.column_count, core_mode);

    const Longs positions = factor_positions(permuted, result.tree);
    result.value_map.assign(lower.rowind.size(), -1);
    for (std::size_t e = 0; e < origin.size(); ++e)
        if (positions[new_place[e]] != -1) result.value_map[origin[e]] = positions[new_place[e]];
    result.tasks = task_partition(result.tree, threads, blocked);
    return result;
}

} // namespace vyr::reference
