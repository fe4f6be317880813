// Substitution with a factor that is not, or not all, in memory.
#include "solve/factor_passes.h"
#include "solve/node_steps.h"
#include "solve/substitution.h"

namespace vyr {

namespace {

/// Solves for one vector x of n doubles in the caller's numbering, in place: forward(s, block, w) for every
/// node s with descendants first, then backward(s, block, w) with ancestors first, on the vector w in pivot
/// order.
///
/// The contents of x are free for the sweeps' own use meanwhile. Returns as mf_solve_llt_ooc.
template <typename Forward, typename Backward>
Status run_sweeps(Context& context, const Factor& factor, double* x, const Forward& forward,
                  const Backward& backward) noexcept {
    const Analysis& analysis = *factor.analysis;
    FactorPasses passes(context, factor);
    if (const Status status = passes.open(); status != Status::OK) return status;
    Buffer<double> w(context.memory, analysis.n);
    if (!w) return out_of_memory(context);
    for (std::int32_t k = 0; k < analysis.n; ++k) w[k] = x[analysis.perm[k]];
    passes.visit(true, [&](std::int32_t s, const double* block) noexcept { forward(s, block, w.get()); });
    passes.visit(false, [&](std::int32_t s, const double* block) noexcept { backward(s, block, w.get()); });
    for (std::int32_t k = 0; k < analysis.n; ++k) x[analysis.perm[k]] = w[k];
    return passes.finish();
}

} // namespace

Status mf_solve_llt_ooc(Context& context, const Factor& factor, double* x) noexcept {
    const mf_snode* snodes = factor.analysis->snodes.get();
    const SweepLoops& loops = mf_vector_sweep_loops(context.settings.instructions);
    const auto forward = [&](std::int32_t s, const double* block, double* w) noexcept {
        mf_llt_forward_node(loops, snodes[s], block, w, 1);
    };
    const auto backward = [&](std::int32_t s, const double* block, double* w) noexcept {
        mf_llt_backward_node(loops, snodes[s], block, w, 1);
    };
    return run_sweeps(context, factor, x, forward, backward);
}

// The caller's vector serves as the scratch of the sweeps.
Status mf_solve_ldlt_ooc(Context& context, const Factor& factor, double* x) noexcept {
    if (!factor.pivot_index) return Status::OK;
    const bool by_blas = context.settings.type == TYPE_CSYM;
    const mf_snode* snodes = factor.analysis->snodes.get();
    const std::int32_t* record = factor.pivot_index.get();
    const FactorBlock* blocks = factor.blocks.get();
    const auto forward = [=](std::int32_t s, const double* block, double* w) noexcept {
        const bool two_by_two = (blocks[s].flags & BLOCK_TWO_BY_TWO) != 0;
        mf_ldlt_forward_node(snodes[s], block, two_by_two, record + snodes[s].first(), w, x);
    };
    const auto backward = [=](std::int32_t s, const double* block, double* w) noexcept {
        mf_ldlt_backward_node(snodes[s], block, record + snodes[s].first(), w, x, by_blas);
    };
    return run_sweeps(context, factor, x, forward, backward);
}

} // namespace vyr
