// The automatic choice. The figures it goes by are in core/tuning.h.
#include "core/tuning.h"
#include "symbolic/ordering.h"
#include "symbolic/steps.h"

#include <algorithm>
#include <cmath>

namespace vyr {

namespace {

/// Levels of the breadth-first search from a vertex, and one of its last vertices.
struct LevelStructure {
    std::int32_t depth;
    std::int32_t n_visited;
    std::int32_t last;
};

/// Stops at `most` levels. seen: n, zeroed where `mark` was never used; queue: n.
LevelStructure search(const Graph& graph, std::int32_t start, std::int32_t most, std::int8_t mark,
                      std::int8_t* seen, std::int32_t* queue) noexcept {
    std::int32_t n_visited = 1, level_begin = 0, depth = 0;
    queue[0] = start;
    seen[start] = mark;
    while (level_begin < n_visited && depth < most) {
        const std::int32_t level_end = n_visited;
        for (std::int32_t at = level_begin; at < level_end; ++at)
            for (std::int32_t k = graph.xadj[queue[at]]; k < graph.xadj[queue[at] + 1]; ++k) {
                const std::int32_t c = graph.adjacency[k];
                if (seen[c] == mark) continue;
                seen[c] = mark;
                queue[n_visited++] = c;
            }
        level_begin = level_end;
        ++depth;
    }
    return {depth, n_visited, queue[n_visited - 1]};
}

/// True when the graph is plainly a large mesh of a body, whose factorization is worth a dissection. The mean
/// level of a search from a far end stands for the separator: m unknowns, so m^3 for the operations. Meshes
/// with many neighbours a vertex have fewer and larger levels for the same separator, which a power of their
/// number makes up for. Searches end where the graph turns out too long for such levels.
Status plainly_worth_dissection(Context& context, const Graph& graph, double n_unknowns,
                                bool& plain) noexcept {
    plain = false;
    const double n = graph.n, entries = graph.xadj[graph.n];
    const double least_level = std::cbrt(tuning::BODY_LEVEL_COST * entries * std::pow(entries / n, 1.5));
    const auto most = static_cast<std::int32_t>(
        std::min(n_unknowns / std::max(least_level, 1.0), std::sqrt(n / tuning::BODY_THICKNESS)));
    const double least = 0.9 * std::cbrt(n); // less is no mesh
    if (most < least) return Status::OK;
    auto seen = Buffer<std::int8_t>::zeroed(context.memory, graph.n);
    Buffer<std::int32_t> queue(context.memory, graph.n);
    if (!seen || !queue) return out_of_memory(context, Status::FACTOR_STORAGE);
    LevelStructure levels = search(graph, 0, most + 1, 1, seen.get(), queue.get());
    if (levels.depth <= most) levels = search(graph, levels.last, most + 1, 2, seen.get(), queue.get());
    plain = levels.depth >= least && levels.depth <= most && levels.n_visited == graph.n;
    return Status::OK;
}

/// Operations of the elimination in the order perm, every vertex one unknown.
Status count_operations(Context& context, const Graph& graph, const std::int32_t* perm,
                        double& operations) noexcept {
    const std::int32_t n = graph.n;
    const Pattern pattern{n, graph.xadj, graph.adjacency};
    Analysis counted;
    counted.n = n;
    counted.perm = Buffer<std::int32_t>(context.memory, n);
    counted.parent = Buffer<std::int32_t>(context.memory, n);
    Buffer<std::int32_t> inverse(context.memory, n), work(context.memory, n);
    if (!counted.perm || !counted.parent || !inverse || !work)
        return out_of_memory(context, Status::FACTOR_STORAGE);
    const auto invert = [&] {
        for (std::int32_t k = 0; k < n; ++k) inverse[counted.perm[k]] = k;
    };
    std::copy_n(perm, n, counted.perm.get());
    invert();
    mf_etree(pattern, counted.perm.get(), inverse.get(), counted.parent.get(), work.get());
    Status status = mf_postorder(context, counted);
    if (status != Status::OK) return status;
    invert();
    status = mf_colcount(context, pattern, inverse.get(), work.get(), counted);
    operations = 0;
    for (std::int32_t k = 0; k < n && status == Status::OK; ++k)
        operations += static_cast<double>(work[k]) * work[k];
    return status;
}

} // namespace

bool mf_natural_pays(const Pattern& full) noexcept {
    double operations = 0, profile = 0;
    for (std::int32_t j = 0; j < full.n; ++j) {
        if (full.col_ptr[j] == full.col_ptr[j + 1]) continue;
        const double width = std::max(j - full.row_ind[full.col_ptr[j]], 0);
        operations += width * width;
        profile += width;
    }
    const double entries = full.col_ptr[full.n];
    return operations <= tuning::NATURAL_OPERATIONS * entries && profile <= tuning::NATURAL_FILL * entries;
}

Status mf_order_automatically(Context& context, const Graph& graph, std::int32_t n_unknowns,
                              std::int32_t* perm, int& ordering) noexcept {
    // 1. Dissection at once where AMD would be paid for in vain.
    const bool large = graph.n >= tuning::DISSECTION_VERTICES;
    const int dissection = ordering = large ? ORDERING_DISSECTION : ORDERING_METIS;
    const auto dissect = [&](std::int32_t* order) {
        return large ? mf_task_dissection(context, graph, order)
                     : mf_nested_dissection(context, graph, order);
    };
    bool plain = false;
    Status status = plainly_worth_dissection(context, graph, n_unknowns, plain);
    if (status != Status::OK) return status;
    if (plain) return dissect(perm);
    // 2. AMD, and no more unless its operations are many.
    ordering = ORDERING_AMD;
    double operations = 0;
    status = mf_minimum_degree(context, graph, perm, operations);
    const double unknowns_a_vertex = static_cast<double>(n_unknowns) / graph.n;
    const double cost = operations * unknowns_a_vertex * unknowns_a_vertex * unknowns_a_vertex;
    if (status != Status::OK || cost <= tuning::DISSECTION_OPERATIONS * graph.xadj[graph.n]) return status;
    // 3. Dissection as well, and the better of the two.
    Buffer<std::int32_t> other(context.memory, graph.n);
    if (!other) return out_of_memory(context, Status::FACTOR_STORAGE);
    status = dissect(other.get());
    double dissected = 0;
    if (status == Status::OK) status = count_operations(context, graph, other.get(), dissected);
    if (status != Status::OK || dissected >= operations) return status;
    ordering = dissection;
    std::copy_n(other.get(), graph.n, perm);
    return Status::OK;
}

} // namespace vyr
