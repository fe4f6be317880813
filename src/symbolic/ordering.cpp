#include "symbolic/ordering.h"

#include "interface/process_state.h"
#include "memory/buffer.h"
#include "symbolic/graph_compress.h"
#include "symbolic/nested_dissection.h"

#include <algorithm>

namespace vyr {

namespace {

/// Lists, group by group in their new order, the members of each group in decreasing index order.
bool expand_groups(std::int32_t n, const CompressedGraph& graph, const std::int32_t* group_order,
                   std::int32_t* perm) noexcept {
    Buffer<std::int32_t> head(graph.n_groups, -1), next(n);
    if (!head || !next) return false;
    for (std::int32_t j = 0; j < n; ++j) {
        const std::int32_t g = graph.group[j];
        next[j] = head[g];
        head[g] = j;
    }
    std::int32_t place = 0;
    for (std::int32_t k = 0; k < graph.n_groups; ++k)
        for (std::int32_t j = head[group_order[k]]; j >= 0; j = next[j]) perm[place++] = j;
    return true;
}

enum class Compression { ORDERED, NOTHING_TO_MERGE, NO_MEMORY };

/// Orders the compressed graph, if compression finds anything to merge.
Compression order_compressed(std::int32_t n, const std::int32_t* xadj, const std::int32_t* adjacency,
                             std::int32_t* perm) noexcept {
    CompressedGraph graph;
    if (!mf_graph_compress(n, xadj, adjacency, graph)) return Compression::NO_MEMORY;
    if (graph.n_groups == n) return Compression::NOTHING_TO_MERGE;
    Buffer<std::int32_t> group_order(graph.n_groups), inverse(graph.n_groups);
    if (!group_order || !inverse) return Compression::NO_MEMORY;
    if (!METIS_NodeWND_order(graph.n_groups, graph.xadj.get(), graph.adjacency.get(), graph.weights.get(),
                             group_order.get(), inverse.get()))
        return Compression::ORDERED; // the fall-back ordering stands
    return expand_groups(n, graph, group_order.get(), perm) ? Compression::ORDERED : Compression::NO_MEMORY;
}

} // namespace

bool mf_order(std::int32_t n, const std::int32_t* col_ptr, const std::int32_t* row_ind,
              std::int32_t* perm) noexcept {
    if (n < 1) return true;
    Buffer<std::int32_t> graph(2 * std::int64_t{n} + col_ptr[n] + 1);
    if (!graph) return false;
    std::int32_t* xadj = graph.get();
    std::int32_t* adjacency = xadj + n + 1;
    std::int32_t place = 0;
    for (std::int32_t j = 0; j < n; ++j) {
        xadj[j] = place;
        for (std::int32_t e = col_ptr[j]; e < col_ptr[j + 1]; ++e)
            if (row_ind[e] != j) adjacency[place++] = row_ind[e];
    }
    xadj[n] = place;

    if (ctrl_int(CTRL_BLOCKED) == 1) {
        const Compression outcome = order_compressed(n, xadj, adjacency, perm);
        if (outcome != Compression::NOTHING_TO_MERGE) return outcome == Compression::ORDERED;
    }
    // METIS writes its outputs even when it fails half way, so the fall-back is kept apart.
    Buffer<std::int32_t> order(n), inverse(n);
    if (!order || !inverse) return false;
    if (METIS_NodeND_order(n, xadj, adjacency, order.get(), inverse.get())) std::copy_n(order.get(), n, perm);
    return true;
}

} // namespace vyr
