// The dense updates of the L D L^T kernel: rows brought up to date, deferred updates, the update matrix.
#pragma once

#include "numeric/ldlt_front.h"

namespace vyr {

/// Copies rows first .. last-1 of the block into Z.
void mf_load_rows(const LdltFront& front, std::int32_t first, std::int32_t last) noexcept;

/// Applies the pivots first .. k-1 of the block of pivots begun at `first` to row k of Z.
void mf_update_row(const LdltFront& front, std::int32_t first, std::int32_t k) noexcept;

/// Applies the pivots first .. done-1 to the rows row .. npiv-1 of the block: upper triangle, and
/// below it whatever the strips cover, or in one piece all of it; nobody reads that.
void mf_update_trailing(const LdltFront& front, std::int32_t first, std::int32_t done,
                        std::int32_t row) noexcept;

/// Writes the update matrix -Z^T U of the coupling block in strips of columns; only the upper triangle (and
/// what the strips cover beside it) is written. update: nupd x nupd, leading dimension ld.
void mf_form_update(const LdltFront& front, double* update, std::int32_t ld) noexcept;

/// Adds -Z^T U of the coupling block to `update`, whole square.
void mf_add_to_update(const LdltFront& front, double* update, std::int32_t ld) noexcept;

} // namespace vyr
