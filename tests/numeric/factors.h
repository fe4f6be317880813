// How tests look into a factor, and a pattern with fronts to share between threads.
#pragma once

#include "support/engine.h"

#include <algorithm>
#include <cmath>

namespace vyr::test {

/// Where entry (i, j) of U, i <= j in pivot order, is stored; null where the structure has none.
inline double* entry_of(const Factor& factor, std::int32_t i, std::int32_t j) {
    const std::int32_t s = factor.analysis->column_map[i];
    const mf_snode& node = factor.analysis->snodes[s];
    const std::int32_t* place = std::lower_bound(node.rows, node.rows + node.n_rows(), j);
    if (place == node.rows + node.n_rows() || *place != j) return nullptr;
    return factor.block(s) + (i - node.first()) + (place - node.rows) * std::int64_t{node.npiv};
}

/// Cliques beside each other, each joined to all but a few vertices of a last one.
inline Edges cliques_and_separator(std::int32_t count, std::int32_t size, std::int32_t separator) {
    Edges edges;
    const std::int32_t first = count * size;
    for (auto [i, j] : dense_edges(separator)) edges.emplace_back(first + i, first + j);
    for (std::int32_t c = 0; c < count; ++c) {
        for (auto [i, j] : dense_edges(size)) edges.emplace_back(c * size + i, c * size + j);
        for (std::int32_t k = 0; k < size * separator; ++k)
            if (k % separator % count != c)
                edges.emplace_back(c * size + k / separator, first + k % separator);
    }
    return edges;
}

} // namespace vyr::test
