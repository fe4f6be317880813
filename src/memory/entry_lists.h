// The input entries by the node whose block they go to.
#pragma once

#include "core/analysis.h"
#include "core/context.h"

#include <cstdint>

namespace vyr {

/// Lists the input entries of every node, in input order.
///
/// entries   out: n_input numbers of entries
/// offset    out: n_snodes + 1 positions in `entries`
///
/// Returns OK, or MEMORY with both as they were. Cost: a counting sort.
Status mf_list_entries(Context& context, const Analysis& analysis, Buffer<std::int32_t>& entries,
                       Buffer<std::int32_t>& offset) noexcept;

} // namespace vyr
