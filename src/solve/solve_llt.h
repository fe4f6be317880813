// In-core substitution with the Cholesky factor.
#pragma once

#include "interface/status.h"
#include "symbolic/solver.h"

namespace vyr {

/// Solves A x = b with the factor in memory: x holds n doubles, right-hand side in, solution out, caller's
/// numbering. Returns 0, or -29 without memory for one work vector; x is then unchanged.
[[nodiscard]] Status mf_solve_llt(const mf_solver& solver, double* x) noexcept;

/// The same for nrhs right-hand sides: X is n x nrhs, leading dimension n. Returns 0, or -29 without memory
/// for a work block of n * nrhs doubles; X is then unchanged.
[[nodiscard]] Status mf_solve_llt_n(const mf_solver& solver, double* X, std::int32_t nrhs) noexcept;

} // namespace vyr
