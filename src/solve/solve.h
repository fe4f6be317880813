// Solving with a factor: scaling, substitution, iterative refinement.
#pragma once

#include "core/analysis.h"
#include "core/context.h"
#include "core/factor.h"

#include <cstdint>

namespace vyr {

/// Solves A x = b in place by the type, core mode, scaling and refinement limit in force.
///
/// matrix   read for residuals alone, when the refinement limit is above 1: values present and structure
///          checked by the caller. The stored triangle for types 11 to 13, all entries otherwise. Its order
///          is always read
/// b        n x nrhs doubles, leading dimension n; everything but the in-core Cholesky block substitution
///          works on the first column alone, and so does refinement
/// block    true for a call that may have several right-hand sides
///
/// Sets statistics.t_solve and, with refinement, statistics.condition; leaves statistics.status alone.
///
/// Returns 0; HANDLE when the order is not the factor's, or MEMORY, b as it was but perhaps scaled;
/// FACTOR_FILE when a factor file could not be read: its nodes were passed over, and b is wrong.
///
/// Threads: several may solve with one factor at a time, each with a context of its own.
[[nodiscard]] Status mf_solve(Context& context, const Factor& factor, const Matrix& matrix, double* b,
                              std::int32_t nrhs, bool block) noexcept;

/// Parts of a solve with P A P^T = L L^T or L D L^T. P takes a vector from the analysed numbering into pivot
/// order, PT takes it back. The interchanges inside the nodes belong to L, undone by LT: between the two a
/// vector is in the order of elimination.
enum class SolvePart { P, L, D, LT, PT, PL, LTPT };

/// Applies one part to n x nrhs columns in place: P x, L^-1 x, D^-1 x (L L^T: x), L^-T x, P^T x, and P then
/// L, LT then PT. PL, D and LTPT in turn solve A x = b, without scaling or refinement.
///
/// factor   complete, of settings.type, in core or out of core
/// x, ldx   leading dimension ldx, at least n
///
/// Returns 0; MEMORY for n doubles, and out of core for the lists and a read buffer as large as the largest
/// file; FACTOR_FILE when a factor file could not be read. After a failure x is of no use. Reads each factor
/// file at most once. Threads: as mf_solve.
[[nodiscard]] Status mf_solve_part(Context& context, const Factor& factor, SolvePart part, double* x,
                                   std::int32_t nrhs, std::int64_t ldx) noexcept;

} // namespace vyr
