// The L D L^T kernel: one node's front, and the steps of its elimination.
#pragma once

#include "core/context.h"
#include "core/factor.h"
#include "core/settings.h"

#include <cstdint>

namespace vyr {

/// Pivot columns of one block; inside a block columns are brought up to date one by one.
inline constexpr std::int32_t LDLT_BLOCK = LAPACK_BLOCK_SIZE;

/// Columns of one strip of a deferred update or of the update matrix, in-place variant.
inline constexpr std::int32_t LDLT_STRIP = 4 * LDLT_BLOCK;

/// Pivot tests that left the common road, counted over one node loop, and the 2 x 2 pivots taken.
struct LdltCounters {
    std::int64_t early_flushes = 0; ///< deferred updates applied before their block was full
    std::int64_t second_tests = 0;  ///< diagonal entries refused as pivots
    std::int64_t two_by_two = 0;
};

/// The kernel's two variants and the two ways to exchange rows. The pivots are the same in all of them.
struct LdltMode {
    bool in_place; ///< write the update matrix in strips; otherwise zero it and add to it in one piece
    bool blas_interchange; ///< exchange rows and columns by dswap instead of loops
    std::int32_t ld;       ///< leading dimension of the update matrix in the work block, at least nupd
    /// OpenMP threads for large products. When above 1 the caller has set their number to 1 for all other
    /// calls.
    std::int32_t threads = 1;
    const Context* context = nullptr; ///< may end the elimination early; null: nobody will
};

/// Eliminates the pivot columns of node `node` with Bunch-Kaufman pivoting inside the node.
///
/// On entry the upper triangle of the node's block holds its assembled front. On return
///     the diagonal holds D, the strict upper triangle and the coupling block hold U = L^T (unit diagonal
///     implied); a 2 x 2 pivot at k has its off-diagonal entry at (k + 1, k) and sets BLOCK_TWO_BY_TWO;
///     (k + 1, k) is 0 for every other k; pivot_index holds, for each pivot k, k itself, or the row r
///     exchanged with it; r at both columns of a 2 x 2 pivot, whose first column was exchanged with r and
///     whose second one after that. The row of the first one keeps the order before the second exchange, so
///     the 0 of the pair stands at (k, r). The work block holds the update matrix, nupd x nupd, upper
///     triangle.
///
/// Needs what mf_ldlt_prepare allocates. Returns the number of pivots eliminated: npiv, or less when a pivot
/// was exactly zero or not finite, or the call is to end, and then block and update are of no use. Adds to
/// `counters`. Cost: npiv (npiv + nupd)^2 multiplications, less what symmetry saves.
[[nodiscard]] std::int32_t MF_S_SYTRF_(Factor& factor, std::int32_t node, LdltMode mode,
                                       LdltCounters& counters) noexcept;

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
    bool blas_interchange;            ///< exchange rows and columns by dswap instead of loops
    std::int32_t threads;             ///< for large products; see LdltMode
    const Context* context = nullptr; ///< may end the elimination early; null: nobody will

    bool stopped() const noexcept { return context != nullptr && mf_stop(*context); }
    double& at(std::int32_t row, std::int32_t col) const noexcept {
        return block[row + static_cast<std::int64_t>(col) * npiv];
    }
    double* column(std::int32_t col) const noexcept { return block + static_cast<std::int64_t>(col) * npiv; }
    /// Row i of Z from the diagonal on is z(i)[i] .. z(i)[width - 1].
    double* z(std::int32_t row) const noexcept { return undivided + static_cast<std::int64_t>(row) * width; }
};

enum class PivotKind { DIAGONAL, INTERCHANGED, TWO_BY_TWO };

struct PivotChoice {
    PivotKind kind;
    std::int32_t row; ///< r: the partner; the pivot's own index for DIAGONAL
};

/// First test: may the diagonal entry of row k be the pivot without a look at any other row?
///
/// row     row k of the front, brought up to date; entries k .. npiv-1 are read
///
/// Cost: npiv - k reads of contiguous memory.
[[nodiscard]] bool mf_diagonal_dominates(const double* row, std::int32_t k, std::int32_t npiv) noexcept;

/// Second test, for a row that failed the first one: the pivot to use at position k. Rows k .. npiv-1 of the
/// block must be up to date. Only pivot columns are candidates. Counts a refused diagonal in `counters`.
[[nodiscard]] PivotChoice mf_choose_pivot(const LdltFront& front, std::int32_t k,
                                          LdltCounters& counters) noexcept;

/// Exchanges positions p and r (p < r < npiv) of the rows and columns that are still to be eliminated.
///
/// first   the first row that takes part, first <= p; rows above it keep their order, which is what the
///         substitution expects: it applies an exchange just before it eliminates with the row of that
///         exchange
///
/// The row list, the permutation and the ancestors know nothing of it. Cost: width - first exchanges.
void mf_interchange(const LdltFront& front, std::int32_t first, std::int32_t p, std::int32_t r) noexcept;

/// Copies rows first .. last-1 of the block into Z.
void mf_load_rows(const LdltFront& front, std::int32_t first, std::int32_t last) noexcept;

/// Applies the pivots first .. k-1 of the block of pivots begun at `first` to row k of Z.
void mf_update_row(const LdltFront& front, std::int32_t first, std::int32_t k) noexcept;

/// Applies the pivots first .. done-1 to the rows row .. npiv-1 of the block: upper triangle, and
/// below it whatever the strips cover, or in one piece all of it; nobody reads that.
void mf_update_trailing(const LdltFront& front, std::int32_t first, std::int32_t done,
                        std::int32_t row) noexcept;

/// Writes the update matrix -Z^T U of the coupling block in strips of columns; only the upper triangle (and
/// what the strips cover beside it) is written. update: nupd x nupd, leading dimension ld. Ends early when
/// the call is to end.
void mf_form_update(const LdltFront& front, double* update, std::int32_t ld) noexcept;

/// Adds -Z^T U of the coupling block to `update`, whole square.
void mf_add_to_update(const LdltFront& front, double* update, std::int32_t ld) noexcept;

} // namespace vyr
