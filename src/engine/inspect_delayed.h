// Looks at a factor with delayed pivots; see inspect.h for what the functions answer.
#pragma once

#include "core/context.h"
#include "core/factor.h"

#include <cstdint>

namespace vyr {

Status mf_delayed_columns(Context& context, const Factor& factor, std::int64_t* ptr, std::int32_t* ind,
                          double* values, std::int32_t* order) noexcept;

Status mf_delayed_diagonal(Context& context, const Factor& factor, double* diagonal, double* beside) noexcept;

} // namespace vyr
