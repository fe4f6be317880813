// The node loop: the L D L^T factorization, one node after the other.
#pragma once

#include "interface/status.h"
#include "symbolic/solver.h"

namespace vyr {

/// Eliminates the nodes first .. last-1 in this order and passes their updates on. A run of several calls
/// starts with first = 0. Needs what mf_ldlt_prepare allocates, and the input entries in the blocks.
///
/// Returns 0, VYR_ERR_FACTOR_STORAGE when a node has no block, VYR_ERR_ILL_CONDITIONED when no pivot could be
/// found inside a node; the same value is left in INFO_STATUS. Adds the operations to INFO_FLOPS.
[[nodiscard]] Status mf_node_loop(mf_solver& solver, std::int32_t first, std::int32_t last) noexcept;

} // namespace vyr
