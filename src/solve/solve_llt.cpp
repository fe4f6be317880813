#include "platform/blas.h"
#include "solve/node_steps.h"
#include "solve/substitution.h"

namespace vyr {

void mf_llt_forward_node(const mf_snode& node, const double* block, double* w, double* update) noexcept {
    double* pivots = w + node.first();
    if (node.npiv <= SMALL_NODE_PIVOTS) {
        mf_small_forward(node, block, w);
        return;
    }
    blas::trsv('U', 'T', 'N', node.npiv, block, node.npiv, pivots, 1);
    if (node.nupd == 0) return;
    blas::gemv('T', node.npiv, node.nupd, 1.0, node.coupling(block), node.npiv, pivots, 1, 0.0, update, 1);
    const std::int32_t* rows = node.update_rows();
    for (std::int32_t j = 0; j < node.nupd; ++j) w[rows[j]] -= update[j];
}

void mf_llt_backward_node(const mf_snode& node, const double* block, double* w, double* update) noexcept {
    double* pivots = w + node.first();
    if (node.npiv <= SMALL_NODE_PIVOTS) {
        mf_small_backward(node, block, w);
        return;
    }
    if (node.nupd > 0) {
        const std::int32_t* rows = node.update_rows();
        for (std::int32_t j = 0; j < node.nupd; ++j) update[j] = w[rows[j]];
        blas::gemv('N', node.npiv, node.nupd, -1.0, node.coupling(block), node.npiv, update, 1, 1.0, pivots,
                   1);
    }
    blas::trsv('U', 'N', 'N', node.npiv, block, node.npiv, pivots, 1);
}

// The caller's vector is free once it is gathered: it serves as the update scratch of the sweeps.
Status mf_solve_llt(Context& context, const Factor& factor, double* x) noexcept {
    const Analysis& analysis = *factor.analysis;
    Buffer<double> w(context.memory, analysis.n);
    if (!w) return out_of_memory(context);
    for (std::int32_t k = 0; k < analysis.n; ++k) w[k] = x[analysis.perm[k]];
    const auto forward = [&](std::int32_t s) noexcept {
        mf_llt_forward_node(analysis.snodes[s], factor.block(s), w.get(), x);
    };
    const auto backward = [&](std::int32_t s) noexcept {
        mf_llt_backward_node(analysis.snodes[s], factor.block(s), w.get(), x);
    };
    if (const Status status = mf_sweeps(context, analysis.n_snodes, forward, backward); status != Status::OK)
        return status;
    for (std::int32_t k = 0; k < analysis.n; ++k) x[analysis.perm[k]] = w[k];
    return Status::OK;
}

} // namespace vyr
