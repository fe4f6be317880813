// The substitution steps of one node.
//
// node    its block holds npiv x (npiv + nupd) doubles, leading dimension npiv, wherever it lies
// block   the node's factor block
// w       n doubles in pivot order, in and out. The forward step solves the node's pivots and reduces its
//         update rows; the backward step solves its pivots, the update rows being solved
//
// All allocate nothing and may run for several vectors at a time.
#pragma once

#include "core/analysis.h"
#include "core/context.h"
#include "solve/crew.h"
#include "solve/sweep_loops.h"

#include <cstdint>

namespace vyr {

/// L L^T. Nodes that are worth it are cut into panels of pivots, and what each does to the rest into strips
/// that idle threads of the team may take; the cut depends on the node and the stride alone.
///
/// w      rows of `stride` doubles, as the loops want them
/// crew   who takes the strips; null: the calling thread
void mf_llt_forward_node(const SweepLoops& loops, const mf_snode& node, const double* block, double* w,
                         std::int64_t stride, Crew* crew = nullptr) noexcept;
void mf_llt_backward_node(const SweepLoops& loops, const mf_snode& node, const double* block, double* w,
                          std::int64_t stride, Crew* crew = nullptr) noexcept;

/// L D L^T: exchanges, unit lower solve, division by D.
///
/// two_by_two   the node holds a 2 x 2 pivot
/// record       the node's npiv entries of the pivot record
/// scratch      npiv + nupd doubles; the first npiv are the pivots' values before the division, out
void mf_ldlt_forward_node(const mf_snode& node, const double* block, bool two_by_two,
                          const std::int32_t* record, double* w, double* scratch) noexcept;

/// L D L^T: the division by D alone; scratch: npiv doubles.
void mf_ldlt_divide_node(const mf_snode& node, const double* block, bool two_by_two, double* w,
                         double* scratch) noexcept;

/// L D L^T: unit upper solve, exchanges undone; scratch: nupd doubles. `by_blas` chooses between the two
/// forms, one on BLAS, one with loops of its own; only the former passes over negative entries of the record.
void mf_ldlt_backward_node(const mf_snode& node, const double* block, const std::int32_t* record, double* w,
                           double* scratch, bool by_blas) noexcept;

/// Solves with one pivot block of L D L^T.
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
