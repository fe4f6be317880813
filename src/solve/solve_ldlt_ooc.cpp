#include "solve/solve_ldlt_ooc.h"

#include "interface/process_state.h"
#include "solve/factor_passes.h"
#include "solve/solve_ldlt.h"

namespace vyr {

// The caller's vector serves as the scratch of the sweeps.
Status mf_solve_ldlt_ooc(mf_solver& solver, double* x) noexcept {
    if (solver.pivot_index == nullptr) return VYR_OK;
    const bool by_blas = ctrl_int(CTRL_TYPE) == TYPE_CSYM;
    const std::int32_t* record = solver.pivot_index;
    const auto forward = [=](const mf_snode& node, double* w) noexcept {
        mf_ldlt_forward_node(node, record + node.first(), w, x);
    };
    const auto backward = [=](const mf_snode& node, double* w) noexcept {
        mf_ldlt_backward_node(node, record + node.first(), w, x, by_blas);
    };
    return run_sweeps(solver, x, forward, backward);
}

} // namespace vyr
