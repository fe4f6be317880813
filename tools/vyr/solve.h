// The work of `vyr solve`: one matrix through the exported functions of the library, timed and judged.
#pragma once

#include "tools/vyr/out_of_core.h"
#include "tools/vyr/sparse_matrix.h"

#include <cstdint>

namespace vyr::tool {

/// What was measured. Times are seconds, medians over the repetitions.
struct SolveResult {
    int status = 0; ///< of the library
    std::int32_t n = 0;
    std::int32_t nnz = 0;        ///< stored entries, lower triangle
    std::int64_t nnz_factor = 0; ///< entries of L, the diagonal included
    double flops = 0;            ///< of one factorization
    double seconds_analyse = 0;  ///< ordering included
    double seconds_factorise = 0;
    double seconds_solve = 0;     ///< all right-hand sides
    std::uint64_t peak_bytes = 0; ///< largest resident size of the process
    int threads = 0;
    std::int32_t n_rhs = 0;
    int refinements = 0;       ///< steps that improved the solutions
    double backward_error = 0; ///< not a number until solved

    std::int32_t failed_equation = 0;  ///< 1-based; 0: the library named none
    std::int32_t failed_equations = 0; ///< how many it named
    double failed_pivot = 0;
    double bytes_needed = 0; ///< the request that was refused; 0: none was

    FileUse files;
};

/// Analyses, then factorises and solves `repeat` times, with as many threads as OpenMP reports.
///
/// x       out: n x b.n_cols solutions
/// live    true to show on standard output which phase is running
/// out_of_core   whether and how the factor goes to files
///
/// A failure of the library ends in `status`; no exception but std::bad_alloc leaves.
SolveResult solve(const SparseMatrix& a, const DenseMatrix& b, DenseMatrix& x, int repeat, bool live,
                  const OutOfCore& out_of_core = {});

/// As solve, by L D L^T: `a` may have eigenvalues of both signs and zeros on its diagonal. Equations with a
/// weak diagonal entry are tied to partners first (pivot_pairs.h), which counts as analysis, and inaccurate
/// solutions are refined (refinement.h), which counts as solving; the entries of L and the operations are
/// those of the tied matrix, everything else is about `a` itself. Throws std::length_error when the tied
/// matrix would outgrow 32-bit indices.
SolveResult solve_indefinite(const SparseMatrix& a, const DenseMatrix& b, DenseMatrix& x, int repeat,
                             bool live, const OutOfCore& out_of_core = {});

} // namespace vyr::tool
