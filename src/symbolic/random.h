// The random numbers of the ordering.
#pragma once

#include <cstdint>

namespace vyr {

/// The additive feedback generator r[i] = r[i - 3] + r[i - 31] (D. E. Knuth, "The Art of Computer
/// Programming", vol. 2, 3.2.2), without its lowest bit. It draws the numbers that rand() of GNU's C library
/// draws from the same seed, so an ordering is the same on every system.
class AdditiveRandom {
public:
    /// Starts from powers of 16807 modulo 2^31 - 1 and throws the first 310 numbers away.
    void seed(std::uint32_t seed) noexcept {
        constexpr std::int64_t MODULUS = 2147483647;
        std::int64_t power = static_cast<std::int32_t>(seed == 0 ? 1 : seed);
        for (std::uint32_t& number : numbers_) {
            number = static_cast<std::uint32_t>(power);
            power = 16807 * power % MODULUS;
            if (power < 0) power += MODULUS;
        }
        at_ = 0;
        for (int i = 0; i < 310; ++i) draw();
    }
    /// 0 to 2^31 - 1.
    std::int32_t draw() noexcept {
        const int near = at_ < 28 ? at_ + 3 : at_ - 28;
        numbers_[near] += numbers_[at_];
        at_ = at_ == 30 ? 0 : at_ + 1;
        return static_cast<std::int32_t>(numbers_[near] >> 1);
    }

private:
    std::uint32_t numbers_[31] = {};
    int at_ = 0; ///< of the oldest number
};

} // namespace vyr
