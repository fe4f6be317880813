#include "symbolic/ordering.h"

#include <algorithm>

// Idea: C. Ashcraft, "Compressed graphs and the minimum degree algorithm", SIAM J. Sci. Comput. 16 (1995).
// Only vertices with identical closed neighbourhoods are merged here.

namespace vyr {

namespace {

/// Vertices looked at to see whether compression pays, and the largest degree of those looked at closely.
constexpr std::int32_t SAMPLES = 256;
constexpr std::int32_t SAMPLED_DEGREE = 256;

/// Numbers the groups; `representative` receives the first vertex of each. Candidates of j's group are j's
/// larger neighbours. Members share j's closed neighbourhood, so a member adds no candidate of its own.
void find_groups(std::int32_t n, const std::int32_t* xadj, const std::int32_t* adjacency,
                 const std::uint32_t* hash, std::int32_t* seen_from, CompressedGraph& compressed,
                 std::int32_t* representative) noexcept {
    std::int32_t* group = compressed.group.get();
    for (std::int32_t j = 0; j < n; ++j) {
        if (group[j] >= 0) continue;
        const std::int32_t new_group = compressed.n_groups++;
        representative[new_group] = j;
        group[j] = new_group;
        seen_from[j] = j;
        for (std::int32_t k = xadj[j]; k < xadj[j + 1]; ++k) seen_from[adjacency[k]] = j;
        for (std::int32_t k = xadj[j]; k < xadj[j + 1]; ++k) {
            const std::int32_t c = adjacency[k];
            if (c < j || group[c] >= 0 || hash[c] != hash[j] ||
                xadj[c + 1] - xadj[c] != xadj[j + 1] - xadj[j])
                continue;
            bool same = true;
            for (std::int32_t l = xadj[c]; same && l < xadj[c + 1]; ++l) same = seen_from[adjacency[l]] == j;
            if (same) group[c] = new_group;
        }
    }
}

} // namespace

// Twins of a sampled vertex are looked for among its neighbours of equal degree, by the sum over their closed
// neighbourhoods. Each group of several vertices loses at least half of them.
bool mf_compression_pays(const Graph& graph) noexcept {
    const auto degree = [&](std::int32_t j) { return graph.xadj[j + 1] - graph.xadj[j]; };
    const auto sum = [&](std::int32_t j) {
        auto total = static_cast<std::uint32_t>(j);
        for (std::int32_t k = graph.xadj[j]; k < graph.xadj[j + 1]; ++k)
            total += static_cast<std::uint32_t>(graph.adjacency[k]);
        return total;
    };
    const auto has_twin = [&](std::int32_t j) {
        if (degree(j) > SAMPLED_DEGREE) return false;
        const std::uint32_t own = sum(j);
        for (std::int32_t k = graph.xadj[j]; k < graph.xadj[j + 1]; ++k) {
            const std::int32_t c = graph.adjacency[k];
            if (degree(c) == degree(j) && sum(c) == own) return true;
        }
        return false;
    };
    const std::int32_t n_sampled = std::min(graph.n, SAMPLES);
    std::int32_t n_twins = 0;
    for (std::int32_t i = 0; i < n_sampled; ++i) {
        // Golden sections of the numbers, which no regular numbering follows.
        const std::uint32_t section = static_cast<std::uint32_t>(i) * std::uint32_t{2654435769};
        const std::uint64_t place = std::uint64_t{section} * static_cast<std::uint32_t>(graph.n) >> 32;
        n_twins += has_twin(static_cast<std::int32_t>(place));
    }
    return n_twins * 5 >= n_sampled;
}

Status mf_graph_compress(Context& context, const Graph& graph, CompressedGraph& compressed) noexcept {
    const std::int32_t n = graph.n, *xadj = graph.xadj, *adjacency = graph.adjacency;
    compressed.n_groups = 0;
    compressed.group = Buffer<std::int32_t>(context.memory, n, -1);
    Buffer<std::int32_t> representative(context.memory, n), seen_from(context.memory, n, -1);
    Buffer<std::uint32_t> hash(context.memory, n);
    if (!compressed.group || !representative || !seen_from || !hash)
        return out_of_memory(context, Status::FACTOR_STORAGE);
    for (std::int32_t j = 0; j < n; ++j) {
        hash[j] = static_cast<std::uint32_t>(j);
        for (std::int32_t k = xadj[j]; k < xadj[j + 1]; ++k)
            hash[j] += static_cast<std::uint32_t>(adjacency[k]);
    }
    find_groups(n, xadj, adjacency, hash.get(), seen_from.get(), compressed, representative.get());
    const std::int32_t n_groups = compressed.n_groups;
    if (n_groups == n) return Status::OK;

    compressed.xadj = Buffer<std::int32_t>(context.memory, std::int64_t{n_groups} + 1);
    compressed.adjacency = Buffer<std::int32_t>(context.memory, xadj[n]);
    compressed.weights = Buffer<std::int32_t>(context.memory, n_groups, 0);
    if (!compressed.xadj || !compressed.adjacency || !compressed.weights)
        return out_of_memory(context, Status::FACTOR_STORAGE);
    for (std::int32_t j = 0; j < n; ++j)
        compressed.weights[compressed.group[j]] += graph.weights == nullptr ? 1 : graph.weights[j];
    std::int32_t place = 0;
    for (std::int32_t g = 0; g < n_groups; ++g) {
        compressed.xadj[g] = place;
        const std::int32_t j = representative[g];
        for (std::int32_t k = xadj[j]; k < xadj[j + 1]; ++k) {
            const std::int32_t c = adjacency[k];
            const std::int32_t other = compressed.group[c];
            if (other != g && representative[other] == c) compressed.adjacency[place++] = other;
        }
    }
    compressed.xadj[n_groups] = place;
    return Status::OK;
}

} // namespace vyr
