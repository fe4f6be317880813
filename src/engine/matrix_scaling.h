// S A S instead of A: equations in units in which threshold pivoting is a fair test.
#pragma once

#include "core/analysis.h"
#include "core/context.h"

#include <cstdint>

namespace vyr {

/// Chooses S by settings.matrix_scaling.
///
/// scale             in: n powers of two that served earlier values, kept where they fit these, or empty;
/// out:
///                   those to take, empty for none
/// structural_rank   out: of these values where a matching was made; -1
///
/// Returns OK, MEMORY, FACTOR_STORAGE without memory, or CANCELLED. Cost: a look at every entry where `scale`
/// fits, otherwise that of mf_symmetric_matching or mf_equilibration.
Status mf_choose_scaling(Context& context, const Matrix& a, Buffer<double>& scale,
                         std::int32_t& structural_rank) noexcept;

/// scaled: out, as many as A has entries: those of S A S.
void mf_scaled_values(const Matrix& a, const double* scale, double* scaled) noexcept;

} // namespace vyr
