#include "solve/solve_llt.h"

#include "memory/buffer.h"
#include "platform/blas.h"
#include "solve/small_node_solve.h"

namespace vyr {

namespace {

/// w := U^-T w on the node's pivots, and its effect on the update rows. `update` is scratch of nupd doubles.
void forward_node(const mf_snode& node, double* w, double* update) noexcept {
    double* pivots = w + node.first();
    if (node.npiv <= SMALL_NODE_PIVOTS) {
        mf_small_forward(node, w);
        return;
    }
    blas::trsv('U', 'T', 'N', node.npiv, node.factor_block, node.npiv, pivots, 1);
    if (node.nupd == 0) return;
    blas::gemv('T', node.npiv, node.nupd, 1.0, node.coupling(), node.npiv, pivots, 1, 0.0, update, 1);
    const std::int32_t* rows = node.update_rows();
    for (std::int32_t j = 0; j < node.nupd; ++j) w[rows[j]] -= update[j];
}

/// w := U^-1 w on the node's pivots, with the update rows already solved.
void backward_node(const mf_snode& node, double* w, double* update) noexcept {
    double* pivots = w + node.first();
    if (node.npiv <= SMALL_NODE_PIVOTS) {
        mf_small_backward(node, w);
        return;
    }
    if (node.nupd > 0) {
        const std::int32_t* rows = node.update_rows();
        for (std::int32_t j = 0; j < node.nupd; ++j) update[j] = w[rows[j]];
        blas::gemv('N', node.npiv, node.nupd, -1.0, node.coupling(), node.npiv, update, 1, 1.0, pivots, 1);
    }
    blas::trsv('U', 'N', 'N', node.npiv, node.factor_block, node.npiv, pivots, 1);
}

} // namespace

// The caller's vector is free once it is gathered: it serves as the update scratch of the sweeps.
Status mf_solve_llt(const mf_solver& solver, double* x) noexcept {
    Buffer<double> w(solver.n);
    if (!w) return VYR_ERR_MEMORY;
    for (std::int32_t k = 0; k < solver.n; ++k) w[k] = x[solver.perm[k]];
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) forward_node(solver.snodes[s], w.get(), x);
    for (std::int32_t s = solver.n_snodes - 1; s >= 0; --s) backward_node(solver.snodes[s], w.get(), x);
    for (std::int32_t k = 0; k < solver.n; ++k) x[solver.perm[k]] = w[k];
    return VYR_OK;
}

} // namespace vyr
