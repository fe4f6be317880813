// One symmetric system, definite or not, with all that surrounds its factorization: partners for weak
// diagonals, refinement, a limit on the memory of the process.
#pragma once

#include "core/context.h"
#include "core/factor.h"
#include "engine/pairing.h"

#include <cstdint>

namespace vyr {

/// The analysis of a matrix and its factor. The accounting must outlive it.
struct System {
    explicit System(Accounting& memory) noexcept : factor(memory, analysis) {}

    Analysis analysis;
    Factor factor;
    Pairing pairing;                ///< L D L^T only
    Buffer<double> paired_values;   ///< when pairing.ties
    int type = TYPE_SPD;            ///< TYPE_SPD or TYPE_LDLT
    std::int32_t n_threads = 0;     ///< of the factorization
    double process_limit_bytes = 0; ///< 0: none
    double bytes_beside_blocks = 0; ///< under a limit: what the process needs beside the factor blocks
    double reserve_bytes = 0;       ///< the analysis's estimate of work space
};

/// Analyses by settings.type (TYPE_SPD or TYPE_LDLT), core mode, threads and directory.
///
/// a                     lower triangle, rows strictly ascending within a column; values are read for
///                       TYPE_LDLT alone, to find the weak diagonals
/// process_limit_bytes   most that the process may take out of core; 0: no limit. Under one, whole subtrees
///                       at a time would hold all the blocks above them at once: a tree is then walked as one
///                       task, and only its large fronts use several threads; several large trees are walked
///                       one after the other by one thread.
/// system                out: fresh
///
/// Returns what mf_symbol and mf_pair_weak_diagonals return.
Status mf_analyse_system(Context& context, const Matrix& a, double process_limit_bytes,
                         System& system) noexcept;

/// Factorises; may be repeated with other values of the same pattern. Returns what mf_factorise returns, or
/// NAN_VALUE when a value is not finite.
Status mf_factorise_system(Context& context, const Matrix& a, System& system) noexcept;

/// Solves A X = B for n x nrhs blocks, leading dimension n. Solutions by L D L^T are refined.
///
/// a             the factorised matrix
/// b, x          right-hand sides, out: solutions; apart from each other
/// refinements   out: steps that improved the solutions
///
/// Returns what mf_solve_system returns; x is then of no use.
Status mf_solve_system(Context& context, const System& system, const Matrix& a, const double* b, double* x,
                       std::int32_t nrhs, int& refinements) noexcept;

/// The least limit for the process that should do, after one was too small.
Status mf_least_limit(Context& context, const System& system, double& bytes) noexcept;

} // namespace vyr
