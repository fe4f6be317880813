// Random numbers that are the same everywhere: the distributions of the standard library are not.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>

namespace vyr::tool {

class RandomNumbers {
public:
    explicit RandomNumbers(std::uint64_t seed) : engine_(seed) {}

    /// Evenly between low and high.
    double between(double low, double high) {
        return low + (high - low) * static_cast<double>(engine_() >> 11) * 0x1p-53;
    }
    /// 10 to a power evenly between low and high.
    double magnitude(double low, double high) { return std::pow(10.0, between(low, high)); }
    /// One of 0 .. count - 1.
    std::int32_t below(std::int32_t count) {
        return static_cast<std::int32_t>(engine_() % static_cast<std::uint64_t>(count));
    }

private:
    std::mt19937_64 engine_;
};

} // namespace vyr::tool
