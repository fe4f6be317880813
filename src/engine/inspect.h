// Looks at a factor: its columns, its pivots, and what they tell of the matrix.
//
// Common to all: the factor is complete, in core or out of core, and of settings.type. Nothing in it changes.
// The order of elimination is that of the pivots with the interchanges inside the nodes. Returned are OK;
// MEMORY; FACTOR_FILE when a factor file could not be read, and what is out is of no use then. Threads:
// several may look at one factor at a time, each with a context of its own.
#pragma once

#include "core/context.h"
#include "core/factor.h"

#include <cstdint>

namespace vyr {

/// L by columns in the order of elimination, rows ascending, unit diagonals stored, and the zeros that its
/// supernodes keep: A[order, order] = L L^T or L D L^T, D of mf_factor_diagonal.
///
/// ptr           n + 1, out: positions in ind and values
/// ind, values   ptr[n] each (mf_factor_nnz), out; null, both: not wanted
/// order         n, out: order[k] is the equation eliminated k-th, in the analysed numbering; null: not
/// wanted
///
/// Takes 2 n integers beside. Cost: one look at every entry of L.
Status mf_factor_columns(Context& context, const Factor& factor, std::int64_t* ptr, std::int32_t* ind,
                         double* values, std::int32_t* order) noexcept;

/// The diagonal of L, or the block diagonal D, in the order of elimination.
///
/// diagonal   n, out
/// beside     n, out: entry k couples k and k + 1 in a 2 x 2 pivot, 0 elsewhere; null: not wanted
Status mf_factor_diagonal(Context& context, const Factor& factor, double* diagonal, double* beside) noexcept;

/// What the pivots tell.
struct PivotSummary {
    double smallest = 0, largest = 0; ///< magnitudes: of the diagonal of L, or of the eigenvalues of D
    std::int64_t two_by_two = 0;      ///< 2 x 2 pivots
    std::int64_t positive = 0, negative = 0, zero = 0; ///< inertia of the matrix
    double log_abs_det = 0;                            ///< log |det A|; -infinity for a singular one
    int sign = 1;                                      ///< of det A: -1, 0, 1
};

/// summary: out. Takes 2 n doubles.
Status mf_pivot_summary(Context& context, const Factor& factor, PivotSummary& summary) noexcept;

// The first two for a factor with delayed pivots; they ask for these themselves.
Status mf_delayed_columns(Context& context, const Factor& factor, std::int64_t* ptr, std::int32_t* ind,
                          double* values, std::int32_t* order) noexcept;
Status mf_delayed_diagonal(Context& context, const Factor& factor, double* diagonal, double* beside) noexcept;

} // namespace vyr
