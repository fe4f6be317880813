#include "core/tuning.h"
#include "platform/blas.h"
#include "solve/node_steps.h"
#include "solve/substitution.h"

namespace vyr {

namespace {

/// The nrhs values of each permuted variable are adjacent: a node's pivots form an nrhs x npiv panel of W.
struct Panel {
    double* w;
    double* scratch; ///< nrhs * nupd doubles
    std::int32_t nrhs;
    std::int32_t stride; ///< doubles a variable: nrhs, padded for the panel loops

    double* of(std::int32_t variable) const noexcept {
        return w + static_cast<std::int64_t>(variable) * stride;
    }
    double* update(std::int32_t j) const noexcept { return scratch + static_cast<std::int64_t>(j) * nrhs; }
};

void forward_node(const mf_snode& node, const double* block, const Panel& panel) noexcept {
    const std::int32_t nrhs = panel.nrhs;
    const std::int32_t ld = panel.stride;
    double* pivots = panel.of(node.first());
    blas::trsm('R', 'U', 'N', 'N', nrhs, node.npiv, 1.0, block, node.npiv, pivots, ld);
    if (node.nupd == 0) return;
    blas::gemm('N', 'N', nrhs, node.nupd, node.npiv, 1.0, pivots, ld, node.coupling(block), node.npiv, 0.0,
               panel.scratch, nrhs);
    const std::int32_t* rows = node.update_rows();
    for (std::int32_t j = 0; j < node.nupd; ++j) {
        double* target = panel.of(rows[j]);
        const double* source = panel.update(j);
        for (std::int32_t r = 0; r < nrhs; ++r) target[r] -= source[r];
    }
}

void backward_node(const mf_snode& node, const double* block, const Panel& panel) noexcept {
    const std::int32_t nrhs = panel.nrhs;
    const std::int32_t ld = panel.stride;
    double* pivots = panel.of(node.first());
    if (node.nupd > 0) {
        const std::int32_t* rows = node.update_rows();
        for (std::int32_t j = 0; j < node.nupd; ++j) {
            const double* source = panel.of(rows[j]);
            double* target = panel.update(j);
            for (std::int32_t r = 0; r < nrhs; ++r) target[r] = source[r];
        }
        blas::gemm('N', 'T', nrhs, node.npiv, node.nupd, -1.0, panel.scratch, nrhs, node.coupling(block),
                   node.npiv, 1.0, pivots, ld);
    }
    blas::trsm('R', 'U', 'T', 'N', nrhs, node.npiv, 1.0, block, node.npiv, pivots, ld);
}

/// Both sweeps for a few right-hand sides, by our own loops.
Status solve_narrow(const Context& context, const Factor& factor, const Panel& panel) noexcept {
    const Analysis& analysis = *factor.analysis;
    const PanelLoops& loops = mf_panel_loops(context.settings.instructions);
    const auto forward = [&](std::int32_t s) noexcept {
        loops.forward(analysis.snodes[s], factor.block(s), panel.w, panel.stride);
    };
    const auto backward = [&](std::int32_t s) noexcept {
        loops.backward(analysis.snodes[s], factor.block(s), panel.w, panel.stride);
    };
    return mf_sweeps(context, analysis.n_snodes, forward, backward);
}

/// Both sweeps for many right-hand sides, by BLAS.
Status solve_wide(const Context& context, const Factor& factor, const Panel& panel) noexcept {
    const Analysis& analysis = *factor.analysis;
    const auto forward = [&](std::int32_t s) noexcept {
        forward_node(analysis.snodes[s], factor.block(s), panel);
    };
    const auto backward = [&](std::int32_t s) noexcept {
        backward_node(analysis.snodes[s], factor.block(s), panel);
    };
    return mf_sweeps(context, analysis.n_snodes, forward, backward);
}

} // namespace

// The caller's block is free once it is gathered: it serves as the update scratch of the wide sweeps.
Status mf_solve_llt_n(Context& context, const Factor& factor, double* X, std::int32_t nrhs) noexcept {
    if (nrhs == 1) return mf_solve_llt(context, factor, X);
    const std::int64_t n = factor.analysis->n;
    const std::int32_t* perm = factor.analysis->perm.get();
    const bool narrow = nrhs <= tuning::NARROW_RHS;
    const std::int32_t stride = narrow ? (nrhs + PANEL_LANES - 1) / PANEL_LANES * PANEL_LANES : nrhs;
    Buffer<double> w(context.memory, n * stride);
    if (!w) return out_of_memory(context);
    const Panel panel{w.get(), X, nrhs, stride};
    for (std::int32_t k = 0; k < n; ++k) {
        for (std::int32_t r = 0; r < nrhs; ++r) panel.of(k)[r] = X[r * n + perm[k]];
        for (std::int32_t r = nrhs; r < stride; ++r) panel.of(k)[r] = 0;
    }
    const Status status = narrow ? solve_narrow(context, factor, panel) : solve_wide(context, factor, panel);
    if (status != Status::OK) return status;
    for (std::int32_t r = 0; r < nrhs; ++r)
        for (std::int32_t k = 0; k < n; ++k) X[r * n + perm[k]] = panel.of(k)[r];
    return Status::OK;
}

} // namespace vyr
