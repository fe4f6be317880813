// Symmetric interchange of two pivot positions inside one front.
#pragma once

#include "numeric/ldlt_front.h"

namespace vyr {

/// Exchanges positions p and r (p < r < npiv) of the rows and columns that are still to be eliminated.
///
/// first   the first row that takes part, first <= p; rows above it keep their order, which is what the
///         substitution expects: it applies an exchange just before it eliminates with the row of that
///         exchange
///
/// The row list, the permutation and the ancestors know nothing of it. Cost: width - first exchanges.
void mf_interchange(const LdltFront& front, std::int32_t first, std::int32_t p, std::int32_t r) noexcept;

} // namespace vyr
