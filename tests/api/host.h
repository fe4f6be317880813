// A host of vyr/solver.h in a test.
#pragma once

#include "support/matrices.h"
#include "vyr/solver.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace vyr::test {

inline Matrix view_of(const Csc& a) {
    return Matrix(std::span<const std::int32_t>(a.colptr), a.rowind, a.values);
}

/// A saddle point: a grid and constraints that touch a few of its points, zeros on their diagonal.
inline Csc saddle(std::int32_t side, std::uint64_t seed) {
    Edges edges = grid_edges(side, side);
    const std::int32_t n = side * side, m = side;
    for (std::int32_t k = 0; k < m; ++k)
        for (std::int32_t i = 0; i < 3; ++i) edges.emplace_back(n + k, k * side + i);
    Csc a = spd(n + m, edges, seed);
    for (std::int32_t k = n; k < n + m; ++k) a.values[a.colptr[k]] = 0;
    return a;
}

} // namespace vyr::test
