// Elimination of one front with threshold pivoting; what finds no pivot stays for the parent's front.
#pragma once

#include "core/context.h"
#include "numeric/front_loops.h"

#include <cstdint>

namespace vyr {

/// Pivots of a block of columns that is factored before the rest of the front hears of it: inside the block
/// by vectors, between the blocks by matrix products.
inline constexpr std::int32_t PANEL_PIVOTS = 24;
inline constexpr std::int32_t BLOCK_PIVOTS = 192;

/// What a pivot must be.
struct PivotRules {
    double threshold = 0.01; ///< u: entries of L grow to about 1 / u at most; up to 0.5
    double zero = 0;         ///< a column without an entry above this in magnitude has no pivot
    /// Above 0: no column is left. Those without a pivot take what they have, in magnitude at least this.
    double least_pivot = 0;
    const FrontLoops* loops = nullptr;
    const Context* host = nullptr; ///< asked now and then whether to stop; null: nobody

    bool stop() const noexcept { return host != nullptr && mf_stop(*host); }
};

/// A symmetric front: n_rows variables, of which the first n_columns are fully summed and may be eliminated.
/// Entries above the diagonal are of no account. Borrows everything.
struct Front {
    std::int32_t n_rows = 0;
    std::int32_t n_columns = 0;
    double* l = nullptr;      ///< n_rows x n_columns, leading dimension n_rows: fully summed part, then L
    double* update = nullptr; ///< the square of the other rows, leading dimension n_update(): in and out
    std::int32_t* columns = nullptr; ///< n_columns variables, interchanged along with the columns
    double* diagonal = nullptr;      ///< by variable, out: of D
    double* beside = nullptr;        ///< by variable, out: couples it with the next one in a 2 x 2 pivot; 0

    std::int32_t n_update() const noexcept { return n_rows - n_columns; }
    double* at(std::int32_t row, std::int32_t column) const noexcept {
        return l + row + static_cast<std::int64_t>(column) * n_rows;
    }
};

/// Scratch of mf_eliminate_front.
struct FrontWork {
    double* w = nullptr;           ///< n_rows x min(n_columns, BLOCK_PIVOTS + 1): L D of a block
    double* row = nullptr;         ///< n_columns
    std::int32_t* order = nullptr; ///< n_columns
    std::int32_t n_perturbed = 0;  ///< out: pivots that were replaced
};

/// Eliminates as many of the fully summed columns as have a pivot: A = L D L^T in the order of `columns`. L
/// has a unit diagonal that is not stored, D 1 x 1 and 2 x 2 blocks. What is left of the other columns and of
/// `update` is their Schur complement.
///
/// shared   idle threads of the team may help
///
/// Returns the number of pivots; columns without one come last. With no rows beyond the fully summed ones
/// only columns that are zero by the rules are left. When the host asks to stop, the front is of no use.
/// Allocates nothing.
std::int32_t mf_eliminate_front(const PivotRules& rules, const Front& front, FrontWork& work,
                                bool shared) noexcept;

/// A part of the fully summed columns, up to date with all earlier pivots.
struct PivotPanel {
    const PivotRules& rules;
    const Front& front;
    FrontWork& work;
    std::int32_t first_w; ///< pivot whose L D is column 0 of work.w
};

/// Eliminates at most `most` of the columns [begin, end), which stay up to date among themselves. The pivots
/// take the places from `begin` on. Returns their number.
std::int32_t mf_eliminate_panel(const PivotPanel& panel, std::int32_t begin, std::int32_t end,
                                std::int32_t most) noexcept;

} // namespace vyr
