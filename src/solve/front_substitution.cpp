// Four columns of L at a time: each is read once, and the right-hand sides a quarter as often as by columns.
#include "solve/front_substitution.h"

#include <algorithm>

namespace vyr {

namespace {

using simd::at;
using simd::LANES;
using simd::Vec;

constexpr std::int32_t GROUP = 4;

/// WIDTH vectors of right-hand sides, which start at t.
template <std::int32_t WIDTH>
struct Lanes {
    Vec v[WIDTH];

    VYR_INLINE Lanes load(const double* t) noexcept {
        Lanes x;
        for (std::int64_t q = 0; q < WIDTH; ++q) x.v[q] = at(t + q * LANES).v;
        return x;
    }
    VYR_INLINE void store(const Lanes& x, double* t) noexcept {
        for (std::int64_t q = 0; q < WIDTH; ++q) at(t + q * LANES).v = x.v[q];
    }
    VYR_INLINE void subtract(Lanes& x, double factor, const Lanes& y) noexcept {
        for (std::int32_t q = 0; q < WIDTH; ++q) x.v[q] -= factor * y.v[q];
    }
};

template <std::int32_t WIDTH>
VYR_INLINE void forward_lanes(const UnitTrapezoid& front, double* t, std::int64_t stride) noexcept {
    using X = Lanes<WIDTH>;
    const std::int64_t ld = front.n_rows;
    for (std::int32_t k = 0; k < front.n_pivots; k += GROUP) {
        const std::int32_t depth = std::min(GROUP, front.n_pivots - k);
        const double* l = front.l + k * ld;
        X x[GROUP] = {};
        for (std::int32_t q = 0; q < depth; ++q) {
            x[q] = X::load(t + (k + q) * stride);
            for (std::int32_t p = 0; p < q; ++p) X::subtract(x[q], l[k + q + p * ld], x[p]);
            X::store(x[q], t + (k + q) * stride);
        }
        for (std::int32_t i = k + depth; i < front.n_rows; ++i) {
            X target = X::load(t + i * stride);
            if (depth == GROUP)
                for (std::int32_t q = 0; q < GROUP; ++q) X::subtract(target, l[i + q * ld], x[q]);
            else
                for (std::int32_t q = 0; q < depth; ++q) X::subtract(target, l[i + q * ld], x[q]);
            X::store(target, t + i * stride);
        }
    }
}

template <std::int32_t WIDTH>
VYR_INLINE void backward_lanes(const UnitTrapezoid& front, double* t, std::int64_t stride) noexcept {
    using X = Lanes<WIDTH>;
    const std::int64_t ld = front.n_rows;
    for (std::int32_t end = front.n_pivots; end > 0; end -= GROUP) {
        const std::int32_t k = std::max(end - GROUP, 0), depth = end - k;
        const double* l = front.l + k * ld;
        X x[GROUP] = {};
        for (std::int32_t q = 0; q < depth; ++q) x[q] = X::load(t + (k + q) * stride);
        for (std::int32_t i = end; i < front.n_rows; ++i) {
            const X source = X::load(t + i * stride);
            if (depth == GROUP)
                for (std::int32_t q = 0; q < GROUP; ++q) X::subtract(x[q], l[i + q * ld], source);
            else
                for (std::int32_t q = 0; q < depth; ++q) X::subtract(x[q], l[i + q * ld], source);
        }
        for (std::int32_t q = depth - 1; q >= 0; --q) {
            for (std::int32_t p = q + 1; p < depth; ++p) X::subtract(x[q], l[k + p + q * ld], x[p]);
            X::store(x[q], t + (k + q) * stride);
        }
    }
}

VYR_INLINE void forward_body(const UnitTrapezoid& front, double* t, std::int64_t stride) noexcept {
    constexpr std::int64_t TWO = std::int64_t{2} * LANES;
    std::int64_t lane = 0;
    for (; lane + TWO <= stride; lane += TWO) forward_lanes<2>(front, t + lane, stride);
    if (lane < stride) forward_lanes<1>(front, t + lane, stride);
}

VYR_INLINE void backward_body(const UnitTrapezoid& front, double* t, std::int64_t stride) noexcept {
    constexpr std::int64_t TWO = std::int64_t{2} * LANES;
    std::int64_t lane = 0;
    for (; lane + TWO <= stride; lane += TWO) backward_lanes<2>(front, t + lane, stride);
    if (lane < stride) backward_lanes<1>(front, t + lane, stride);
}

VYR_INLINE void forward_one_body(const UnitTrapezoid& front, double* t) noexcept {
    const std::int64_t ld = front.n_rows;
    for (std::int32_t k = 0; k < front.n_pivots; k += GROUP) {
        const std::int32_t depth = std::min(GROUP, front.n_pivots - k);
        const double* l = front.l + k * ld;
        double x[GROUP] = {};
        for (std::int32_t q = 0; q < depth; ++q) {
            x[q] = t[k + q];
            for (std::int32_t p = 0; p < q; ++p) x[q] -= l[k + q + p * ld] * x[p];
            t[k + q] = x[q];
        }
        const std::int64_t other[GROUP] = {0, depth > 1 ? ld : 0, depth > 2 ? 2 * ld : 0,
                                           depth > 3 ? 3 * ld : 0};
        std::int32_t i = k + depth;
        for (; i + LANES <= front.n_rows; i += LANES) {
            Vec target = at(t + i).v;
            for (std::int32_t q = 0; q < GROUP; ++q) target -= x[q] * at(l + i + other[q]).v;
            at(t + i).v = target;
        }
        for (; i < front.n_rows; ++i)
            for (std::int32_t q = 0; q < depth; ++q) t[i] -= x[q] * l[i + q * ld];
    }
}

VYR_INLINE void backward_one_body(const UnitTrapezoid& front, double* t) noexcept {
    const std::int64_t ld = front.n_rows;
    for (std::int32_t end = front.n_pivots; end > 0; end -= GROUP) {
        const std::int32_t k = std::max(end - GROUP, 0), depth = end - k;
        const double* l = front.l + k * ld;
        Vec sum[GROUP] = {};
        const std::int64_t other[GROUP] = {0, depth > 1 ? ld : 0, depth > 2 ? 2 * ld : 0,
                                           depth > 3 ? 3 * ld : 0};
        std::int32_t i = end;
        for (; i + LANES <= front.n_rows; i += LANES) {
            const Vec source = at(t + i).v;
            for (std::int32_t q = 0; q < GROUP; ++q) sum[q] += source * at(l + i + other[q]).v;
        }
        for (std::int32_t q = depth - 1; q >= 0; --q) {
            double x = t[k + q];
            for (std::int32_t p = 0; p < LANES; ++p) x -= sum[q][p];
            for (std::int32_t r = i; r < front.n_rows; ++r) x -= l[r + q * ld] * t[r];
            for (std::int32_t p = q + 1; p < depth; ++p) x -= l[k + p + q * ld] * t[k + p];
            t[k + q] = x;
        }
    }
}

#define VYR_BUILD_LOOPS(name, target)                                                                        \
    target void forward_one_##name(const UnitTrapezoid& front, double* t) noexcept {                         \
        forward_one_body(front, t);                                                                          \
    }                                                                                                        \
    target void backward_one_##name(const UnitTrapezoid& front, double* t) noexcept {                        \
        backward_one_body(front, t);                                                                         \
    }                                                                                                        \
    target void forward_##name(const UnitTrapezoid& front, double* t, std::int64_t stride) noexcept {        \
        forward_body(front, t, stride);                                                                      \
    }                                                                                                        \
    target void backward_##name(const UnitTrapezoid& front, double* t, std::int64_t stride) noexcept {       \
        backward_body(front, t, stride);                                                                     \
    }                                                                                                        \
    constexpr FrontSubstitution LOOPS_##name{forward_one_##name, forward_##name, backward_one_##name,        \
                                             backward_##name};

VYR_BUILD_LOOPS(baseline, )
VYR_BUILD_LOOPS(avx2, VYR_TARGET_AVX2)
VYR_BUILD_LOOPS(avx512, VYR_TARGET_AVX512)

} // namespace

const FrontSubstitution& mf_front_substitution(simd::InstructionSet instructions) noexcept {
    return simd::choose(instructions, LOOPS_baseline, LOOPS_avx2, LOOPS_avx512);
}

} // namespace vyr
