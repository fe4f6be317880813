// Sums over the subtrees of the assembly tree, and a cut of the tree by them.
#pragma once

#include "core/analysis.h"

namespace vyr {

/// Of every node: the sum of a weight over its subtree, and the first node of the subtree, whose nodes are
/// first .. node. Cost: linear in the supernodes.
template <typename Value>
class TreeSums {
public:
    /// weight(s) is that of node s.
    template <typename Weight>
    TreeSums(Accounting& memory, const Analysis& analysis, const Weight& weight) noexcept
        : sum(memory, analysis.n_snodes, Value{}), first(memory, analysis.n_snodes, -1) {
        if (!*this) return;
        for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
            sum[s] += weight(s);
            if (first[s] == -1) first[s] = s;
            const std::int32_t parent = analysis.snode_parent[s];
            if (parent == -1) continue;
            sum[parent] += sum[s];
            if (first[parent] == -1) first[parent] = first[s];
        }
    }
    /// False when the memory could not be had.
    explicit operator bool() const noexcept { return sum && first; }

    Buffer<Value> sum;
    Buffer<std::int32_t> first;
};

/// Calls found(first, root) for each largest subtree whose sum is at most `most`, and above(s) for every node
/// in none, both in ascending order.
template <typename Value, typename Found, typename Above>
void for_each_part(const Analysis& analysis, const TreeSums<Value>& tree, Value most, const Found& found,
                   const Above& above) noexcept {
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
        if (tree.sum[s] > most) {
            above(s);
            continue;
        }
        const std::int32_t parent = analysis.snode_parent[s];
        if (parent == -1 || tree.sum[parent] > most) found(tree.first[s], s);
    }
}

} // namespace vyr
