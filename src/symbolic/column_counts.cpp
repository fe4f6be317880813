#include "symbolic/steps.h"

namespace vyr {

namespace {

/// Root of `node`'s set in the path-compressed ancestor forest.
std::int32_t find_root(std::int32_t node, std::int32_t* ancestor) noexcept {
    std::int32_t root = node;
    while (ancestor[root] != root) root = ancestor[root];
    while (ancestor[node] != root) {
        const std::int32_t up = ancestor[node];
        ancestor[node] = root;
        node = up;
    }
    return root;
}

} // namespace

// J. R. Gilbert, E. G. Ng and B. W. Peyton, "An efficient algorithm to compute row and column counts for
// sparse Cholesky factorization", SIAM J. Matrix Anal. Appl. 15 (1994). Row i of L is a subtree of the
// elimination tree rooted at i; its leaves are found from first descendants, and each pair of neighbouring
// leaves is corrected at its least common ancestor. Differences are kept per node and summed towards the
// root. The tree is postordered, so the numbering itself is the traversal.
Status mf_colcount(Context& context, const Pattern& full, const std::int32_t* inverse, std::int32_t* nonzeros,
                   const Analysis& analysis) noexcept {
    const std::int32_t n = analysis.n;
    const std::int32_t* parent = analysis.parent.get();
    Buffer<std::int32_t> first_descendant(context.memory, n, -1), largest_first(context.memory, n, -1),
        previous_leaf(context.memory, n, -1), ancestor(context.memory, n);
    if (!first_descendant || !largest_first || !previous_leaf || !ancestor)
        return out_of_memory(context, Status::FACTOR_STORAGE);

    for (std::int32_t j = 0; j < n; ++j) {
        ancestor[j] = j;
        nonzeros[j] = first_descendant[j] == -1 ? 1 : 0; // a leaf counts itself
        for (std::int32_t k = j; k != -1 && first_descendant[k] == -1; k = parent[k]) first_descendant[k] = j;
    }
    for (std::int32_t j = 0; j < n; ++j) {
        if (j % COLUMNS_PER_LOOK == 0 && mf_stop(context)) return Status::CANCELLED;
        if (parent[j] != -1) --nonzeros[parent[j]];
        const std::int32_t column = analysis.perm[j];
        for (std::int32_t e = full.col_ptr[column]; e < full.col_ptr[column + 1]; ++e) {
            const std::int32_t i = inverse[full.row_ind[e]];
            if (i <= j || first_descendant[j] <= largest_first[i]) continue;
            largest_first[i] = first_descendant[j];
            ++nonzeros[j];
            if (previous_leaf[i] != -1) --nonzeros[find_root(previous_leaf[i], ancestor.get())];
            previous_leaf[i] = j;
        }
        if (parent[j] != -1) ancestor[j] = parent[j];
    }
    for (std::int32_t j = 0; j < n; ++j)
        if (parent[j] != -1) nonzeros[parent[j]] += nonzeros[j];
    return Status::OK;
}

} // namespace vyr
