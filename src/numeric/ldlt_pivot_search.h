// Pivot choice of the L D L^T kernel: Bunch and Kaufman's test inside one node.
#pragma once

#include "numeric/ldlt_front.h"

namespace vyr {

enum class PivotKind { DIAGONAL, INTERCHANGED, TWO_BY_TWO };

struct PivotChoice {
    PivotKind kind;
    std::int32_t row; ///< r: the partner; the pivot's own index for DIAGONAL
};

/// First test: may the diagonal entry of row k be the pivot without a look at any other row?
///
/// row     row k of the front, brought up to date; entries k .. npiv-1 are read
///
/// Cost: npiv - k reads of contiguous memory.
[[nodiscard]] bool mf_diagonal_dominates(const double* row, std::int32_t k, std::int32_t npiv) noexcept;

/// Second test, for a row that failed the first one: the pivot to use at position k. Rows k .. npiv-1 of the
/// block must be up to date. Only pivot columns are candidates. Counts a refused diagonal in `counters`.
[[nodiscard]] PivotChoice mf_choose_pivot(const LdltFront& front, std::int32_t k,
                                          LdltCounters& counters) noexcept;

} // namespace vyr
