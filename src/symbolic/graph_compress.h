// Graph compression: vertices with the same closed neighbourhood become one weighted vertex.
#pragma once

#include "memory/buffer.h"

#include <cstdint>

namespace vyr {

/// A compressed graph, both directions of every edge, no loops.
struct CompressedGraph {
    std::int32_t n_groups = 0;
    Buffer<std::int32_t> group;     ///< per vertex of the original graph, its group
    Buffer<std::int32_t> xadj;      ///< n_groups + 1
    Buffer<std::int32_t> adjacency; ///< xadj[n_groups]
    Buffer<std::int32_t> weights;   ///< n_groups: vertices in the group
};

/// Groups the vertices of a graph (n, xadj, adjacency as in nested_dissection.h). When nothing can be merged
/// only n_groups = n and `group` are filled. False without memory. Cost: about one pass over the edges.
[[nodiscard]] bool mf_graph_compress(std::int32_t n, const std::int32_t* xadj, const std::int32_t* adjacency,
                                     CompressedGraph& compressed) noexcept;

} // namespace vyr
