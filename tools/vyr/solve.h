// The work of `vyr solve`: one matrix through the library, timed and judged.
#pragma once

#include "tools/vyr/sparse_matrix.h"
#include "vyr/solver.h"

#include <cstdint>
#include <string>

namespace vyr::tool {

/// A solution with a larger backward error than this one is not accepted.
inline constexpr double LARGEST_BACKWARD_ERROR = 1e-8;

/// Where the magnitudes of the pivots of L D L^T differ by more than this factor, the condition is looked at
/// unasked: a singular system may have a small backward error.
inline constexpr double DOUBTFUL_PIVOT_RATIO = 1e8;

/// What the user asked for.
struct SolveOptions {
    std::int32_t kind = VYR_KIND_POSITIVE;
    std::int32_t ordering = VYR_ORDERING_AUTOMATIC;
    std::int32_t threads = 0; ///< 0: as many as OpenMP reports
    int repeat = 1;           ///< factorise and solve so often
    bool live = false;        ///< show on standard output which phase is running
    std::string directory;    ///< for the factor files; empty: the factor stays in memory
    double memory_limit = 0;  ///< bytes of the whole process, out of core; 0: what the machine has
    double pivot_min = 0;     ///< a pivot of L L^T that is not above this fails
    bool condition = false;   ///< estimate it, which takes a few solves, also without cause for doubt
    std::int32_t matching = VYR_MATCHING_AUTOMATIC; ///< this and the rest: of L D L^T
    std::int32_t scaling = VYR_SCALING_AUTOMATIC;
    std::int32_t pivoting = VYR_PIVOTING_DELAYED;
    double pivot_share = 0;   ///< least share of its column that a pivot has; 0: the library's
    bool zero_pivots = false; ///< the matrix may be singular; what counts is the backward error
};

/// What was measured. Times are seconds, medians over the repetitions.
struct SolveResult {
    vyr_status status = VYR_STATUS_OK;
    std::string message; ///< on what failed
    std::string line;    ///< the last one that the library told
    std::int32_t n = 0;
    std::int32_t nnz = 0; ///< stored entries, lower triangle
    std::int32_t n_rhs = 0;
    vyr_analysis_info analysis{};
    vyr_factor_info factor{};
    double seconds_factorise = 0;
    double seconds_solve = 0;     ///< all right-hand sides
    std::uint64_t peak_bytes = 0; ///< largest resident size of the process
    int refinements = 0;          ///< steps that improved the solutions
    double backward_error = 0;    ///< not a number until solved
    double condition = 0;         ///< of the equilibrated matrix, estimated; not a number when nobody asked
    bool out_of_core = false;
    double memory_limit = 0;
    double value_max = 0, value_min = 0; ///< magnitudes of the stored values that are not zero
};

/// Analyses, then factorises and solves.
///
/// x   out: n x b.n_cols solutions
///
/// A failure of the library ends in `status`; no exception but std::bad_alloc leaves.
SolveResult solve(const SparseMatrix& a, const DenseMatrix& b, DenseMatrix& x, const SolveOptions& options);

} // namespace vyr::tool
