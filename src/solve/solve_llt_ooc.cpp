#include "solve/solve_llt_ooc.h"

#include "solve/factor_passes.h"
#include "solve/small_node_solve.h"

namespace vyr {

// Plain loops that stream once through each block: a block comes from a file, so BLAS would gain nothing.
Status mf_solve_llt_ooc(mf_solver& solver, double* x) noexcept {
    return run_sweeps(solver, x, mf_small_forward, mf_small_backward);
}

} // namespace vyr
