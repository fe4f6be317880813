#include "core/tuning.h"
#include "solve/node_steps.h"
#include "solve/substitution.h"
#include "solve/tree_sweeps.h"

#include <algorithm>

namespace vyr {

namespace {

Status sweep(TreeSweeps& sweeps, const Factor& factor, const SweepLoops& loops,
             std::int64_t stride) noexcept {
    double* const w = sweeps.w();
    const Status status = sweeps.forward([&](const mf_snode& node, std::int32_t s, double*) noexcept {
        mf_llt_forward_node(loops, node, factor.block(s), w, stride);
    });
    if (status != Status::OK) return status;
    return sweeps.backward([&](const mf_snode& node, std::int32_t s, double*) noexcept {
        mf_llt_backward_node(loops, node, factor.block(s), w, stride);
    });
}

} // namespace

// The values of a variable are adjacent: a row of the work block.
Status mf_solve_llt(Context& context, const Factor& factor, double* X, std::int32_t nrhs) noexcept {
    const std::int64_t n = factor.analysis->n;
    const std::int32_t* perm = factor.analysis->perm.get();
    const std::int32_t widest = std::min(nrhs, tuning::MOST_RHS_AT_ONCE);
    const std::int64_t stride =
        widest == 1 ? 1 : std::int64_t{widest + PANEL_LANES - 1} / PANEL_LANES * PANEL_LANES;
    const InstructionSet instructions = context.settings.instructions;
    const SweepLoops& loops =
        widest == 1 ? mf_vector_sweep_loops(instructions) : mf_panel_sweep_loops(instructions);
    TreeSweeps sweeps(context, *factor.analysis, stride);
    if (const Status status = sweeps.open(0); status != Status::OK) return status;
    for (std::int32_t first = 0; first < nrhs; first += widest) {
        const std::int32_t width = std::min(widest, nrhs - first);
        double* const x = X + first * n;
        for (std::int64_t k = 0; k < n; ++k) {
            double* const row = sweeps.w() + k * stride;
            for (std::int32_t r = 0; r < width; ++r) row[r] = x[r * n + perm[k]];
            std::fill(row + width, row + stride, 0.0);
        }
        if (const Status status = sweep(sweeps, factor, loops, stride); status != Status::OK) return status;
        for (std::int32_t r = 0; r < width; ++r)
            for (std::int64_t k = 0; k < n; ++k) x[r * n + perm[k]] = sweeps.w()[k * stride + r];
    }
    return Status::OK;
}

} // namespace vyr
