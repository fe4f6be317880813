// The fill-reducing ordering: nested dissection by METIS 5.1 or minimum degree by AMD, of the compressed
// graph when asked for; or an order that is given.
#pragma once

#include "core/analysis.h"
#include "core/context.h"

#include <cstdint>

namespace vyr {

/// How a pattern was ordered.
struct OrderingMade {
    int ordering = ORDERING_METIS; ///< any ORDERING_ value but the automatic one
    bool compressed = false;       ///< vertices with one closed neighbourhood were ordered as one
};

/// Orders the full symmetric pattern (diagonal entries allowed, rows ascending) as settings.ordering says.
/// METIS and AMD get the compressed graph with settings.blocked, settings.compress, and with
/// settings.compress_when_it_pays where it does; each group comes out in one run, the highest number first,
/// and so do the pairs of settings.partner. Of the equations of settings.weak none comes before all of its
/// neighbours.
///
/// perm   out, n: perm[new] = old; holds nothing of use after a failure
/// made   out, or null
///
/// FACTOR_STORAGE without memory, CANCELLED, ORDERING when METIS or AMD gives up.
[[nodiscard]] Status mf_order(Context& context, const Pattern& full, std::int32_t* perm,
                              OrderingMade* made = nullptr) noexcept;

/// An undirected graph: both directions of every edge, neighbours ascending, no loops. Borrowed.
struct Graph {
    std::int32_t n;          ///< vertices, at least 1
    std::int32_t* xadj;      ///< n + 1
    std::int32_t* adjacency; ///< xadj[n]
    std::int32_t* weights;   ///< n: unknowns that each vertex stands for; null: 1
};

/// A compressed graph: several vertices have become one weighted vertex, a group.
struct CompressedGraph {
    std::int32_t n_groups = 0;
    Buffer<std::int32_t> group;     ///< per vertex of the original graph, its group
    Buffer<std::int32_t> xadj;      ///< n_groups + 1
    Buffer<std::int32_t> adjacency; ///< xadj[n_groups]
    Buffer<std::int32_t> weights;   ///< n_groups: weight of the group's vertices

    Graph graph() noexcept { return {n_groups, xadj.get(), adjacency.get(), weights.get()}; }
};

/// Makes each pair of vertices one, in the order of the first members.
///
/// partner   graph.n: the other vertex of the pair; of a single one itself
/// pairs     out: fresh; graph.weights are not looked at
///
/// FACTOR_STORAGE without memory. Cost: a sort of every vertex's neighbours.
[[nodiscard]] Status mf_pair_graph(Context& context, const Graph& graph, const std::int32_t* partner,
                                   CompressedGraph& pairs) noexcept;

/// Moves weak vertices none of whose neighbours comes before them directly behind the first of those that
/// come after.
///
/// full   both triangles; weak: full.n, 1 for the vertices to be moved where need be
/// perm   in and out, full.n: perm[new] = old
///
/// FACTOR_STORAGE without memory. Cost: a pass over the entries of weak vertices.
[[nodiscard]] Status mf_postpone_weak(Context& context, const Pattern& full, const std::uint8_t* weak,
                                      std::int32_t* perm) noexcept;

/// Groups the vertices that have the same closed neighbourhood. When nothing can be merged only n_groups = n
/// and `group` are filled. FACTOR_STORAGE without memory. Cost: about one pass over the edges.
[[nodiscard]] Status mf_graph_compress(Context& context, const Graph& graph,
                                       CompressedGraph& compressed) noexcept;

/// True when compression is likely to take a tenth of the vertices away, judged by a sample of them. Cost: a
/// small share of a pass over the edges.
[[nodiscard]] bool mf_compression_pays(const Graph& graph) noexcept;

/// True when the pattern is a band so narrow that no ordering is worth its time. Cost: one step a column.
[[nodiscard]] bool mf_natural_pays(const Pattern& full) noexcept;

/// Orders by AMD or a dissection, whichever promises the earlier solution (core/tuning.h).
///
/// n_unknowns   of all vertices together
/// perm         out, graph.n: perm[new] = old
/// ordering     out: ORDERING_AMD, ORDERING_METIS or ORDERING_DISSECTION
///
/// Statuses of the two.
[[nodiscard]] Status mf_order_automatically(Context& context, const Graph& graph, std::int32_t n_unknowns,
                                            std::int32_t* perm, int& ordering) noexcept;

/// Orders by approximate minimum degree. The weights are not looked at: vertices of one closed neighbourhood
/// fall together in the course of the elimination.
///
/// perm         out, graph.n: perm[new] = old
/// operations   out: an upper bound of those of the elimination, every vertex one unknown
///
/// Statuses and threads as mf_ordering_call has them; FACTOR_STORAGE also for a graph whose work space AMD
/// cannot number by 32 bits.
[[nodiscard]] Status mf_minimum_degree(Context& context, const Graph& graph, std::int32_t* perm,
                                       double& operations) noexcept;

/// Orders by multilevel nested dissection.
///
/// perm   out, graph.n: perm[new] = old
///
/// Statuses and threads as mf_ordering_call has them.
[[nodiscard]] Status mf_nested_dissection(Context& context, const Graph& graph, std::int32_t* perm) noexcept;

/// Orders by nested dissection, on settings.n_threads threads at most; the order is the same with any number.
/// Parts of tuning::DISSECTION_LEAF unknowns are ordered by minimum degree.
///
/// perm   out, graph.n: perm[new] = old
///
/// Statuses as mf_ordering_call has them.
[[nodiscard]] Status mf_task_dissection(Context& context, const Graph& graph, std::int32_t* perm) noexcept;

/// Orders the vertices of an undirected graph by multilevel nested dissection.
///
/// n          vertices, at least 1
/// xadj       n + 1 pointers; adjacency: xadj[n] neighbours, 0-based, both directions, no loops
/// perm       out, n: perm[new] = old; inverse: out, n: inverse[old] = new
///
/// Statuses and threads as mf_ordering_call has them; after a failure perm and inverse hold nothing of use.
[[nodiscard]] Status METIS_NodeND_order(Context& context, std::int32_t n, std::int32_t* xadj,
                                        std::int32_t* adjacency, std::int32_t* perm,
                                        std::int32_t* inverse) noexcept;

/// As METIS_NodeND_order for a graph whose vertex i stands for weights[i] vertices.
[[nodiscard]] Status METIS_NodeWND_order(Context& context, std::int32_t n, std::int32_t* xadj,
                                         std::int32_t* adjacency, std::int32_t* weights, std::int32_t* perm,
                                         std::int32_t* inverse) noexcept;

} // namespace vyr
