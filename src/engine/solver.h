// One symmetric system from the form a program has it in to its solutions: what stands behind the library
// interface.
#pragma once

#include "core/context.h"
#include "core/factor.h"
#include "engine/input_matrix.h"

#include <atomic>
#include <cstdint>

namespace vyr {

enum class Kind : std::int32_t { POSITIVE = 0, INDEFINITE = 1, AUTOMATIC = 2 };

/// The analysis of a matrix: immutable once made, shared by any number of factors and threads.
struct SolverAnalysis {
    Accounting memory; ///< of everything below
    Kind kind = Kind::POSITIVE;
    int type = TYPE_SPD; ///< TYPE_SPD or TYPE_LDLT: what a factor would begin with
    Settings settings;   ///< ordering and threads in force
    CanonicalPattern canonical;
    Analysis analysis;
    Buffer<double> scale;              ///< n, by a matching of the values it was made with, if one was made
    std::int32_t structural_rank = -1; ///< of those values; -1: not known
    std::int32_t n_pairs = 0;          ///< ordered as one
    double seconds_order = 0, seconds_analyse = 0;
    double work_bytes = 0; ///< a factorization's work space beside the factor, as the analysis estimates it
};

/// Analyses by settings: ordering, threads, compression.
///
/// matrix   values are read for the kinds INDEFINITE and AUTOMATIC, where there are any
/// made     out: fresh; context.memory is its accounting
///
/// Returns OK or a status of mf_canonical_pattern, mf_canonical_values, mf_symmetric_matching, mf_analyse.
Status mf_solver_analyse(Context& context, const InputMatrix& matrix, Kind kind, bool refuse_duplicates,
                         SolverAnalysis& made) noexcept;

/// Threads for a host that names no number: as many as OpenMP offers, but one inside its own parallel region.
[[nodiscard]] std::int32_t mf_host_threads() noexcept;

/// Bytes a factorization takes: of the factor, at its peak in core, and at the least out of core.
struct MemoryNeed {
    double factor = 0, in_core = 0, least = 0;
};
Status mf_solver_memory(Context& context, const SolverAnalysis& analysis, MemoryNeed& need) noexcept;

/// The factor of a matrix: what vyr_factorise fills and solves read.
struct SolverFactor {
    explicit SolverFactor(const SolverAnalysis& made) noexcept
        : analysis(made), factor(memory, made.analysis) {}

    const SolverAnalysis& analysis;
    Accounting memory; ///< of everything below
    bool keep_matrix = true;
    double process_limit_bytes = 0; ///< out of core; 0: none
    Factor factor;
    int type = TYPE_SPD;               ///< of the factorization
    Buffer<double> values;             ///< of the canonical matrix; when it is kept
    Buffer<double> scaled_values;      ///< scratch of factorizations with a scaling
    std::int32_t structural_rank = -1; ///< of the last values; -1: not known
    std::int32_t rank = -1;            ///< by their pivots; -1: the last factorization was not completed
    double norm = 0;                   ///< infinity norm of the matrix, when it is kept
    std::int32_t n_threads = 1;        ///< of the last factorization
    double seconds = 0, seconds_files = 0, flops = 0;
    std::int32_t failed_equation = 0; ///< 1-based, caller's numbering; 0: none
    double failed_pivot = 0;

    /// The canonical matrix with its kept values.
    Matrix matrix() const noexcept {
        const CanonicalPattern& pattern = analysis.canonical;
        return {{pattern.n, pattern.col_ptr.get(), pattern.row_ind.get()}, values.get()};
    }
};

/// Factorises by settings: core mode, directory, threads, pivot_min. Positive definite matrices by L L^T, in
/// definite ones by L D L^T; of the kind AUTOMATIC by L D L^T when L L^T meets a pivot that fails.
///
/// context.memory is the factor's accounting. Returns OK or a status of mf_canonical_values, mf_factorise,
/// mf_choose_scaling; ILL_CONDITIONED at once for values that are singular by structure.
Status mf_solver_factorise(Context& context, const InputMatrix& matrix, SolverFactor& factor) noexcept;

/// What a solve is to do, and what it found.
struct SolveCall {
    int refinements = 0;        ///< in: most steps; out: most that improved one of the solutions
    bool wants_error = false;   ///< in: compute the backward error
    double error_limit = 0;     ///< in: INACCURATE when the error stays above it; 0: no limit
    double backward_error = -1; ///< out; -1: not computed
};

/// Solves A X = B in the caller's numbering. b and x: n x nrhs with leading dimensions ldb and ldx, the same
/// array or apart. context.memory is the call's own. Returns OK, MEMORY, FACTOR_FILE, CANCELLED, NAN_VALUE
/// when b is not finite, or INACCURATE.
Status mf_solver_solve(Context& context, const SolverFactor& factor, std::int32_t nrhs, const double* b,
                       std::int64_t ldb, double* x, std::int64_t ldx, SolveCall& call) noexcept;

/// Plain solves in the caller's numbering, in place: columns of n doubles one behind the other.
Status mf_solver_apply(Context& context, const SolverFactor& factor, std::int32_t nrhs, double* x) noexcept;

/// Judges solutions of A X = B and improves those that are not good, all together, each for as long as a step
/// at least halves its error.
///
/// factor   keeps its matrix
/// b, x     n x nrhs with leading dimensions ldb and ldx, apart from each other; x in and out
/// call     in: refinements, the most steps; out: the most that one solution took, and the largest error left
///
/// Returns OK, MEMORY, FACTOR_FILE or CANCELLED; x holds the solutions as they came or better ones. Takes
/// memory for 2 n doubles for each of up to 32 columns, n where no step is to be made.
Status mf_refine(Context& context, const SolverFactor& factor, std::int32_t nrhs, const double* b,
                 std::int64_t ldb, double* x, std::int64_t ldx, SolveCall& call) noexcept;

} // namespace vyr
