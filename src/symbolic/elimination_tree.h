// The elimination tree of a permuted symmetric pattern.
#pragma once

#include "symbolic/full_pattern.h"

#include <cstdint>

namespace vyr {

/// Computes the elimination tree of P A P^T.
///
/// full      both triangles of A, caller's numbering
/// perm      n: perm[new] = old; inverse: n: inverse[old] = new
/// parent    out, n, new numbering: -1 for roots
/// ancestor  scratch, n
///
/// Returns the number of roots. Cost: nearly linear in the entries.
std::int32_t mf_etree(const FullPattern& full, const std::int32_t* perm, const std::int32_t* inverse,
                      std::int32_t* parent, std::int32_t* ancestor) noexcept;

} // namespace vyr
