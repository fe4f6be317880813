// The crossing to METIS 5.1: nested dissection of a graph, plain and with vertex weights.
#pragma once

#include <cstdint>

namespace vyr {

/// Orders the vertices of an undirected graph by multilevel nested dissection.
///
/// n          vertices, at least 1
/// xadj       n + 1 pointers; adjacency: xadj[n] neighbours, 0-based, both directions, no loops
/// perm       out, n: perm[new] = old; inverse: out, n: inverse[old] = new
///
/// Returns false when METIS fails; perm and inverse then hold nothing of use. Reseeds the C library's rand.
/// Not thread-parallel.
[[nodiscard]] bool METIS_NodeND_order(std::int32_t n, std::int32_t* xadj, std::int32_t* adjacency,
                                      std::int32_t* perm, std::int32_t* inverse) noexcept;

/// As METIS_NodeND_order for a graph whose vertex i stands for weights[i] vertices.
[[nodiscard]] bool METIS_NodeWND_order(std::int32_t n, std::int32_t* xadj, std::int32_t* adjacency,
                                       std::int32_t* weights, std::int32_t* perm,
                                       std::int32_t* inverse) noexcept;

} // namespace vyr
