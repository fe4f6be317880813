// Storage of the L D L^T factorization, allocated at its first run: the analysis serves L L^T.
#pragma once

#include "interface/status.h"
#include "symbolic/solver.h"

namespace vyr {

/// Allocates what the node loop needs and the object lacks: the pivot record (n ints), the update matrix's
/// work block (ldw x ldw doubles), the undivided rows of the largest front and the list of stacked updates
/// (n_snodes ints); for the mapped core mode the update stack too. The object owns it all and keeps it for
/// later runs.
///
/// Returns 0, or VYR_ERR_MEMORY; what was allocated then stays with the object.
[[nodiscard]] Status mf_ldlt_prepare(mf_solver& solver) noexcept;

} // namespace vyr
