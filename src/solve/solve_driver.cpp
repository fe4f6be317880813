#include "solve/solve_driver.h"

#include "interface/process_state.h"
#include "interface/status.h"
#include "platform/blas_threads.h"
#include "solve/refinement.h"
#include "solve/substitution.h"
#include "symbolic/input_pattern.h"

#include <algorithm>

namespace vyr {

namespace {

Status solve(mf_solver& solver, const CallerMatrix& matrix, double* b, std::int32_t nrhs,
             bool block) noexcept {
    if (matrix.n != solver.n) return VYR_ERR_HANDLE;
    const Substitution substitution(solver, block);
    const int limit = std::max(1, ctrl_int(CTRL_REFINEMENT_LIMIT));
    if (limit == 1) return substitution.apply(b, nrhs);
    if (matrix.values == nullptr) return VYR_ERR_NULL_MATRIX;
    const Status status = mf_check_structure(matrix.n, matrix.col_ptr, matrix.row_ind);
    return status != VYR_OK ? status : mf_refine(substitution, matrix, limit, b);
}

} // namespace

void mf_solve_driver(mf_solver& solver, const CallerMatrix& matrix, double* b, std::int32_t nrhs,
                     bool block) noexcept {
    const double start_ms = platform::clock_ms();
    // A substitution is a long chain of short calls. With a team for the large products it is a quarter
    // faster on an idle machine, and four times slower as soon as another process takes one of the cores.
    const blas::ThreadLimit one_thread(1);
    if (const Status status = solve(solver, matrix, b, nrhs, block); status != VYR_OK)
        set_info_status(status);
    mf_info[INFO_T_SOLVE] = (platform::clock_ms() - start_ms) / 1000;
}

} // namespace vyr
