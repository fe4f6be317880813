// Symmetric indefinite test matrices, lower triangles.
#pragma once

#include "support/matrices.h"

namespace vyr::test {

/// The seven-point (nz = 1: five-point) Laplacian of a grid less `shift` times the identity.
Csc shifted_laplacian(std::int32_t nx, std::int32_t ny, std::int32_t nz, double shift);

/// [H B'; B 0]: H a shifted five-point Laplacian of nx x ny unknowns, one constraint on a random pair of
/// neighbours for each `every` unknowns. The zero block has no stored entries.
Csc saddle_point(std::int32_t nx, std::int32_t ny, std::int32_t every, Rng& rng);

/// Off-diagonal values in [-1, 1]; the share `weak` of the diagonal is zero, the rest in [-4,
/// 4].
Csc random_indefinite(std::int32_t n, const Edges& edges, double weak, Rng& rng);

/// Complete graphs of `size` vertices; the last four of each are joined to the first one of the next. Every
/// inner part becomes a node with candidates for any zero diagonal.
Edges clique_chain_edges(std::int32_t count, std::int32_t size);

} // namespace vyr::test
