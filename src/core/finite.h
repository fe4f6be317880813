#pragma once

#include <cstdint>

namespace vyr {

/// True when none of n numbers is infinite or not a number.
inline bool all_finite(const double* x, std::int64_t n) noexcept {
    constexpr int LANES = 8; // sums apart from one another, so that none waits for the one before
    double sum[LANES] = {};  // 0 times a finite number is 0, times any other it is not a number
    std::int64_t i = 0;
    for (; i + LANES <= n; i += LANES)
        for (int lane = 0; lane < LANES; ++lane) sum[lane] += 0 * x[i + lane];
    for (; i < n; ++i) sum[0] += 0 * x[i];
    for (int lane = 1; lane < LANES; ++lane) sum[0] += sum[lane];
    return sum[0] == 0;
}

} // namespace vyr
