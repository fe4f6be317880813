// One substitution, scaled: the step that both solve exports and the refinement repeat.
#pragma once

#include "interface/status.h"
#include "symbolic/solver.h"

#include <cstdint>

namespace vyr {

/// The substitution kernel chosen by matrix type and core mode, between the two scalings in force.
class Substitution {
public:
    /// Reads type, core mode and scaling mode once. `block`: the call may have several right-hand sides.
    Substitution(mf_solver& solver, bool block) noexcept;

    /// Solves in place on an n x nrhs block. Only the in-core Cholesky kernel of a block call looks beyond
    /// the first column; scaling never does. Returns 0, or -29 with the vector unchanged.
    [[nodiscard]] Status apply(double* x, std::int32_t nrhs) const noexcept;

    int type() const noexcept { return type_; }
    const mf_solver& solver() const noexcept { return solver_; }

private:
    [[nodiscard]] Status run_kernel(double* x, std::int32_t nrhs) const noexcept;

    mf_solver& solver_;
    bool block_;
    int type_;
    int core_mode_;
    int scaling_;
};

} // namespace vyr
