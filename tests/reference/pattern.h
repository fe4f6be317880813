// Patterns by columns and the literal operations of the analysis on them. Written to be obviously right.
#pragma once

#include <cstdint>
#include <vector>

namespace vyr::reference {

using Ints = std::vector<std::int32_t>;
using Longs = std::vector<std::int64_t>;

struct Pattern {
    std::int32_t n = 0;
    Ints colptr{0};
    Ints rowind;
};

/// The lower triangle a caller's pattern stands for, and for each stored entry its entry there.
struct CanonicalPattern {
    Pattern lower;
    Ints entry_of;
};
CanonicalPattern canonical_pattern(const Pattern& stored);

/// Both triangles of a lower triangle.
Pattern sym_full(const Pattern& lower);

/// For each entry of the full pattern the entry of the lower triangle it came from.
Ints sym_map(const Pattern& full, const Pattern& lower);

/// The full pattern without its diagonal.
Pattern adjacency_graph(const Pattern& full);

/// Groups of vertices that share their closed neighbourhood up to `tolerance` times the degree.
struct Compression {
    Ints group;    ///< per vertex
    Pattern graph; ///< one vertex per group
    Ints weights;  ///< per group, its size
    /// The vertices in the order that an order of the groups stands for.
    Ints expand(const Ints& group_order) const;
};
Compression graph_compress(const Pattern& graph, double tolerance);

/// P A P' of a full pattern: perm[new] = old. `new_place` receives for each entry its place in the result.
Pattern sym_permute(const Pattern& full, const Ints& perm, Ints& new_place);

} // namespace vyr::reference
