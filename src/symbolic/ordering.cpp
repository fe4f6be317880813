#include "symbolic/ordering.h"

#include <algorithm>
#include <numeric>

namespace vyr {

namespace {

/// The graph of a pattern.
struct PatternGraph {
    Buffer<std::int32_t> storage;
    Graph graph{};
};

Status make_graph(Context& context, const Pattern& full, PatternGraph& made) noexcept {
    const std::int32_t n = full.n;
    made.storage = Buffer<std::int32_t>(context.memory, std::int64_t{n} + full.col_ptr[n] + 1);
    if (!made.storage) return out_of_memory(context, Status::FACTOR_STORAGE);
    std::int32_t* xadj = made.storage.get();
    std::int32_t* adjacency = xadj + n + 1;
    std::int32_t place = 0;
    for (std::int32_t j = 0; j < n; ++j) {
        xadj[j] = place;
        for (std::int32_t e = full.col_ptr[j]; e < full.col_ptr[j + 1]; ++e)
            if (full.row_ind[e] != j) adjacency[place++] = full.row_ind[e];
    }
    xadj[n] = place;
    made.graph = {n, xadj, adjacency, nullptr};
    return Status::OK;
}

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

/// By METIS or AMD, as settings.ordering says; `ordering` tells which.
Status order_graph(Context& context, const Graph& graph, std::int32_t n_unknowns, std::int32_t* perm,
                   int& ordering) noexcept {
    ordering = context.settings.ordering;
    if (ordering == ORDERING_AUTOMATIC)
        return mf_order_automatically(context, graph, n_unknowns, perm, ordering);
    double operations = 0;
    if (ordering == ORDERING_AMD) return mf_minimum_degree(context, graph, perm, operations);
    if (ordering == ORDERING_DISSECTION) return mf_task_dissection(context, graph, perm);
    return mf_nested_dissection(context, graph, perm);
}

/// Orders the vertices of a graph, those of one closed neighbourhood together when asked for.
Status order_vertices(Context& context, const Graph& graph, std::int32_t n_unknowns, std::int32_t* perm,
                      OrderingMade& made) noexcept {
    const Settings& settings = context.settings;
    const bool compress = settings.blocked || settings.compress ||
                          (settings.compress_when_it_pays && mf_compression_pays(graph));
    if (!compress) return order_graph(context, graph, n_unknowns, perm, made.ordering);
    CompressedGraph groups;
    if (const Status status = mf_graph_compress(context, graph, groups); status != Status::OK) return status;
    made.compressed = groups.n_groups < graph.n;
    if (!made.compressed) return order_graph(context, graph, n_unknowns, perm, made.ordering);
    Buffer<std::int32_t> group_order(context.memory, groups.n_groups);
    if (!group_order) return out_of_memory(context, Status::FACTOR_STORAGE);
    if (const Status status =
            order_graph(context, groups.graph(), n_unknowns, group_order.get(), made.ordering);
        status != Status::OK)
        return status;
    return expand_groups(context, graph.n, groups, group_order.get(), perm);
}

Status order_pairs(Context& context, const Graph& graph, std::int32_t* perm, OrderingMade& made) noexcept {
    CompressedGraph pairs;
    if (const Status status = mf_pair_graph(context, graph, context.settings.partner, pairs);
        status != Status::OK)
        return status;
    Buffer<std::int32_t> pair_order(context.memory, pairs.n_groups);
    if (!pair_order) return out_of_memory(context, Status::FACTOR_STORAGE);
    if (const Status status = order_vertices(context, pairs.graph(), graph.n, pair_order.get(), made);
        status != Status::OK)
        return status;
    return expand_groups(context, graph.n, pairs, pair_order.get(), perm);
}

/// True when the order is one that is given, which perm then holds.
bool order_given(const Settings& settings, const Pattern& full, std::int32_t* perm,
                 OrderingMade& made) noexcept {
    made.ordering = settings.ordering;
    if (settings.ordering == ORDERING_USER) {
        std::copy_n(settings.permutation, full.n, perm);
        return true;
    }
    // Groups may lie apart in the natural order.
    const bool apart =
        settings.compress || settings.blocked || settings.partner != nullptr || settings.weak != nullptr;
    const bool narrow = settings.ordering == ORDERING_AUTOMATIC && !apart && mf_natural_pays(full);
    if (settings.ordering != ORDERING_NATURAL && !narrow) return false;
    made.ordering = ORDERING_NATURAL;
    std::iota(perm, perm + full.n, 0);
    return true;
}

} // namespace

Status mf_order(Context& context, const Pattern& full, std::int32_t* perm, OrderingMade* made) noexcept {
    OrderingMade unwanted;
    OrderingMade& how = made != nullptr ? *made : unwanted;
    how = OrderingMade{};
    const Settings& settings = context.settings;
    if (full.n < 1 || order_given(settings, full, perm, how)) return Status::OK;
    PatternGraph plain;
    Status status = make_graph(context, full, plain);
    if (status != Status::OK) return status;
    status = settings.partner != nullptr ? order_pairs(context, plain.graph, perm, how)
                                         : order_vertices(context, plain.graph, full.n, perm, how);
    if (status != Status::OK || settings.weak == nullptr) return status;
    return mf_postpone_weak(context, full, settings.weak, perm);
}

} // namespace vyr
