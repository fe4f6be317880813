#include "solve/solve_llt_ooc.h"

#include "solve/factor_passes.h"
#include "solve/ooc_vector.h"
#include "solve/small_node_solve.h"

namespace vyr {

// Plain loops that stream once through each block: a block comes from a file, so BLAS would gain nothing.
Status mf_solve_llt_ooc(mf_solver& solver, double* x) noexcept {
    double* w = mf_gather(solver, x);
    if (w == nullptr || !run_sweeps(
                            solver, [w](const mf_snode& node) noexcept { mf_small_forward(node, w); },
                            [w](const mf_snode& node) noexcept { mf_small_backward(node, w); }))
        return VYR_ERR_MEMORY;
    mf_scatter(solver, x);
    return VYR_OK;
}

} // namespace vyr
