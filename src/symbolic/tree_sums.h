// Sums over the subtrees of the assembly tree.
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

} // namespace vyr
