// The mapped factor store of core mode 3. The mode is inert: creating the mapping always fails, and a
// factorization that asks for it ends there.
#pragma once

#include "symbolic/solver.h"

#include <cstdint>

namespace vyr {

/// Creates the mapping that holds the factor, `bytes` bytes; `reserve`: bytes to leave to others. Always
/// returns -1000.
[[nodiscard]] int mf_map_create(mf_solver& solver, std::int64_t bytes, double reserve) noexcept;

/// Address of a node's block inside the mapping. Always null.
[[nodiscard]] double* mf_map_fetch(const mf_snode& node) noexcept;

/// Releases the mapping. There is none.
void mf_map_release(mf_solver& solver) noexcept;

/// Zeroes the mapping fields of the object.
void mf_map_reset(mf_solver& solver) noexcept;

} // namespace vyr
