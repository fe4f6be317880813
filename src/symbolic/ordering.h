// The fill-reducing ordering: nested dissection by METIS 5.1, of the compressed graph when asked for.
#pragma once

#include "core/analysis.h"
#include "core/context.h"

#include <cstdint>

namespace vyr {

/// Orders the full symmetric pattern (diagonal entries allowed) by nested dissection, after graph compression
/// with settings.blocked.
///
/// perm   out, n: perm[new] = old; holds nothing of use after a failure
///
/// FACTOR_STORAGE without memory, CANCELLED, ORDERING when METIS gives up.
[[nodiscard]] Status mf_order(Context& context, const Pattern& full, std::int32_t* perm) noexcept;

/// A compressed graph, both directions of every edge, no loops: vertices with the same closed neighbourhood
/// have become one weighted vertex, a group.
struct CompressedGraph {
    std::int32_t n_groups = 0;
    Buffer<std::int32_t> group;     ///< per vertex of the original graph, its group
    Buffer<std::int32_t> xadj;      ///< n_groups + 1
    Buffer<std::int32_t> adjacency; ///< xadj[n_groups]
    Buffer<std::int32_t> weights;   ///< n_groups: vertices in the group
};

/// Groups the vertices of a graph (n, xadj, adjacency as in METIS_NodeND_order). When nothing can be merged
/// only n_groups = n and `group` are filled. FACTOR_STORAGE without memory. Cost: about one pass over the
/// edges.
[[nodiscard]] Status mf_graph_compress(Context& context, std::int32_t n, const std::int32_t* xadj,
                                       const std::int32_t* adjacency, CompressedGraph& compressed) noexcept;

/// Orders the vertices of an undirected graph by multilevel nested dissection.
///
/// n          vertices, at least 1
/// xadj       n + 1 pointers; adjacency: xadj[n] neighbours, 0-based, both directions, no loops
/// perm       out, n: perm[new] = old; inverse: out, n: inverse[old] = new
///
/// Statuses and threads as mf_metis_call has them; after a failure perm and inverse hold nothing of use.
[[nodiscard]] Status METIS_NodeND_order(Context& context, std::int32_t n, std::int32_t* xadj,
                                        std::int32_t* adjacency, std::int32_t* perm,
                                        std::int32_t* inverse) noexcept;

/// As METIS_NodeND_order for a graph whose vertex i stands for weights[i] vertices.
[[nodiscard]] Status METIS_NodeWND_order(Context& context, std::int32_t n, std::int32_t* xadj,
                                         std::int32_t* adjacency, std::int32_t* weights, std::int32_t* perm,
                                         std::int32_t* inverse) noexcept;

} // namespace vyr
