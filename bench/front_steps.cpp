#include "bench/front_steps.h"

namespace vyr::bench {

constexpr std::int32_t TILE_ROWS = 24;

Shares shares(const Analysis& analysis, std::int32_t s, std::int32_t limit) {
    const mf_snode& node = analysis.snodes[s];
    const std::int32_t* rows = node.update_rows();
    Shares found;
    std::int32_t first = 0, a = analysis.snode_parent[s];
    double tiles = 0;
    for (std::int32_t k = 0; k < node.anc_count && first < node.nupd; ++k, a = analysis.snode_parent[a]) {
        const std::int32_t last = a < limit ? first + node.anc_rows[k] : node.nupd;
        if (last > first) ++found.n_ancestors;
        for (; first < last; first += std::min(TILE_ROWS, last - first)) {
            const std::int32_t end = std::min(last, first + TILE_ROWS) - 1;
            ++tiles;
            if (rows[end] - rows[first] != end - first) ++found.scattered;
        }
    }
    found.n_ancestors = std::max(1.0, found.n_ancestors);
    found.scattered /= std::max(1.0, tiles);
    return found;
}

/// Clearing the factor, and the input entries' way into it.
Unit assembly_unit(const Analysis& analysis, const Costs& costs, std::int32_t n_threads) {
    Builder builder(analysis, costs, n_threads);
    const auto n_chunks = static_cast<std::int32_t>(8 * analysis.factor_entries / tuning::TOUCH_BYTES + 1);
    const double bytes = 8.0 * static_cast<double>(analysis.factor_entries) / n_chunks;
    builder.serial(costs.serial[0] * analysis.n_snodes, 0);
    builder.strips(n_chunks, 1, [&](std::int32_t, std::int32_t) {
        return Part{bytes / costs.bandwidth[0], bytes};
    });
    const double entries = static_cast<double>(analysis.n_input) / n_threads;
    builder.strips(n_threads, 1, [&](std::int32_t, std::int32_t) {
        return Part{entries * costs.serial[1], 128 * entries};
    });
    return builder.take();
}

} // namespace vyr::bench
