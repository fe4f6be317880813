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

/// Columns of L, at most GROUP, on the rows below their diagonal or of a part.
template <std::int32_t DEPTH>
struct Columns {
    const double* l;
    std::int64_t ld;
    std::int32_t n_rows;

    /// t -= L x.
    template <std::int32_t VECTORS>
    HWY_INLINE void reduce(const Lanes<VECTORS>* x, double* t, std::int64_t stride) const noexcept {
        for (std::int32_t i = 0; i < n_rows; ++i) {
            Lanes<VECTORS> target;
            target.load(t + i * stride);
            VYR_UNROLL
            for (std::int32_t q = 0; q < DEPTH; ++q) target.subtract(l[i + q * ld], x[q]);
            target.store(t + i * stride);
        }
    }
    /// x -= L^T t.
    template <std::int32_t VECTORS>
    HWY_INLINE void collect(Lanes<VECTORS>* x, const double* t, std::int64_t stride) const noexcept {
        for (std::int32_t i = 0; i < n_rows; ++i) {
            Lanes<VECTORS> source;
            source.load(t + i * stride);
            VYR_UNROLL
            for (std::int32_t q = 0; q < DEPTH; ++q) x[q].subtract(l[i + q * ld], source);
        }
    }
    HWY_INLINE void reduce_one(const double* x, double* t) const noexcept {
        const Tag d;
        std::int32_t i = 0;
        for (; i + LANES <= n_rows; i += LANES) {
            Vec target = hn::LoadU(d, t + i);
            VYR_UNROLL
            for (std::int32_t q = 0; q < DEPTH; ++q)
                target = hn::NegMulAdd(hn::Set(d, x[q]), hn::LoadU(d, l + i + q * ld), target);
            hn::StoreU(target, d, t + i);
        }
        for (; i < n_rows; ++i) {
            VYR_UNROLL
            for (std::int32_t q = 0; q < DEPTH; ++q) t[i] -= x[q] * l[i + q * ld];
        }
    }
    HWY_INLINE void collect_one(double* x, const double* t) const noexcept {
        const Tag d;
        Vec sum[DEPTH];
        VYR_UNROLL
        for (std::int32_t q = 0; q < DEPTH; ++q) sum[q] = hn::Zero(d);
        std::int32_t i = 0;
        for (; i + LANES <= n_rows; i += LANES) {
            const Vec source = hn::LoadU(d, t + i);
            VYR_UNROLL
            for (std::int32_t q = 0; q < DEPTH; ++q)
                sum[q] = hn::MulAdd(source, hn::LoadU(d, l + i + q * ld), sum[q]);
        }
        VYR_UNROLL
        for (std::int32_t q = 0; q < DEPTH; ++q) {
            x[q] -= hn::GetLane(hn::SumOfLanes(d, sum[q]));
            for (std::int32_t r = i; r < n_rows; ++r) x[q] -= l[r + q * ld] * t[r];
        }
    }
};

/// The DEPTH columns of a part from column k on, at all its rows; of a trapezoid, below the group's own rows.
template <std::int32_t DEPTH>
HWY_INLINE Columns<DEPTH> columns_of(const UnitTrapezoid& part, std::int32_t k, std::int32_t top) noexcept {
    return {part.l + k * part.ld + top, part.ld, part.n_rows - top};
}

template <std::int32_t DEPTH, std::int32_t VECTORS>
HWY_INLINE void forward_group(const UnitTrapezoid& front, std::int32_t k, double* t,
                              std::int64_t stride) noexcept {
    const double* l = front.l + k * front.ld;
    Lanes<VECTORS> x[DEPTH];
    VYR_UNROLL
    for (std::int32_t q = 0; q < DEPTH; ++q) {
        x[q].load(t + (k + q) * stride);
        VYR_UNROLL
        for (std::int32_t p = 0; p < q; ++p) x[q].subtract(l[k + q + p * front.ld], x[p]);
        x[q].store(t + (k + q) * stride);
    }
    columns_of<DEPTH>(front, k, k + DEPTH).reduce(x, t + (k + DEPTH) * stride, stride);
}

