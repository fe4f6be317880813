// What the L D L^T kernel's steps share: one node's front, the constants and the counters.
#pragma once

#include "interface/process_state.h"

#include <cstdint>

namespace vyr {

/// Pivot columns of one block; inside a block columns are brought up to date one by one.
inline constexpr std::int32_t LDLT_BLOCK = LAPACK_BLOCK_SIZE;

/// Columns of one strip of a deferred update or of the update matrix, in-place variant.
inline constexpr std::int32_t LDLT_STRIP = 4 * LDLT_BLOCK;

/// Pivot tests that left the common road, counted over one node loop. 2 x 2 pivots are counted in mf_n_p2.
struct LdltCounters {
    std::int64_t early_flushes = 0; ///< deferred updates applied before their block was full
    std::int64_t second_tests = 0;  ///< diagonal entries refused as pivots
};

/// The front of one node during its elimination. Rows of `block` become rows of U = L^T with D on the
/// diagonal.
///
/// Z, the rows before division by D, is kept transposed: row i of the front is the contiguous column i. A row
/// read or written in the block itself touches one cache line for each entry.
struct LdltFront {
    double* block;     ///< npiv x width, leading dimension npiv; the upper triangle of the first npiv columns
    double* undivided; ///< width x npiv, leading dimension width: Z^T
    std::int32_t* record; ///< npiv: row chosen at each pivot
    std::int32_t npiv;
    std::int32_t width; ///< npiv + nupd
    bool in_place;      ///< update the trailing pivot columns in strips; otherwise all columns in one piece
    bool blas_interchange; ///< exchange rows and columns by dswap instead of loops
    std::int32_t threads;  ///< for large products; see LdltMode

    double& at(std::int32_t row, std::int32_t col) const noexcept {
        return block[row + static_cast<std::int64_t>(col) * npiv];
    }
    double* column(std::int32_t col) const noexcept { return block + static_cast<std::int64_t>(col) * npiv; }
    /// Row i of Z from the diagonal on is z(i)[i] .. z(i)[width - 1].
    double* z(std::int32_t row) const noexcept { return undivided + static_cast<std::int64_t>(row) * width; }
};

} // namespace vyr
