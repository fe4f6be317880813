// The verbs of the engine: analyse, factorise, solve. Each takes a context and reads nothing global.
//
// An analysis may serve several factors and threads at a time, a factor several solves. A host keeps the
// accounting, the analysis and the factor alive in this order.
#pragma once

#include "core/context.h"
#include "core/factor.h"

#include <cstdint>

namespace vyr {

/// Orders and analyses a pattern, and reserves the storage of a factor.
///
/// pattern    lower triangle by columns, 0-based; other forms are folded to it
/// analysis   out: fresh and empty on entry
/// factor     out: made for `analysis`
///
/// Returns OK, NULL_MATRIX, EMPTY_MATRIX, STRUCTURE, MEMORY when not even the first arrays can be had, or
/// FACTOR_STORAGE; then `analysis` and `factor` are of no use. Never reads values. Runs on the calling
/// thread.
Status mf_symbol(Context& context, const Pattern& pattern, Analysis& analysis, Factor& factor) noexcept;

/// Reserves the storage of one more factor of an analysis, as mf_symbol does for its own. Returns OK or
/// FACTOR_STORAGE.
Status mf_reserve(Context& context, Factor& factor) noexcept;

/// Factorises by the type in force; see numeric/phases.h. Explains a failure in the context.
///
/// values   n_input doubles in the order of the analysed pattern
Status mf_factorise(Context& context, const double* values, Factor& factor) noexcept;

/// Solves in place; see solve.h. Checks the matrix when refinement needs it.
///
/// matrix   read only when the refinement limit is above 1
/// b        n x nrhs doubles, leading dimension n
///
/// Returns OK, MEMORY, HANDLE when n is not the factor's, NULL_MATRIX or STRUCTURE with b unchanged;
/// FACTOR_FILE when a factor file could not be read, and then b is of no use.
Status mf_solve_system(Context& context, const Factor& factor, const Matrix& matrix, double* b,
                       std::int32_t nrhs, bool block) noexcept;

} // namespace vyr
