#include "indefinite.h"

#include <algorithm>

namespace vyr::test {

namespace {

/// Calls change(row, column, value) for every stored entry.
template <typename Change>
void for_each_entry(Csc& a, Change change) {
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t k = a.colptr[j]; k < a.colptr[j + 1]; ++k) change(a.rowind[k], j, a.values[k]);
}

} // namespace

Csc shifted_laplacian(std::int32_t nx, std::int32_t ny, std::int32_t nz, double shift) {
    Csc a = spd(nx * ny * nz, grid_edges(nx, ny, nz));
    const double diagonal = nz == 1 ? 4.0 : 6.0;
    for_each_entry(
        a, [&](std::int32_t i, std::int32_t j, double& value) { value = i == j ? diagonal - shift : -1.0; });
    return a;
}

Csc saddle_point(std::int32_t nx, std::int32_t ny, std::int32_t every, Rng& rng) {
    const std::int32_t n = nx * ny, n_constraints = n / every;
    Edges edges = grid_edges(nx, ny);
    for (std::int32_t c = 0; c < n_constraints; ++c) {
        const std::int32_t at = c * every;
        edges.emplace_back(at, n + c);
        edges.emplace_back((at + 1) % n, n + c);
    }
    Csc a = spd(n + n_constraints, edges), kkt;
    std::uniform_real_distribution<double> weight(0.5, 2.0);
    for_each_entry(a, [&](std::int32_t i, std::int32_t j, double& value) {
        value = i >= n ? weight(rng) : i == j ? 4.0 : -1.0;
    });
    kkt.n = a.n;
    for (std::int32_t j = 0; j < a.n; ++j) {
        for (std::int32_t k = a.colptr[j]; k < a.colptr[j + 1] && j < n; ++k) {
            kkt.rowind.push_back(a.rowind[k]);
            kkt.values.push_back(a.values[k]);
        }
        kkt.colptr.push_back(static_cast<std::int32_t>(kkt.rowind.size()));
    }
    return kkt;
}

Csc random_indefinite(std::int32_t n, const Edges& edges, double weak, Rng& rng) {
    Csc a = spd(n, edges, rng());
    std::uniform_real_distribution<double> value(-4.0, 4.0), chance(0.0, 1.0);
    for_each_entry(a, [&](std::int32_t i, std::int32_t j, double& entry) {
        if (i == j) entry = chance(rng) < weak ? 0.0 : value(rng);
    });
    return a;
}

Edges clique_chain_edges(std::int32_t count, std::int32_t size) {
    Edges edges;
    for (std::int32_t c = 0; c < count; ++c) {
        const std::int32_t next = (c + 1) * size;
        for (auto [i, j] : dense_edges(size)) edges.emplace_back(c * size + i, c * size + j);
        for (std::int32_t i = next - 4; c + 1 < count && i < next; ++i) edges.emplace_back(i, next);
    }
    return edges;
}

} // namespace vyr::test
