// Substitution steps of narrow nodes, whose BLAS calls would cost more than their arithmetic.
#pragma once

#include "symbolic/solver.h"

namespace vyr {

/// Pivots up to which a node's substitution is done by these loops.
inline constexpr std::int32_t SMALL_NODE_PIVOTS = 16;

/// Forward step of one right-hand side: w (n doubles, pivot order) is solved on the node's pivots and reduced
/// on its update rows.
void mf_small_forward(const mf_snode& node, double* w) noexcept;

/// Backward step of one right-hand side.
void mf_small_backward(const mf_snode& node, double* w) noexcept;

} // namespace vyr
