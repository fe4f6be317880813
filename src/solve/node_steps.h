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
#include "platform/instruction_set.h"

#include <cstdint>

namespace vyr {

/// Pivots up to which an L L^T node in core is done by the two loops below: BLAS calls would cost more than
/// its arithmetic.
inline constexpr std::int32_t SMALL_NODE_PIVOTS = 16;

/// L L^T by plain loops that stream once through the block.
void mf_small_forward(const mf_snode& node, const double* block, double* w) noexcept;
void mf_small_backward(const mf_snode& node, const double* block, double* w) noexcept;

/// L L^T by these loops or, for wider nodes, by BLAS. update: nupd doubles of scratch.
void mf_llt_forward_node(const mf_snode& node, const double* block, double* w, double* update) noexcept;
void mf_llt_backward_node(const mf_snode& node, const double* block, double* w, double* update) noexcept;

/// Right-hand sides are padded to a multiple of this in a panel.
inline constexpr std::int32_t PANEL_LANES = 8;

/// L L^T for a few right-hand sides at once, by loops of one instruction set. `w` holds `stride` doubles a
/// variable, `stride` a multiple of PANEL_LANES; padding lanes may hold anything finite.
struct PanelLoops {
    void (*forward)(const mf_snode& node, const double* block, double* w, std::int64_t stride) noexcept;
    void (*backward)(const mf_snode& node, const double* block, double* w, std::int64_t stride) noexcept;
};

/// The loops of an instruction set, which the processor must have.
[[nodiscard]] const PanelLoops& mf_panel_loops(InstructionSet instructions) noexcept;

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

/// Runs body(s) for the nodes 0 .. n_snodes - 1, descendants first (`ascending`) or ancestors first. Returns
/// OK, or CANCELLED when the call is to end, which is asked every 32 nodes.
template <typename Body>
Status mf_for_nodes(const Context& context, std::int32_t n_snodes, bool ascending,
                    const Body& body) noexcept {
    for (std::int32_t k = 0; k < n_snodes; ++k) {
        if (k % 32 == 0 && mf_stop(context)) return Status::CANCELLED;
        body(ascending ? k : n_snodes - 1 - k);
    }
    return Status::OK;
}

/// forward(s) for all nodes, descendants first, then backward(s), ancestors first. Returns OK or CANCELLED.
template <typename Forward, typename Backward>
Status mf_sweeps(const Context& context, std::int32_t n_snodes, const Forward& forward,
                 const Backward& backward) noexcept {
    const Status status = mf_for_nodes(context, n_snodes, true, forward);
    return status == Status::OK ? mf_for_nodes(context, n_snodes, false, backward) : status;
}

} // namespace vyr
