// Doubles that stand for integers.
#pragma once

namespace vyr {

/// Truncated toward zero, saturated at the int range; NaN reads as 0.
constexpr int to_int(double value) noexcept {
    if (value != value) return 0;
    if (value >= 2147483647.0) return 2147483647;
    if (value <= -2147483648.0) return -2147483647 - 1;
    return static_cast<int>(value);
}

} // namespace vyr
