#include "numeric/front_loops.h"

#include <algorithm>
#include <cmath>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "numeric/front_loops.cpp"
#include "platform/highway.h"

// Vectors of a tile are counted, not entries: their products are small.
// NOLINTBEGIN(bugprone-implicit-widening-of-multiplication-result)

HWY_BEFORE_NAMESPACE();
namespace vyr {
namespace {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;
using Tag = hn::ScalableTag<double>;
using Vec = hn::Vec<Tag>;

constexpr std::int32_t LANES = static_cast<std::int32_t>(hn::MaxLanes(Tag()));

double max_abs(std::int32_t n, const double* x) noexcept {
    const Tag d;
    Vec most = hn::Zero(d);
    std::int32_t i = 0;
    for (; i + LANES <= n; i += LANES) {
        const Vec magnitude = hn::Abs(hn::LoadU(d, x + i));
        most = hn::IfThenElse(hn::Gt(magnitude, most), magnitude, most); // not Max, which may take a NaN
    }
    double result = hn::GetLane(hn::MaxOfLanes(d, most));
    for (; i < n; ++i) result = std::fabs(x[i]) > result ? std::fabs(x[i]) : result;
    return result;
}

/// Operands of a reduction, at the place of the tile that comes next.
struct Operands {
    std::int32_t depth;
    const double* l;
    std::int64_t ldl;
    const double* w;
    std::int64_t ldw;
};

/// VECTORS vectors of rows, from row i on, and COLUMNS columns in registers over the whole depth.
template <std::int32_t VECTORS, std::int32_t COLUMNS>
HWY_INLINE void reduce_tile(const Operands& from, std::int32_t i, double* a, std::int64_t lda) noexcept {
    const Tag d;
    Vec sum[COLUMNS][VECTORS];
    VYR_UNROLL
    for (std::int32_t q = 0; q < COLUMNS; ++q) VYR_UNROLL
    for (std::int32_t v = 0; v < VECTORS; ++v) sum[q][v] = hn::LoadU(d, a + i + q * lda + v * LANES);
    const double* l = from.l + i;
    const double* w = from.w;
    for (std::int32_t k = 0; k < from.depth; ++k, l += from.ldl, w += from.ldw) {
        VYR_UNROLL
        for (std::int32_t v = 0; v < VECTORS; ++v) {
            const Vec left = hn::LoadU(d, l + v * LANES);
            VYR_UNROLL
            for (std::int32_t q = 0; q < COLUMNS; ++q)
                sum[q][v] = hn::NegMulAdd(left, hn::Set(d, w[q]), sum[q][v]);
        }
    }
    VYR_UNROLL
    for (std::int32_t q = 0; q < COLUMNS; ++q) VYR_UNROLL
    for (std::int32_t v = 0; v < VECTORS; ++v) hn::StoreU(sum[q][v], d, a + i + q * lda + v * LANES);
}

#if HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_AVX3 // which load and store a part of a vector
/// The last rows, from row i on, `count` of them, fewer than a vector.
template <std::int32_t COLUMNS>
HWY_INLINE void reduce_rest(const Operands& from, std::int32_t i, std::int32_t count, double* a,
                            std::int64_t lda) noexcept {
    const Tag d;
    const auto mask = hn::FirstN(d, static_cast<std::size_t>(count));
    Vec sum[COLUMNS];
    VYR_UNROLL
    for (std::int32_t q = 0; q < COLUMNS; ++q) sum[q] = hn::MaskedLoad(mask, d, a + i + q * lda);
    for (std::int32_t k = 0; k < from.depth; ++k) {
        const Vec left = hn::MaskedLoad(mask, d, from.l + i + k * from.ldl);
        VYR_UNROLL
        for (std::int32_t q = 0; q < COLUMNS; ++q)
            sum[q] = hn::NegMulAdd(left, hn::Set(d, from.w[q + k * from.ldw]), sum[q]);
    }
    VYR_UNROLL
    for (std::int32_t q = 0; q < COLUMNS; ++q) hn::BlendedStore(sum[q], mask, d, a + i + q * lda);
}
#else
/// The last row, if the vectors leave one.
template <std::int32_t COLUMNS>
HWY_INLINE void reduce_rest(const Operands& from, std::int32_t i, std::int32_t /*count*/, double* a,
                            std::int64_t lda) noexcept {
    for (std::int32_t q = 0; q < COLUMNS; ++q) {
        double sum = a[i + q * lda];
        for (std::int32_t k = 0; k < from.depth; ++k)
            sum -= from.l[i + k * from.ldl] * from.w[q + k * from.ldw];
        a[i + q * lda] = sum;
    }
}
#endif

template <std::int32_t COLUMNS>
HWY_INLINE void reduce_columns(const Operands& from, std::int32_t n_rows, double* a,
                               std::int64_t lda) noexcept {
    std::int32_t i = 0;
    for (; i + 2 * LANES <= n_rows; i += 2 * LANES) reduce_tile<2, COLUMNS>(from, i, a, lda);
    for (; i + LANES <= n_rows; i += LANES) reduce_tile<1, COLUMNS>(from, i, a, lda);
    if (i < n_rows) reduce_rest<COLUMNS>(from, i, n_rows - i, a, lda);
}

void reduce(std::int32_t n_rows, std::int32_t n_columns, std::int32_t depth, const double* l,
            std::int64_t ldl, const double* w, std::int64_t ldw, double* a, std::int64_t lda) noexcept {
    constexpr std::int32_t TILE = 4;
    std::int32_t j = 0;
    for (; j + TILE <= n_columns; j += TILE)
        reduce_columns<TILE>({depth, l + j, ldl, w + j, ldw}, n_rows - j, a + j + j * lda, lda);
    for (; j < n_columns; ++j)
        reduce_columns<1>({depth, l + j, ldl, w + j, ldw}, n_rows - j, a + j + j * lda, lda);
}

void divide(std::int32_t n, const double* w, double divisor, double* l) noexcept {
    const Tag d;
    std::int32_t i = 0;
    for (; i + LANES <= n; i += LANES)
        hn::StoreU(hn::Div(hn::LoadU(d, w + i), hn::Set(d, divisor)), d, l + i);
    for (; i < n; ++i) l[i] = w[i] / divisor;
}

constexpr FrontLoops LOOPS{max_abs, reduce, divide};

} // namespace HWY_NAMESPACE
} // namespace
} // namespace vyr
HWY_AFTER_NAMESPACE();

// NOLINTEND(bugprone-implicit-widening-of-multiplication-result)

#if HWY_ONCE
namespace vyr {

const FrontLoops& mf_front_loops(InstructionSet instructions) noexcept {
    return VYR_CHOOSE(instructions, LOOPS);
}

} // namespace vyr
#endif
