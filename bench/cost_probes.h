// The shapes at which costs are measured: like those of matrices, no multiples of the vectors.
#pragma once

#include <cstdint>

namespace vyr::bench {

inline constexpr std::int32_t PROBE_PIVOTS[] = {1, 2, 3, 6, 13, 27, 59, 123, 251, 507};
inline constexpr std::int32_t PROBE_ROWS[] = {3, 7, 15, 29, 61, 93, 187, 379, 763, 1531};
inline constexpr std::int32_t PROBE_ANCESTORS = 6;
inline constexpr std::int32_t PRODUCT_DEPTHS[] = {32, 64, 128, 256, 512, 1024};

} // namespace vyr::bench
