// Matrices in which most or all pivots must be 2 x 2, and singular ones.
#include "tools/vyr/generators.h"
#include "tools/vyr/lower_builder.h"
#include "tools/vyr/random_numbers.h"

namespace vyr::tool {

namespace {

/// Neighbours in a grid of nx x ny points have the entry weight(), nothing else is stored.
template <typename Weight>
SparseMatrix adjacency(std::int32_t nx, std::int64_t ny, Weight weight) {
    require_side(nx, 2);
    LowerBuilder a(1.0 * nx * static_cast<double>(ny), 2.0 * nx * static_cast<double>(ny));
    const std::int32_t n = nx * static_cast<std::int32_t>(ny);
    for (std::int32_t j = 0; j < n; ++j) {
        if (j % nx < nx - 1) a.add(j + 1, j, weight());
        if (j < n - nx) a.add(j + nx, j, weight());
    }
    return a.finish();
}

double one() {
    return 1.0;
}

/// The five-point Laplacian with no flow over the border, plus `shift` times the identity.
SparseMatrix neumann(std::int32_t side, double shift) {
    require_side(side, 2);
    LowerBuilder a(1.0 * side * side, 3.0 * side * side);
    for (std::int32_t j = 0; j < side * side; ++j) {
        const bool right = j % side < side - 1, up = j < side * (side - 1);
        if (right) a.add(j + 1, j, -1.0);
        if (up) a.add(j + side, j, -1.0);
        a.add(j, j, shift + right + up + (j % side > 0) + (j >= side));
    }
    return a.finish();
}

} // namespace

SparseMatrix zero_grid(std::int32_t side) {
    return adjacency(side, side, one);
}

SparseMatrix zero_grid_oblong(std::int32_t side) {
    return adjacency(side, std::int64_t{side} + 1, one);
}

SparseMatrix zero_grid_weighted(std::int32_t side) {
    RandomNumbers random(2);
    return adjacency(side, side, [&] { return random.between(1, 2) * (random.below(2) == 0 ? 1 : -1); });
}

SparseMatrix zero_arrow(std::int32_t side) {
    require_side(side, 1);
    LowerBuilder a(1.0 + side, 2.0 * side);
    for (std::int32_t j = 0; j < side; ++j) {
        a.add(j, j, j % 2 == 0 ? 1.0 : -2.0);
        a.add(side, j, 1.0);
    }
    return a.finish();
}

SparseMatrix neumann2d(std::int32_t side) {
    return neumann(side, 0.0);
}

SparseMatrix nearly_singular(std::int32_t side) {
    return neumann(side, 1e-10);
}

} // namespace vyr::tool
