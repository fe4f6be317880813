// The work of `vyr solve`: one matrix through the engine, timed and judged.
#pragma once

#include "core/settings.h"
#include "core/statistics.h"
#include "core/status.h"
#include "tools/vyr/sparse_matrix.h"

#include <cstdint>
#include <string>

namespace vyr::tool {

/// What the user asked for.
struct SolveOptions {
    bool indefinite = false;       ///< by L D L^T, with partners for weak diagonals and refinement
    int repeat = 1;                ///< factorise and solve so often
    bool live = false;             ///< show on standard output which phase is running
    std::string directory;         ///< for the factor files; empty: the factor stays in memory
    double memory_limit_bytes = 0; ///< of the whole process, out of core; 0: what the machine has
};

/// What was measured. Times are seconds, medians over the repetitions.
struct SolveResult {
    Status status = Status::OK;
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

    std::int32_t failed_equation = 0;  ///< 1-based; 0: none is known
    std::int32_t failed_equations = 0; ///< how many pivots were too small
    double failed_pivot = 0;
    double bytes_needed = 0; ///< the request that was refused; 0: none was

    // Out of core.
    bool out_of_core = false;
    std::int32_t n_files = 0;
    double file_bytes = 0;         ///< in all files
    double seconds_written = 0;    ///< spent writing them, last factorization
    double least_limit_bytes = 0;  ///< when the limit was too small: one that should do
    bool files_unwritable = false; ///< a file could not be written

    // For the statistics report.
    Settings settings;
    Statistics statistics;
};

/// Analyses, then factorises and solves, with as many threads as OpenMP reports.
///
/// x   out: n x b.n_cols solutions
///
/// A failure of the library ends in `status`; no exception but std::bad_alloc leaves. By L D L^T the entries
/// of L and the operations are those of the matrix with partners tied; everything else is about `a` itself.
SolveResult solve(const SparseMatrix& a, const DenseMatrix& b, DenseMatrix& x, const SolveOptions& options);

} // namespace vyr::tool
