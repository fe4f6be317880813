// The driver behind both solve exports: scaling, substitution, iterative refinement.
#pragma once

#include "symbolic/solver.h"

#include <cstdint>

namespace vyr {

/// The caller's matrix; read only to form residuals.
struct CallerMatrix {
    std::int32_t n;
    const std::int32_t* col_ptr;
    const std::int32_t* row_ind;
    const double* values;
};

/// Solves in place by the type, core mode, scaling and refinement limit in force.
///
/// b      n x nrhs doubles, leading dimension n; everything but the in-core Cholesky block substitution
///        works on the first column alone
/// block  true for a call that may have several right-hand sides
///
/// Without memory, or when refinement is asked for and the matrix is malformed, b stays unchanged and
/// INFO_STATUS is -29 or -6 (-9 when n is not the factor's). Sets INFO_T_SOLVE and, with refinement,
/// INFO_CONDITION.
void mf_solve_driver(mf_solver& solver, const CallerMatrix& matrix, double* b, std::int32_t nrhs,
                     bool block) noexcept;

} // namespace vyr
