#include "reference/trees.h"

#include <algorithm>

namespace vyr::reference {

EliminationTree etree(const Pattern& full, const Ints& perm) {
    const std::int32_t n = full.n;
    Ints inverse(n), ancestor(n, -1), parent(n, -1);
    for (std::int32_t k = 0; k < n; ++k) inverse[perm[k]] = k;
    for (std::int32_t k = 0; k < n; ++k)
        for (std::int32_t e = full.colptr[perm[k]]; e < full.colptr[perm[k] + 1]; ++e) {
            std::int32_t r = inverse[full.rowind[e]];
            if (r >= k) continue;
            while (ancestor[r] != -1 && ancestor[r] != k) {
                const std::int32_t a = ancestor[r];
                ancestor[r] = k;
                r = a;
            }
            if (ancestor[r] == -1) ancestor[r] = parent[r] = k;
        }
    parent[n - 1] = -1;
    return {parent, static_cast<std::int32_t>(std::count(parent.begin(), parent.end(), -1))};
}

Ints postorder(Ints& parent, Ints& perm) {
    const auto n = static_cast<std::int32_t>(parent.size());
    std::vector<Ints> children(n);
    Ints roots;
    for (std::int32_t j = 0; j < n; ++j)
        if (parent[j] != -1) children[parent[j]].push_back(j);
    for (std::int32_t j = n - 1; j >= 0; --j)
        if (parent[j] == -1) roots.push_back(j);

    Ints post;
    for (const std::int32_t root : roots) {
        std::vector<std::pair<std::int32_t, std::size_t>> stack{{root, 0}}; // node, children visited
        while (!stack.empty()) {
            auto& [node, visited] = stack.back();
            if (visited < children[node].size()) {
                const std::int32_t child = children[node][visited++];
                stack.emplace_back(child, 0);
            } else {
                post.push_back(node);
                stack.pop_back();
            }
        }
    }
    Ints place(n), new_parent(n), new_perm(n), child_count(n);
    for (std::int32_t k = 0; k < n; ++k) place[post[k]] = k;
    for (std::int32_t k = 0; k < n; ++k) {
        new_parent[k] = parent[post[k]] == -1 ? -1 : place[parent[post[k]]];
        new_perm[k] = perm[post[k]];
        child_count[k] = static_cast<std::int32_t>(children[post[k]].size());
    }
    parent = new_parent;
    perm = new_perm;
    return child_count;
}

Ints colcount(const Pattern& permuted, const Ints& parent) {
    Ints mark(permuted.n, -1), count(permuted.n, 0);
    for (std::int32_t j = 0; j < permuted.n; ++j) {
        mark[j] = j;
        ++count[j];
        for (std::int32_t e = permuted.colptr[j]; e < permuted.colptr[j + 1]; ++e) {
            if (permuted.rowind[e] >= j) continue;
            for (std::int32_t k = permuted.rowind[e]; mark[k] != j; k = parent[k]) {
                ++count[k];
                mark[k] = j;
            }
        }
    }
    return count;
}

} // namespace vyr::reference
