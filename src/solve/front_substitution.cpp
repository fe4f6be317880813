// Four columns of L at a time: each is read once, and the right-hand sides a quarter as often as by columns.
#include "solve/front_substitution.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "solve/front_substitution.cpp"
#include "platform/highway.h"

// Vectors of a tile are counted, not entries: their products are small.
// NOLINTBEGIN(bugprone-implicit-widening-of-multiplication-result)

HWY_BEFORE_NAMESPACE();
namespace vyr {
namespace {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;
using Tag = hn::CappedTag<double, PANEL_LANES>;
using Vec = hn::Vec<Tag>;

constexpr std::int32_t LANES = static_cast<std::int32_t>(hn::MaxLanes(Tag()));
constexpr std::int32_t GROUP = 4;

/// VECTORS vectors of right-hand sides, which start at t.
template <std::int32_t VECTORS>
struct Lanes {
    Vec v[VECTORS];

    HWY_INLINE Lanes() noexcept {} // written out: the compiler's own would be for another instruction set
    HWY_INLINE void load(const double* t) noexcept {
        VYR_UNROLL
        for (std::int32_t q = 0; q < VECTORS; ++q) v[q] = hn::LoadU(Tag(), t + q * LANES);
    }
    HWY_INLINE void store(double* t) const noexcept {
        VYR_UNROLL
        for (std::int32_t q = 0; q < VECTORS; ++q) hn::StoreU(v[q], Tag(), t + q * LANES);
    }
    HWY_INLINE void subtract(double factor, const Lanes& y) noexcept {
        VYR_UNROLL
        for (std::int32_t q = 0; q < VECTORS; ++q) v[q] = hn::NegMulAdd(hn::Set(Tag(), factor), y.v[q], v[q]);
    }
};

/// DEPTH columns of L from column k on, at most GROUP.
template <std::int32_t DEPTH, std::int32_t VECTORS>
HWY_INLINE void forward_group(const UnitTrapezoid& front, std::int32_t k, double* t,
                              std::int64_t stride) noexcept {
    const std::int64_t ld = front.n_rows;
    const double* l = front.l + k * ld;
    Lanes<VECTORS> x[DEPTH];
    VYR_UNROLL
    for (std::int32_t q = 0; q < DEPTH; ++q) {
        x[q].load(t + (k + q) * stride);
        VYR_UNROLL
        for (std::int32_t p = 0; p < q; ++p) x[q].subtract(l[k + q + p * ld], x[p]);
        x[q].store(t + (k + q) * stride);
    }
    for (std::int32_t i = k + DEPTH; i < front.n_rows; ++i) {
        Lanes<VECTORS> target;
        target.load(t + i * stride);
        VYR_UNROLL
        for (std::int32_t q = 0; q < DEPTH; ++q) target.subtract(l[i + q * ld], x[q]);
        target.store(t + i * stride);
    }
}

template <std::int32_t DEPTH, std::int32_t VECTORS>
HWY_INLINE void backward_group(const UnitTrapezoid& front, std::int32_t k, double* t,
                               std::int64_t stride) noexcept {
    const std::int64_t ld = front.n_rows;
    const double* l = front.l + k * ld;
    Lanes<VECTORS> x[DEPTH];
    VYR_UNROLL
    for (std::int32_t q = 0; q < DEPTH; ++q) x[q].load(t + (k + q) * stride);
    for (std::int32_t i = k + DEPTH; i < front.n_rows; ++i) {
        Lanes<VECTORS> source;
        source.load(t + i * stride);
        VYR_UNROLL
        for (std::int32_t q = 0; q < DEPTH; ++q) x[q].subtract(l[i + q * ld], source);
    }
    VYR_UNROLL
    for (std::int32_t q = DEPTH - 1; q >= 0; --q) {
        VYR_UNROLL
        for (std::int32_t p = q + 1; p < DEPTH; ++p) x[q].subtract(l[k + p + q * ld], x[p]);
        x[q].store(t + (k + q) * stride);
    }
}

template <std::int32_t VECTORS>
HWY_INLINE void forward_lanes(const UnitTrapezoid& front, double* t, std::int64_t stride) noexcept {
    std::int32_t k = 0;
    for (; k + GROUP <= front.n_pivots; k += GROUP) forward_group<GROUP, VECTORS>(front, k, t, stride);
    if (k + 2 <= front.n_pivots) forward_group<2, VECTORS>(front, k, t, stride), k += 2;
    if (k < front.n_pivots) forward_group<1, VECTORS>(front, k, t, stride);
}

template <std::int32_t VECTORS>
HWY_INLINE void backward_lanes(const UnitTrapezoid& front, double* t, std::int64_t stride) noexcept {
    std::int32_t k = front.n_pivots;
    if (k % 2 != 0) backward_group<1, VECTORS>(front, --k, t, stride);
    if (k % GROUP != 0) backward_group<2, VECTORS>(front, k -= 2, t, stride);
    for (; k > 0; k -= GROUP) backward_group<GROUP, VECTORS>(front, k - GROUP, t, stride);
}

void forward(const UnitTrapezoid& front, double* t, std::int64_t stride) noexcept {
    std::int64_t lane = 0;
    for (; lane + 2 * LANES <= stride; lane += 2 * LANES) forward_lanes<2>(front, t + lane, stride);
    if (lane < stride) forward_lanes<1>(front, t + lane, stride);
}

void backward(const UnitTrapezoid& front, double* t, std::int64_t stride) noexcept {
    std::int64_t lane = 0;
    for (; lane + 2 * LANES <= stride; lane += 2 * LANES) backward_lanes<2>(front, t + lane, stride);
    if (lane < stride) backward_lanes<1>(front, t + lane, stride);
}

template <std::int32_t DEPTH>
HWY_INLINE void forward_one_group(const UnitTrapezoid& front, std::int32_t k, double* t) noexcept {
    const Tag d;
    const std::int64_t ld = front.n_rows;
    const double* l = front.l + k * ld;
    double x[DEPTH];
    VYR_UNROLL
    for (std::int32_t q = 0; q < DEPTH; ++q) {
        x[q] = t[k + q];
        VYR_UNROLL
        for (std::int32_t p = 0; p < q; ++p) x[q] -= l[k + q + p * ld] * x[p];
        t[k + q] = x[q];
    }
    std::int32_t i = k + DEPTH;
    for (; i + LANES <= front.n_rows; i += LANES) {
        Vec target = hn::LoadU(d, t + i);
        VYR_UNROLL
        for (std::int32_t q = 0; q < DEPTH; ++q)
            target = hn::NegMulAdd(hn::Set(d, x[q]), hn::LoadU(d, l + i + q * ld), target);
        hn::StoreU(target, d, t + i);
    }
    for (; i < front.n_rows; ++i) {
        VYR_UNROLL
        for (std::int32_t q = 0; q < DEPTH; ++q) t[i] -= x[q] * l[i + q * ld];
    }
}

template <std::int32_t DEPTH>
HWY_INLINE void backward_one_group(const UnitTrapezoid& front, std::int32_t k, double* t) noexcept {
    const Tag d;
    const std::int64_t ld = front.n_rows;
    const double* l = front.l + k * ld;
    Vec sum[DEPTH];
    VYR_UNROLL
    for (std::int32_t q = 0; q < DEPTH; ++q) sum[q] = hn::Zero(d);
    std::int32_t i = k + DEPTH;
    for (; i + LANES <= front.n_rows; i += LANES) {
        const Vec source = hn::LoadU(d, t + i);
        VYR_UNROLL
        for (std::int32_t q = 0; q < DEPTH; ++q)
            sum[q] = hn::MulAdd(source, hn::LoadU(d, l + i + q * ld), sum[q]);
    }
    VYR_UNROLL
    for (std::int32_t q = DEPTH - 1; q >= 0; --q) {
        double x = t[k + q] - hn::GetLane(hn::SumOfLanes(d, sum[q]));
        for (std::int32_t r = i; r < front.n_rows; ++r) x -= l[r + q * ld] * t[r];
        VYR_UNROLL
        for (std::int32_t p = q + 1; p < DEPTH; ++p) x -= l[k + p + q * ld] * t[k + p];
        t[k + q] = x;
    }
}

void forward_one(const UnitTrapezoid& front, double* t) noexcept {
    std::int32_t k = 0;
    for (; k + GROUP <= front.n_pivots; k += GROUP) forward_one_group<GROUP>(front, k, t);
    if (k + 2 <= front.n_pivots) forward_one_group<2>(front, k, t), k += 2;
    if (k < front.n_pivots) forward_one_group<1>(front, k, t);
}

void backward_one(const UnitTrapezoid& front, double* t) noexcept {
    std::int32_t k = front.n_pivots;
    if (k % 2 != 0) backward_one_group<1>(front, --k, t);
    if (k % GROUP != 0) backward_one_group<2>(front, k -= 2, t);
    for (; k > 0; k -= GROUP) backward_one_group<GROUP>(front, k - GROUP, t);
}

constexpr FrontSubstitution LOOPS{forward_one, forward, backward_one, backward};

} // namespace HWY_NAMESPACE
} // namespace
} // namespace vyr
HWY_AFTER_NAMESPACE();

// NOLINTEND(bugprone-implicit-widening-of-multiplication-result)

#if HWY_ONCE
namespace vyr {

const FrontSubstitution& mf_front_substitution(InstructionSet instructions) noexcept {
    return VYR_CHOOSE(instructions, LOOPS);
}

} // namespace vyr
#endif
