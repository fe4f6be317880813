// Symbolic analysis: from the pattern of a matrix to everything that can be known before its values.
#pragma once

#include "core/analysis.h"
#include "core/context.h"

namespace vyr {

/// Orders the matrix, builds the trees and supernodes, places every entry and schedules the tasks.
///
/// pattern      as the caller stores it; other forms than a sorted lower triangle are folded to it
/// analysis     out: a fresh object on entry; on failure it holds nothing of use
/// ordering_ms  out: milliseconds spent on the fill-reducing ordering
///
/// Reads the ordering and compression, `blocked`, `core_mode` and `n_threads` of the settings. Raises
/// statistics.max_width to the widest supernode and adds the work memory of a factorization to
/// statistics.memory_estimate.
///
/// Returns NULL_MATRIX, EMPTY_MATRIX or STRUCTURE for a malformed pattern; MEMORY when the patterns and the
/// arrays of the columns could not be had; FACTOR_STORAGE when later memory could not, or when the full
/// pattern outgrows 32-bit positions; ORDERING when METIS gives up; CANCELLED. With settings.tree_schedule it
/// runs on settings.n_threads threads where that pays; what it makes does not depend on their number, the
/// schedule apart.
[[nodiscard]] Status mf_analyse(Context& context, const Pattern& pattern, Analysis& analysis,
                                double& ordering_ms) noexcept;

} // namespace vyr
