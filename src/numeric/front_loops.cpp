#include "numeric/front_loops.h"

#include "platform/simd.h"

#include <cmath>

namespace vyr {

namespace {

using simd::at;
using simd::LANES;
using simd::Vec;

VYR_INLINE double max_abs_body(std::int32_t n, const double* x) noexcept {
    Vec most = {};
    std::int32_t i = 0;
    for (; i + LANES <= n; i += LANES) {
        const Vec v = at(x + i).v;
        const Vec magnitude = v < 0 ? -v : v;
        most = magnitude > most ? magnitude : most;
    }
    double result = 0;
    for (std::int32_t q = 0; q < LANES; ++q) result = most[q] > result ? most[q] : result;
    for (; i < n; ++i) result = std::fabs(x[i]) > result ? std::fabs(x[i]) : result;
    return result;
}

/// The last few rows of a tile of WIDTH columns, `count` of them, fewer than a vector.
template <std::int32_t WIDTH>
VYR_INLINE void reduce_rest(std::int32_t count, std::int32_t depth, const double* l, std::int64_t ldl,
                            const double* w, std::int64_t ldw, double* a, std::int64_t lda) noexcept {
    Vec sum[WIDTH] = {};
    for (std::int32_t k = 0; k < depth; ++k) {
        Vec left = {};
        for (std::int32_t i = 0; i < count; ++i) left[i] = l[k * ldl + i];
        for (std::int32_t q = 0; q < WIDTH; ++q) sum[q] += left * w[k * ldw + q];
    }
    for (std::int32_t q = 0; q < WIDTH; ++q)
        for (std::int32_t i = 0; i < count; ++i) a[q * lda + i] -= sum[q][i];
}

/// WIDTH columns in registers, eight rows at a time, over the whole depth.
template <std::int32_t WIDTH>
VYR_INLINE void reduce_columns(std::int32_t n_rows, std::int32_t depth, const double* l, std::int64_t ldl,
                               const double* w, std::int64_t ldw, double* a, std::int64_t lda) noexcept {
    std::int32_t i = 0;
    for (; i + LANES <= n_rows; i += LANES) {
        Vec sum[WIDTH];
        for (std::int32_t q = 0; q < WIDTH; ++q) sum[q] = at(a + i + q * lda).v;
        for (std::int32_t k = 0; k < depth; ++k) {
            const Vec left = at(l + i + k * ldl).v;
            for (std::int32_t q = 0; q < WIDTH; ++q) sum[q] -= left * w[k * ldw + q];
        }
        for (std::int32_t q = 0; q < WIDTH; ++q) at(a + i + q * lda).v = sum[q];
    }
    if (i < n_rows) reduce_rest<WIDTH>(n_rows - i, depth, l + i, ldl, w, ldw, a + i, lda);
}

VYR_INLINE void reduce_body(std::int32_t n_rows, std::int32_t n_columns, std::int32_t depth, const double* l,
                            std::int64_t ldl, const double* w, std::int64_t ldw, double* a,
                            std::int64_t lda) noexcept {
    constexpr std::int32_t TILE = 4;
    std::int32_t j = 0;
    for (; j + TILE <= n_columns; j += TILE)
        reduce_columns<TILE>(n_rows - j, depth, l + j, ldl, w + j, ldw, a + j + j * lda, lda);
    for (; j < n_columns; ++j)
        reduce_columns<1>(n_rows - j, depth, l + j, ldl, w + j, ldw, a + j + j * lda, lda);
}

VYR_INLINE void divide_body(std::int32_t n, const double* w, double d, double* l) noexcept {
    std::int32_t i = 0;
    for (; i + LANES <= n; i += LANES) at(l + i).v = at(w + i).v / d;
    for (; i < n; ++i) l[i] = w[i] / d;
}

#define VYR_BUILD_LOOPS(name, target)                                                                        \
    target double max_abs_##name(std::int32_t n, const double* x) noexcept {                                 \
        return max_abs_body(n, x);                                                                           \
    }                                                                                                        \
    target void reduce_##name(std::int32_t n_rows, std::int32_t n_columns, std::int32_t depth,               \
                              const double* l, std::int64_t ldl, const double* w, std::int64_t ldw,          \
                              double* a, std::int64_t lda) noexcept {                                        \
        reduce_body(n_rows, n_columns, depth, l, ldl, w, ldw, a, lda);                                       \
    }                                                                                                        \
    target void divide_##name(std::int32_t n, const double* w, double d, double* l) noexcept {               \
        divide_body(n, w, d, l);                                                                             \
    }                                                                                                        \
    constexpr FrontLoops LOOPS_##name{max_abs_##name, reduce_##name, divide_##name};

VYR_BUILD_LOOPS(baseline, )
VYR_BUILD_LOOPS(avx2, VYR_TARGET_AVX2)
VYR_BUILD_LOOPS(avx512, VYR_TARGET_AVX512)

} // namespace

const FrontLoops& mf_front_loops(simd::InstructionSet instructions) noexcept {
    return simd::choose(instructions, LOOPS_baseline, LOOPS_avx2, LOOPS_avx512);
}

} // namespace vyr
