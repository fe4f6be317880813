// One substitution with a factor, and the refinement that repeats it.
//
// Common to all: vectors are in the caller's numbering and solved in place. Nothing in the factor changes.
// MEMORY leaves the vector as it was.
#pragma once

#include "core/analysis.h"
#include "core/context.h"
#include "core/factor.h"

#include <cstdint>

namespace vyr {

/// Solves by the kernel that serves matrix type and core mode, between the two scalings in force.
///
/// x       n x nrhs doubles, leading dimension n. Only the in-core Cholesky kernel of a block call looks
///         beyond the first column; scaling never does
/// block   the call may have several right-hand sides
///
/// A type that no kernel serves leaves the vector to the scalings. Returns 0; MEMORY, x no more than scaled;
/// FACTOR_FILE, x wrong.
[[nodiscard]] Status mf_substitute(Context& context, const Factor& factor, double* x, std::int32_t nrhs,
                                   bool block) noexcept;

/// Solves for the first column of b with at most settings.refinement_limit (2 or more) accepted solutions and
/// writes the last accepted one back. Records the condition figure and shows the summary line when messages
/// are on.
///
/// matrix   checked, order n; the stored triangle for types 11 to 13, all entries otherwise
///
/// Returns 0; MEMORY with b unchanged: 3 n doubles, and what a substitution needs; FACTOR_FILE when a
/// substitution returned it, the refinement having gone on with what it gave.
[[nodiscard]] Status mf_refine(Context& context, const Factor& factor, const Matrix& matrix, double* b,
                               bool block) noexcept;

/// L L^T in core, on settings.n_threads threads: X is n x nrhs, leading dimension n. Returns 0; MEMORY for a
/// work block of n rows as wide as a pass through the factor, and a little more; CANCELLED, X being of no
/// use.
[[nodiscard]] Status mf_solve_llt(Context& context, const Factor& factor, double* X,
                                  std::int32_t nrhs) noexcept;

/// L D L^T in core, x of n doubles. Nodes without a block are passed over; without a pivot record x stays as
/// it is. Returns 0, or MEMORY for a work vector of n doubles.
[[nodiscard]] Status mf_solve_ldlt(Context& context, const Factor& factor, double* x) noexcept;

/// L L^T with a factor that is not, or not all, in memory, x of n doubles; reads each factor file twice.
/// Nodes without a block, and those of files that cannot be read, are passed over.
///
/// Returns 0; MEMORY for a work vector of n doubles, the lists and a read buffer as large as the largest
/// file; FACTOR_FILE when a file could not be read: x is wrong then.
[[nodiscard]] Status mf_solve_llt_ooc(Context& context, const Factor& factor, double* x) noexcept;

/// The same for L D L^T; without a pivot record x stays as it is.
[[nodiscard]] Status mf_solve_ldlt_ooc(Context& context, const Factor& factor, double* x) noexcept;

} // namespace vyr
