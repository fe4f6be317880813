// What an analysis tells of a factorization to come: entries of L, and how a limit on the memory of the
// process divides between the factor blocks and all the rest.
#pragma once

#include "core/analysis.h"
#include "core/context.h"

#include <cstdint>

namespace vyr {

/// Entries of L: the supernodes' blocks without the unused half of their pivot blocks.
[[nodiscard]] std::int64_t mf_factor_nnz(const Analysis& analysis) noexcept;

/// Bytes that the process takes beside the factor blocks from here to the end of the solve, what it holds
/// already included. Ask when the scratch of the analysis has been released.
///
/// type        a TYPE_ value; L D L^T has whole updates beside the blocks, and more of them with delayed
/// pivots n_threads   of the factorization
[[nodiscard]] double mf_bytes_beside_blocks(const Analysis& analysis, int type,
                                            std::int32_t n_threads) noexcept;

/// Largest sum of the blocks of a node and those it adds to, in bytes: no order of elimination holds less.
/// For L L^T these are all its ancestors; a front of L D L^T stands alone.
///
/// Returns OK, or MEMORY without room for n_snodes doubles.
[[nodiscard]] Status mf_path_bytes(Context& context, const Analysis& analysis, int type,
                                   double& bytes) noexcept;

} // namespace vyr
