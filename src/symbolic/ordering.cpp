#include "symbolic/ordering.h"

namespace vyr {

namespace {

/// Lists, group by group in their new order, the members of each group in decreasing index order.
Status expand_groups(Context& context, std::int32_t n, const CompressedGraph& graph,
                     const std::int32_t* group_order, std::int32_t* perm) noexcept {
    Buffer<std::int32_t> head(context.memory, graph.n_groups, -1), next(context.memory, n);
    if (!head || !next) return out_of_memory(context, Status::FACTOR_STORAGE);
    for (std::int32_t j = 0; j < n; ++j) {
        const std::int32_t g = graph.group[j];
        next[j] = head[g];
        head[g] = j;
    }
    std::int32_t place = 0;
    for (std::int32_t k = 0; k < graph.n_groups; ++k)
        for (std::int32_t j = head[group_order[k]]; j >= 0; j = next[j]) perm[place++] = j;
    return Status::OK;
}

Status order_compressed(Context& context, std::int32_t n, CompressedGraph& graph,
                        std::int32_t* perm) noexcept {
    Buffer<std::int32_t> group_order(context.memory, graph.n_groups), inverse(context.memory, graph.n_groups);
    if (!group_order || !inverse) return out_of_memory(context, Status::FACTOR_STORAGE);
    const Status ordered =
        METIS_NodeWND_order(context, graph.n_groups, graph.xadj.get(), graph.adjacency.get(),
                            graph.weights.get(), group_order.get(), inverse.get());
    if (ordered != Status::OK) return ordered;
    return expand_groups(context, n, graph, group_order.get(), perm);
}

/// Orders the graph as it is.
Status order_plain(Context& context, std::int32_t n, std::int32_t* xadj, std::int32_t* adjacency,
                   std::int32_t* perm) noexcept {
    Buffer<std::int32_t> inverse(context.memory, n);
    if (!inverse) return out_of_memory(context, Status::FACTOR_STORAGE);
    return METIS_NodeND_order(context, n, xadj, adjacency, perm, inverse.get());
}

} // namespace

Status mf_order(Context& context, const Pattern& full, std::int32_t* perm) noexcept {
    const std::int32_t n = full.n;
    if (n < 1) return Status::OK;
    Buffer<std::int32_t> graph(context.memory, 2 * std::int64_t{n} + full.col_ptr[n] + 1);
    if (!graph) return out_of_memory(context, Status::FACTOR_STORAGE);
    std::int32_t* xadj = graph.get();
    std::int32_t* adjacency = xadj + n + 1;
    std::int32_t place = 0;
    for (std::int32_t j = 0; j < n; ++j) {
        xadj[j] = place;
        for (std::int32_t e = full.col_ptr[j]; e < full.col_ptr[j + 1]; ++e)
            if (full.row_ind[e] != j) adjacency[place++] = full.row_ind[e];
    }
    xadj[n] = place;

    if (context.settings.blocked || context.settings.compress) {
        CompressedGraph compressed;
        const Status status = mf_graph_compress(context, n, xadj, adjacency, compressed);
        if (status != Status::OK) return status;
        if (compressed.n_groups < n) return order_compressed(context, n, compressed, perm);
    }
    return order_plain(context, n, xadj, adjacency, perm);
}

} // namespace vyr
