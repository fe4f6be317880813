#include "solve/node_steps.h"

// Vectors of a tile are counted, not entries: their products are small.
// NOLINTBEGIN(bugprone-implicit-widening-of-multiplication-result)

namespace vyr {

namespace {

using simd::at;
using simd::LANES;
using simd::Vec;

constexpr std::int32_t TILE = 4; ///< columns of the block taken at a time

/// target[t] -= sum over k < depth of column t's entry k times y[k], for COLUMNS columns of the block and
/// VECS vectors of right-hand sides; all sums stay in registers.
template <std::int32_t COLUMNS, std::int32_t VECS>
VYR_INLINE void subtract_dots(const double* column, std::int64_t ld, std::int32_t depth, const double* y,
                              std::int64_t stride, double* const* target) noexcept {
    Vec sum[COLUMNS][VECS] = {};
    for (std::int32_t k = 0; k < depth; ++k) {
        const double* source = y + k * stride;
        for (std::int32_t v = 0; v < VECS; ++v) {
            const Vec value = at(source + v * LANES).v;
            for (std::int32_t t = 0; t < COLUMNS; ++t) sum[t][v] += column[k + t * ld] * value;
        }
    }
    for (std::int32_t t = 0; t < COLUMNS; ++t)
        for (std::int32_t v = 0; v < VECS; ++v) at(target[t] + v * LANES).v -= sum[t][v];
}

/// y[k] -= sum over the columns of column t's entry k times x[t], for k < depth.
template <std::int32_t COLUMNS, std::int32_t VECS>
VYR_INLINE void subtract_products(const double* column, std::int64_t ld, std::int32_t depth, double* y,
                                  std::int64_t stride, const double* const* x) noexcept {
    Vec value[COLUMNS][VECS];
    for (std::int32_t t = 0; t < COLUMNS; ++t)
        for (std::int32_t v = 0; v < VECS; ++v) value[t][v] = at(x[t] + v * LANES).v;
    for (std::int32_t k = 0; k < depth; ++k) {
        double* target = y + k * stride;
        for (std::int32_t v = 0; v < VECS; ++v) {
            Vec rest = at(target + v * LANES).v;
            for (std::int32_t t = 0; t < COLUMNS; ++t) rest -= column[k + t * ld] * value[t][v];
            at(target + v * LANES).v = rest;
        }
    }
}

/// One pass over the node for VECS vectors of right-hand sides; `w` points at the first of them.
template <std::int32_t VECS>
VYR_INLINE void forward_pass(const mf_snode& node, const double* block, double* w,
                             std::int64_t stride) noexcept {
    const std::int32_t npiv = node.npiv;
    double* pivots = w + node.first() * stride;
    const double* column = block;
    for (std::int32_t k = 0; k < npiv; ++k, column += npiv) {
        double* target = pivots + k * stride;
        subtract_dots<1, VECS>(column, npiv, k, pivots, stride, &target);
        for (std::int32_t v = 0; v < VECS; ++v) at(target + v * LANES).v /= column[k];
    }
    const std::int32_t* rows = node.update_rows();
    std::int32_t j = 0;
    for (; j + TILE <= node.nupd; j += TILE, column += TILE * static_cast<std::int64_t>(npiv)) {
        double* const target[TILE] = {w + rows[j] * stride, w + rows[j + 1] * stride,
                                      w + rows[j + 2] * stride, w + rows[j + 3] * stride};
        subtract_dots<TILE, VECS>(column, npiv, npiv, pivots, stride, target);
    }
    for (; j < node.nupd; ++j, column += npiv) {
        double* target = w + rows[j] * stride;
        subtract_dots<1, VECS>(column, npiv, npiv, pivots, stride, &target);
    }
}

template <std::int32_t VECS>
VYR_INLINE void backward_pass(const mf_snode& node, const double* block, double* w,
                              std::int64_t stride) noexcept {
    const std::int32_t npiv = node.npiv;
    double* pivots = w + node.first() * stride;
    const double* column = node.coupling(block);
    const std::int32_t* rows = node.update_rows();
    std::int32_t j = 0;
    for (; j + TILE <= node.nupd; j += TILE, column += TILE * static_cast<std::int64_t>(npiv)) {
        const double* const x[TILE] = {w + rows[j] * stride, w + rows[j + 1] * stride,
                                       w + rows[j + 2] * stride, w + rows[j + 3] * stride};
        subtract_products<TILE, VECS>(column, npiv, npiv, pivots, stride, x);
    }
    for (; j < node.nupd; ++j, column += npiv) {
        const double* x = w + rows[j] * stride;
        subtract_products<1, VECS>(column, npiv, npiv, pivots, stride, &x);
    }
    column = node.coupling(block);
    for (std::int32_t k = npiv - 1; k >= 0; --k) {
        column -= npiv;
        double* solved = pivots + k * stride;
        for (std::int32_t v = 0; v < VECS; ++v) at(solved + v * LANES).v /= column[k];
        subtract_products<1, VECS>(column, npiv, k, pivots, stride, &solved);
    }
}

VYR_INLINE void forward_body(const mf_snode& node, const double* block, double* w,
                             std::int64_t stride) noexcept {
    std::int64_t r = 0;
    for (; r + 2 * LANES <= stride; r += 2 * LANES) forward_pass<2>(node, block, w + r, stride);
    if (r < stride) forward_pass<1>(node, block, w + r, stride);
}

VYR_INLINE void backward_body(const mf_snode& node, const double* block, double* w,
                              std::int64_t stride) noexcept {
    std::int64_t r = 0;
    for (; r + 2 * LANES <= stride; r += 2 * LANES) backward_pass<2>(node, block, w + r, stride);
    if (r < stride) backward_pass<1>(node, block, w + r, stride);
}

#define VYR_BUILD_LOOPS(name, target)                                                                        \
    target void forward_##name(const mf_snode& node, const double* block, double* w,                         \
                               std::int64_t stride) noexcept {                                               \
        forward_body(node, block, w, stride);                                                                \
    }                                                                                                        \
    target void backward_##name(const mf_snode& node, const double* block, double* w,                        \
                                std::int64_t stride) noexcept {                                              \
        backward_body(node, block, w, stride);                                                               \
    }                                                                                                        \
    constexpr PanelLoops LOOPS_##name{forward_##name, backward_##name};

VYR_BUILD_LOOPS(baseline, )
VYR_BUILD_LOOPS(avx2, VYR_TARGET_AVX2)
VYR_BUILD_LOOPS(avx512, VYR_TARGET_AVX512)

} // namespace

const PanelLoops& mf_panel_loops(simd::InstructionSet instructions) noexcept {
    return simd::choose(instructions, LOOPS_baseline, LOOPS_avx2, LOOPS_avx512);
}

} // namespace vyr

// NOLINTEND(bugprone-implicit-widening-of-multiplication-result)
