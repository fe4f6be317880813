// Relaxed supernodes and the assembly tree.
#pragma once

#include "symbolic/solver.h"

namespace vyr {

/// Largest number of pivot columns a supernode can have.
inline constexpr std::int32_t MAX_SUPERNODE_WIDTH = 1024;

/// Groups consecutive columns into supernodes, from parents, child counts and column counts alone.
///
/// Fills column_map, n_snodes and the records' start, npiv, nupd, level and child_count; snode_parent,
/// max_level, factor_entries and largest_update. Row lists come later (mf_row_structure). False without
/// memory.
[[nodiscard]] bool mf_supernodes(mf_solver& solver) noexcept;

} // namespace vyr
