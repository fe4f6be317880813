// I. S. Duff and S. Pralet, "Strategies for scaling and pivoting for sparse symmetric indefinite problems",
// SIAM J. Matrix Anal. Appl. 27 (2005), where the graph with pairs as vertices is called the compressed
// graph.
#include "symbolic/ordering.h"

#include <algorithm>

namespace vyr {

namespace {

/// Numbers the groups by their first members, which `leader` receives.
void number_groups(std::int32_t n, const std::int32_t* partner, CompressedGraph& pairs,
                   std::int32_t* leader) noexcept {
    for (std::int32_t j = 0; j < n; ++j) {
        if (partner[j] < j) {
            pairs.group[j] = pairs.group[partner[j]];
            ++pairs.weights[pairs.group[j]];
            continue;
        }
        pairs.weights[pairs.n_groups] = 1;
        leader[pairs.n_groups] = j;
        pairs.group[j] = pairs.n_groups++;
    }
}

} // namespace

Status mf_pair_graph(Context& context, const Graph& graph, const std::int32_t* partner,
                     CompressedGraph& pairs) noexcept {
    const std::int32_t n = graph.n;
    pairs.n_groups = 0;
    pairs.group = Buffer<std::int32_t>(context.memory, n);
    pairs.weights = Buffer<std::int32_t>(context.memory, n);
    pairs.xadj = Buffer<std::int32_t>(context.memory, std::int64_t{n} + 1);
    pairs.adjacency = Buffer<std::int32_t>(context.memory, graph.xadj[n]);
    Buffer<std::int32_t> leader(context.memory, n), seen_from(context.memory, n, -1);
    if (!pairs.group || !pairs.weights || !pairs.xadj || !pairs.adjacency || !leader || !seen_from)
        return out_of_memory(context, Status::FACTOR_STORAGE);
    number_groups(n, partner, pairs, leader.get());
    std::int32_t place = 0;
    for (std::int32_t g = 0; g < pairs.n_groups; ++g) {
        pairs.xadj[g] = place;
        seen_from[g] = g;
        const auto add_neighbours = [&](std::int32_t j) {
            for (std::int32_t k = graph.xadj[j]; k < graph.xadj[j + 1]; ++k) {
                const std::int32_t other = pairs.group[graph.adjacency[k]];
                if (seen_from[other] == g) continue;
                seen_from[other] = g;
                pairs.adjacency[place++] = other;
            }
        };
        const std::int32_t j = leader[g];
        add_neighbours(j);
        if (partner[j] != j) add_neighbours(partner[j]);
        std::sort(pairs.adjacency.get() + pairs.xadj[g], pairs.adjacency.get() + place);
    }
    pairs.xadj[pairs.n_groups] = place;
    return Status::OK;
}

} // namespace vyr
