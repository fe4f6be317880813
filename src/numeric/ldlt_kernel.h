// The L D L^T kernel: eliminates the pivot columns of one node with Bunch-Kaufman pivoting inside the node.
#pragma once

#include "numeric/ldlt_front.h"
#include "symbolic/solver.h"

namespace vyr {

/// The kernel's two variants and the two ways to exchange rows. The pivots are the same in all of them.
struct LdltMode {
    bool in_place; ///< write the update matrix in strips; otherwise zero it and add to it in one piece
    bool blas_interchange; ///< exchange rows and columns by dswap instead of loops
    std::int32_t ld;       ///< leading dimension of the update matrix in solver.work_block, at least nupd
    /// OpenMP threads for large products. When above 1 the caller has set their number to 1 for all other
    /// calls.
    std::int32_t threads = 1;
};

/// Eliminates node `node`.
///
/// On entry the upper triangle of the node's block holds its assembled front. On return
///     the diagonal holds D, the strict upper triangle and the coupling block hold U = L^T (unit diagonal
///     implied); a 2 x 2 pivot at k has its off-diagonal entry at (k + 1, k), 0 at (k, k + 1) and sets
///     NODE_TWO_BY_TWO; (k + 1, k) is 0 for every other k; solver.pivot_index holds, for each pivot k, k
///     itself, or the row r exchanged with it; r at both columns of a 2 x 2 pivot, whose first column was
///     exchanged with r and whose second one after that; solver.work_block holds the update matrix, nupd x
///     nupd, upper triangle.
///
/// Uses solver.front_work. Needs what mf_ldlt_prepare allocates. Returns the number of pivots eliminated:
/// npiv, or less when a pivot was exactly zero or not finite, and then block and update are of no use. Adds
/// to `counters` and mf_n_p2. Cost: npiv (npiv + nupd)^2 multiplications, less what symmetry saves.
[[nodiscard]] std::int32_t MF_S_SYTRF_(mf_solver& solver, std::int32_t node, LdltMode mode,
                                       LdltCounters& counters) noexcept;

} // namespace vyr
