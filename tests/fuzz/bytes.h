// The bytes of one case, read as choices.
#pragma once

#include "support/matrices.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace vyr::test {

/// What must hold in every case: otherwise the case is a find.
inline void require(bool holds) {
    if (!holds) std::abort();
}

class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size) : at_(data), end_(data + size) {}
    bool empty() const { return at_ == end_; }
    int byte() { return empty() ? 0 : *at_++; }
    int below(int bound) { return byte() % bound; }
    /// Mostly small integers; now and then what makes trouble.
    double value() {
        constexpr double ODD[] = {0, std::numeric_limits<double>::infinity(), 1e300, 1e-300,
                                  std::numeric_limits<double>::quiet_NaN()};
        const int chosen = byte();
        return chosen >= 250 ? ODD[chosen - 250 < 5 ? chosen - 250 : 0] : (chosen - 100) / 4.0;
    }
    /// A lower triangle of order 1 to 12, every diagonal entry large enough or not; one time in four
    /// something in it is broken. Its arrays are as long as its pointers say.
    Csc matrix() {
        Csc a{1 + below(12), {0}, {}, {}};
        const int break_at = below(4) == 0 ? byte() : -1;
        for (std::int32_t j = 0; j < a.n; ++j) {
            for (std::int32_t i = j; i < a.n; ++i) {
                if (i > j && below(3) != 0) continue;
                a.rowind.push_back(i);
                a.values.push_back(i == j && below(4) != 0 ? 40 : value());
            }
            a.colptr.push_back(static_cast<std::int32_t>(a.rowind.size()));
        }
        if (break_at >= 0) {
            a.rowind[static_cast<std::size_t>(break_at) % a.rowind.size()] = below(20) - 4;
            a.colptr[static_cast<std::size_t>(below(a.n))] = below(20) - 4;
        }
        return a;
    }

private:
    const std::uint8_t *at_, *end_;
};

} // namespace vyr::test