template <std::int32_t DEPTH, std::int32_t VECTORS>
HWY_INLINE void backward_group(const UnitTrapezoid& front, std::int32_t k, double* t,
                               std::int64_t stride) noexcept {
    const double* l = front.l + k * front.ld;
    Lanes<VECTORS> x[DEPTH];
    VYR_UNROLL
    for (std::int32_t q = 0; q < DEPTH; ++q) x[q].load(t + (k + q) * stride);
    columns_of<DEPTH>(front, k, k + DEPTH).collect(x, t + (k + DEPTH) * stride, stride);
    VYR_UNROLL
    for (std::int32_t q = DEPTH - 1; q >= 0; --q) {
        VYR_UNROLL
        for (std::int32_t p = q + 1; p < DEPTH; ++p) x[q].subtract(l[k + p + q * front.ld], x[p]);
        x[q].store(t + (k + q) * stride);
    }
}

template <std::int32_t DEPTH>
HWY_INLINE void forward_one_group(const UnitTrapezoid& front, std::int32_t k, double* t) noexcept {
    const double* l = front.l + k * front.ld;
    double x[DEPTH];
    VYR_UNROLL
    for (std::int32_t q = 0; q < DEPTH; ++q) {
        x[q] = t[k + q];
        VYR_UNROLL
        for (std::int32_t p = 0; p < q; ++p) x[q] -= l[k + q + p * front.ld] * x[p];
        t[k + q] = x[q];
    }
    columns_of<DEPTH>(front, k, k + DEPTH).reduce_one(x, t + k + DEPTH);
}

template <std::int32_t DEPTH>
HWY_INLINE void backward_one_group(const UnitTrapezoid& front, std::int32_t k, double* t) noexcept {
    const double* l = front.l + k * front.ld;
    double x[DEPTH];
    VYR_UNROLL
    for (std::int32_t q = 0; q < DEPTH; ++q) x[q] = t[k + q];
    columns_of<DEPTH>(front, k, k + DEPTH).collect_one(x, t + k + DEPTH);
    VYR_UNROLL
    for (std::int32_t q = DEPTH - 1; q >= 0; --q) {
        VYR_UNROLL
        for (std::int32_t p = q + 1; p < DEPTH; ++p) x[q] -= l[k + p + q * front.ld] * t[k + p];
        t[k + q] = x[q];
    }
}

template <std::int32_t DEPTH, std::int32_t VECTORS>
HWY_INLINE void reduce_group(const UnitTrapezoid& part, std::int32_t k, const double* pivots, double* t,
                             std::int64_t stride) noexcept {
    Lanes<VECTORS> x[DEPTH];
    VYR_UNROLL
    for (std::int32_t q = 0; q < DEPTH; ++q) x[q].load(pivots + (k + q) * stride);
    columns_of<DEPTH>(part, k, 0).reduce(x, t, stride);
}

template <std::int32_t DEPTH, std::int32_t VECTORS>
HWY_INLINE void collect_group(const UnitTrapezoid& part, std::int32_t k, double* pivots, const double* t,
                              std::int64_t stride) noexcept {
    Lanes<VECTORS> x[DEPTH];
    VYR_UNROLL
    for (std::int32_t q = 0; q < DEPTH; ++q) x[q].load(pivots + (k + q) * stride);
    columns_of<DEPTH>(part, k, 0).collect(x, t, stride);
    VYR_UNROLL
    for (std::int32_t q = 0; q < DEPTH; ++q) x[q].store(pivots + (k + q) * stride);
}

template <std::int32_t VECTORS>
HWY_INLINE void forward_lanes(const UnitTrapezoid& part, double* t, std::int64_t stride) noexcept {
    std::int32_t k = 0;
    for (; k + GROUP <= part.n_pivots; k += GROUP) forward_group<GROUP, VECTORS>(part, k, t, stride);
    if (k + 2 <= part.n_pivots) forward_group<2, VECTORS>(part, k, t, stride), k += 2;
    if (k < part.n_pivots) forward_group<1, VECTORS>(part, k, t, stride);
}

template <std::int32_t VECTORS>
HWY_INLINE void backward_lanes(const UnitTrapezoid& part, double* t, std::int64_t stride) noexcept {
    std::int32_t k = part.n_pivots;
    if (k % 2 != 0) backward_group<1, VECTORS>(part, --k, t, stride);
    if (k % GROUP != 0) backward_group<2, VECTORS>(part, k -= 2, t, stride);
    for (; k > 0; k -= GROUP) backward_group<GROUP, VECTORS>(part, k - GROUP, t, stride);
}

