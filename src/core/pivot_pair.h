// 2 x 2 pivots.
#pragma once

#include <cmath>

namespace vyr {

/// The pivot [d1 e; e d2], scaled by e so that the square of e never shows.
struct PivotPair {
    double p, q, t;

    PivotPair(double d1, double e, double d2) noexcept : p(d1 / e), q(d2 / e), t(e * (p * q - 1.0)) {}

    /// Its inverse exists; a subnormal t has no reciprocal, but may still be divided by.
    bool regular() const noexcept {
        return std::isfinite(p) && std::isfinite(q) && std::isfinite(t) && t != 0.0;
    }
    /// The inverse times t, applied to (z1, z2). Divide by t, whose reciprocal overflows when it is
    /// subnormal.
    double first(double z1, double z2) const noexcept { return q * z1 - z2; }
    double second(double z1, double z2) const noexcept { return p * z2 - z1; }
};

} // namespace vyr
