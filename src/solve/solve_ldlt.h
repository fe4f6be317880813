// Substitution with the factor L D L^T, one right-hand side.
//
// A node's part of it works on w, the vector in pivot order. The forward step exchanges, eliminates with the
// unit lower factor and divides by D; the backward step runs the transposed factor and undoes the exchanges.
// Both are functions of one node, whatever brings its block into memory.
#pragma once

#include "symbolic/solver.h"

namespace vyr {

/// Solves A x = b with the factor in memory: x holds n doubles, b on entry, the solution on return. Nodes
/// without a block are skipped; without a pivot record x stays as it is.
///
/// Returns the result of the last mf_ldlt_block_solve; or, when there is no memory for the work vector,
/// VYR_ERR_MEMORY, which is left in INFO_STATUS too, with x unchanged.
int mf_solve_ldlt(mf_solver& solver, double* x) noexcept;

/// Forward step of one node.
///
/// record    the node's slice of the pivot record
/// w         n doubles in pivot order, in and out
/// scratch   npiv + nupd doubles
///
/// Returns 0, or -1 for a node without pivots.
int mf_ldlt_forward_node(const mf_snode& node, const std::int32_t* record, double* w,
                         double* scratch) noexcept;

/// Backward step of one node; scratch: nupd doubles. `by_blas` chooses between the two forms, one on BLAS,
/// one with loops of its own; only the former passes over negative entries of the record.
int mf_ldlt_backward_node(const mf_snode& node, const std::int32_t* record, double* w, double* scratch,
                          bool by_blas) noexcept;

/// Solves with one pivot block.
///
/// uplo   'L': exchanges, unit lower solve, division by D; 'U': unit upper solve, exchanges undone
/// a      m x m, leading dimension lda; D on the diagonal, L^T above it
/// ipiv   m: position exchanged with each k; a negative entry passes over its column entirely
/// v      m doubles, in and out
/// z      m doubles, out, 'L' only: the values before division
///
/// 2 x 2 pivots are not looked at: their diagonal entries are used as if they stood alone. Returns -1 when m
/// < 1, else 0.
int mf_ldlt_block_solve(char uplo, std::int32_t m, const double* a, std::int32_t lda,
                        const std::int32_t* ipiv, double* v, double* z) noexcept;

/// Dot product of n elements with the strides incx and incy, written to *result. flag: 0.
void mf_dot(std::int32_t n, const double* x, std::int32_t incx, const double* y, std::int32_t incy,
            double* result, int flag) noexcept;

} // namespace vyr