template <std::int32_t VECTORS>
HWY_INLINE void reduce_lanes(const UnitTrapezoid& part, const double* x, double* t,
                             std::int64_t stride) noexcept {
    std::int32_t k = 0;
    for (; k + GROUP <= part.n_pivots; k += GROUP) reduce_group<GROUP, VECTORS>(part, k, x, t, stride);
    if (k + 2 <= part.n_pivots) reduce_group<2, VECTORS>(part, k, x, t, stride), k += 2;
    if (k < part.n_pivots) reduce_group<1, VECTORS>(part, k, x, t, stride);
}

template <std::int32_t VECTORS>
HWY_INLINE void collect_lanes(const UnitTrapezoid& part, double* x, const double* t,
                              std::int64_t stride) noexcept {
    std::int32_t k = 0;
    for (; k + GROUP <= part.n_pivots; k += GROUP) collect_group<GROUP, VECTORS>(part, k, x, t, stride);
    if (k + 2 <= part.n_pivots) collect_group<2, VECTORS>(part, k, x, t, stride), k += 2;
    if (k < part.n_pivots) collect_group<1, VECTORS>(part, k, x, t, stride);
}

void forward(const UnitTrapezoid& part, double* t, std::int64_t stride) noexcept {
    std::int64_t lane = 0;
    for (; lane + 2 * LANES <= stride; lane += 2 * LANES) forward_lanes<2>(part, t + lane, stride);
    if (lane < stride) forward_lanes<1>(part, t + lane, stride);
}

void backward(const UnitTrapezoid& part, double* t, std::int64_t stride) noexcept {
    std::int64_t lane = 0;
    for (; lane + 2 * LANES <= stride; lane += 2 * LANES) backward_lanes<2>(part, t + lane, stride);
    if (lane < stride) backward_lanes<1>(part, t + lane, stride);
}

void reduce(const UnitTrapezoid& part, const double* x, double* t, std::int64_t stride) noexcept {
    std::int64_t lane = 0;
    for (; lane + 2 * LANES <= stride; lane += 2 * LANES) reduce_lanes<2>(part, x + lane, t + lane, stride);
    if (lane < stride) reduce_lanes<1>(part, x + lane, t + lane, stride);
}

void collect(const UnitTrapezoid& part, double* x, const double* t, std::int64_t stride) noexcept {
    std::int64_t lane = 0;
    for (; lane + 2 * LANES <= stride; lane += 2 * LANES) collect_lanes<2>(part, x + lane, t + lane, stride);
    if (lane < stride) collect_lanes<1>(part, x + lane, t + lane, stride);
}

void forward_one(const UnitTrapezoid& part, double* t) noexcept {
    std::int32_t k = 0;
    for (; k + GROUP <= part.n_pivots; k += GROUP) forward_one_group<GROUP>(part, k, t);
    if (k + 2 <= part.n_pivots) forward_one_group<2>(part, k, t), k += 2;
    if (k < part.n_pivots) forward_one_group<1>(part, k, t);
}

void backward_one(const UnitTrapezoid& part, double* t) noexcept {
    std::int32_t k = part.n_pivots;
    if (k % 2 != 0) backward_one_group<1>(part, --k, t);
    if (k % GROUP != 0) backward_one_group<2>(part, k -= 2, t);
    for (; k > 0; k -= GROUP) backward_one_group<GROUP>(part, k - GROUP, t);
}

void reduce_one(const UnitTrapezoid& part, const double* x, double* t) noexcept {
    std::int32_t k = 0;
    for (; k + GROUP <= part.n_pivots; k += GROUP) columns_of<GROUP>(part, k, 0).reduce_one(x + k, t);
    if (k + 2 <= part.n_pivots) columns_of<2>(part, k, 0).reduce_one(x + k, t), k += 2;
    if (k < part.n_pivots) columns_of<1>(part, k, 0).reduce_one(x + k, t);
}

void collect_one(const UnitTrapezoid& part, double* x, const double* t) noexcept {
    std::int32_t k = 0;
    for (; k + GROUP <= part.n_pivots; k += GROUP) columns_of<GROUP>(part, k, 0).collect_one(x + k, t);
    if (k + 2 <= part.n_pivots) columns_of<2>(part, k, 0).collect_one(x + k, t), k += 2;
    if (k < part.n_pivots) columns_of<1>(part, k, 0).collect_one(x + k, t);
}

constexpr FrontSubstitution LOOPS{forward_one, forward, backward_one, backward,
                                  reduce_one,  reduce,  collect_one,  collect};

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
