// The work vector of the out-of-core substitutions, kept in the object from the first solve on.
#pragma once

#include "memory/buffer.h"
#include "symbolic/solver.h"

namespace vyr {

/// x, n doubles in the caller's numbering, in pivot order in solver.solve_work; null without memory.
[[nodiscard]] inline double* mf_gather(mf_solver& solver, const double* x) noexcept {
    if (solver.solve_work == nullptr) solver.solve_work = mf_array<double>(solver.n);
    for (std::int32_t k = 0; solver.solve_work != nullptr && k < solver.n; ++k)
        solver.solve_work[k] = x[solver.perm[k]];
    return solver.solve_work;
}

/// The way back.
inline void mf_scatter(const mf_solver& solver, double* x) noexcept {
    for (std::int32_t k = 0; k < solver.n; ++k) x[solver.perm[k]] = solver.solve_work[k];
}

} // namespace vyr
