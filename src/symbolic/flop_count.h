// Operation counts of node eliminations.
#pragma once

#include "symbolic/solver.h"

namespace vyr {

/// Operations of eliminating p pivots from a front with a rows and b columns beyond them.
constexpr double mf_flop_count(double p, double a, double b) noexcept {
    return 0.6666 * p * p * p + 2 * p * a * b + (a + b) * p * p;
}

/// Operations of eliminating a symmetric node: half of the unsymmetric count.
inline double mf_node_cost(const mf_snode& node) noexcept {
    return 0.5 * mf_flop_count(node.npiv, node.nupd, node.nupd);
}

} // namespace vyr
