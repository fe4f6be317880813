// The mapped factor store of core mode 3. The mode is inert: creating the mapping always fails, and a
// factorization that asks for it ends there.
#pragma once

#include "core/factor.h"

#include <cstdint>

namespace vyr {

/// Code of the failed creation; the numeric driver makes its status of it.
inline constexpr int NO_MAPPING = -1000;

/// Creates the mapping that holds the factor, `bytes` bytes; `reserve`: bytes to leave to others. Always
/// returns NO_MAPPING.
[[nodiscard]] inline int mf_map_create(Factor& /*factor*/, std::int64_t /*bytes*/,
                                       double /*reserve*/) noexcept {
    return NO_MAPPING;
}

/// Address of a node's block inside the mapping. Always null.
[[nodiscard]] inline double* mf_map_fetch(const Factor& /*factor*/, std::int32_t /*node*/) noexcept {
    return nullptr;
}

/// Releases the mapping. There is none.
inline void mf_map_release(Factor& /*factor*/) noexcept {}

/// Mappings made, and the 10^6 bytes mapped.
[[nodiscard]] inline std::int32_t mf_map_count(const Factor& /*factor*/) noexcept {
    return 0;
}
[[nodiscard]] inline double mf_map_megabytes(const Factor& /*factor*/) noexcept {
    return 0;
}

} // namespace vyr
