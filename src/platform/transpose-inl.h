// Copies between blocks and their transposes, by vectors; read once for every instruction set, after
// platform/highway.h.
#if defined(VYR_PLATFORM_TRANSPOSE_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VYR_PLATFORM_TRANSPOSE_INL_H
#undef VYR_PLATFORM_TRANSPOSE_INL_H
#else
#define VYR_PLATFORM_TRANSPOSE_INL_H
#endif

#include <cstdint>

HWY_BEFORE_NAMESPACE();
namespace vyr {
namespace {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

/// Side of the squares that are transposed in registers: wider ones run out of them.
using SquareTag = hn::CappedTag<double, 4>;
inline constexpr std::int32_t SQUARE = static_cast<std::int32_t>(hn::MaxLanes(SquareTag()));

/// to[i + k * ld_to] = from[k + i * ld_from], i, k < SQUARE.
HWY_INLINE void transpose_square(const double* from, std::int64_t ld_from, double* to,
                                 std::int64_t ld_to) noexcept {
    const SquareTag d;
#if HWY_TARGET == HWY_SCALAR
    *to = *from;
    static_cast<void>(d), static_cast<void>(ld_from), static_cast<void>(ld_to);
#else
    const auto a0 = hn::LoadU(d, from), a1 = hn::LoadU(d, from + ld_from);
    const auto even = hn::InterleaveLower(d, a0, a1), odd = hn::InterleaveUpper(d, a0, a1);
    if constexpr (SQUARE == 2) {
        hn::StoreU(even, d, to);
        hn::StoreU(odd, d, to + ld_to);
    } else {
        const auto a2 = hn::LoadU(d, from + 2 * ld_from), a3 = hn::LoadU(d, from + 3 * ld_from);
        const auto even2 = hn::InterleaveLower(d, a2, a3), odd2 = hn::InterleaveUpper(d, a2, a3);
        hn::StoreU(hn::ConcatLowerLower(d, even2, even), d, to);
        hn::StoreU(hn::ConcatLowerLower(d, odd2, odd), d, to + ld_to);
        hn::StoreU(hn::ConcatUpperUpper(d, even2, even), d, to + 2 * ld_to);
        hn::StoreU(hn::ConcatUpperUpper(d, odd2, odd), d, to + 3 * ld_to);
    }
#endif
}

/// to[i + k * ld_to] = from[k + i * ld_from], i < n_rows, k < n_columns: rows of `to`, columns of `to`.
HWY_INLINE void transpose(std::int32_t n_rows, std::int32_t n_columns, const double* from,
                          std::int64_t ld_from, double* to, std::int64_t ld_to) noexcept {
    std::int32_t i = 0;
    for (; i + SQUARE <= n_rows; i += SQUARE) {
        const double* source = from + i * ld_from;
        double* target = to + i;
        std::int32_t k = 0;
        for (; k + SQUARE <= n_columns; k += SQUARE)
            transpose_square(source + k, ld_from, target + k * ld_to, ld_to);
        for (; k < n_columns; ++k)
            for (std::int32_t q = 0; q < SQUARE; ++q) target[q + k * ld_to] = source[k + q * ld_from];
    }
    for (; i < n_rows; ++i)
        for (std::int32_t k = 0; k < n_columns; ++k) to[i + k * ld_to] = from[k + i * ld_from];
}

} // namespace HWY_NAMESPACE
} // namespace
} // namespace vyr
HWY_AFTER_NAMESPACE();

#endif // per set
