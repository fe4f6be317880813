#include "solve/node_steps.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "solve/panel_loops.cpp"
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
constexpr std::int32_t TILE = 4; ///< columns of the block taken at a time

/// target[t] -= sum over k < depth of column t's entry k times y[k], for COLUMNS columns of the block and
/// VECS vectors of right-hand sides; all sums stay in registers.
template <std::int32_t COLUMNS, std::int32_t VECS>
HWY_INLINE void subtract_dots(const double* column, std::int64_t ld, std::int32_t depth, const double* y,
                              std::int64_t stride, double* const* target) noexcept {
    const Tag d;
    Vec sum[COLUMNS][VECS];
    VYR_UNROLL
    for (std::int32_t t = 0; t < COLUMNS; ++t) VYR_UNROLL
    for (std::int32_t v = 0; v < VECS; ++v) sum[t][v] = hn::Zero(d);
    for (std::int32_t k = 0; k < depth; ++k) {
        const double* source = y + k * stride;
        VYR_UNROLL
        for (std::int32_t v = 0; v < VECS; ++v) {
            const Vec value = hn::LoadU(d, source + v * LANES);
            VYR_UNROLL
            for (std::int32_t t = 0; t < COLUMNS; ++t)
                sum[t][v] = hn::MulAdd(hn::Set(d, column[k + t * ld]), value, sum[t][v]);
        }
    }
    VYR_UNROLL
    for (std::int32_t t = 0; t < COLUMNS; ++t) VYR_UNROLL
    for (std::int32_t v = 0; v < VECS; ++v) {
        double* here = target[t] + v * LANES;
        hn::StoreU(hn::Sub(hn::LoadU(d, here), sum[t][v]), d, here);
    }
}

/// y[k] -= sum over the columns of column t's entry k times x[t], for k < depth.
template <std::int32_t COLUMNS, std::int32_t VECS>
HWY_INLINE void subtract_products(const double* column, std::int64_t ld, std::int32_t depth, double* y,
                                  std::int64_t stride, const double* const* x) noexcept {
    const Tag d;
    Vec value[COLUMNS][VECS];
    VYR_UNROLL
    for (std::int32_t t = 0; t < COLUMNS; ++t) VYR_UNROLL
    for (std::int32_t v = 0; v < VECS; ++v) value[t][v] = hn::LoadU(d, x[t] + v * LANES);
    for (std::int32_t k = 0; k < depth; ++k) {
        double* target = y + k * stride;
        VYR_UNROLL
        for (std::int32_t v = 0; v < VECS; ++v) {
            Vec rest = hn::LoadU(d, target + v * LANES);
            VYR_UNROLL
            for (std::int32_t t = 0; t < COLUMNS; ++t)
                rest = hn::NegMulAdd(hn::Set(d, column[k + t * ld]), value[t][v], rest);
            hn::StoreU(rest, d, target + v * LANES);
        }
    }
}

template <std::int32_t VECS>
HWY_INLINE void divide(double* values, double divisor) noexcept {
    const Tag d;
    VYR_UNROLL
    for (std::int32_t v = 0; v < VECS; ++v) {
        double* here = values + v * LANES;
        hn::StoreU(hn::Div(hn::LoadU(d, here), hn::Set(d, divisor)), d, here);
    }
}

/// One pass over the node for VECS vectors of right-hand sides; `w` points at the first of them.
template <std::int32_t VECS>
HWY_INLINE void forward_pass(const mf_snode& node, const double* block, double* w,
                             std::int64_t stride) noexcept {
    const std::int32_t npiv = node.npiv;
    double* pivots = w + node.first() * stride;
    const double* column = block;
    for (std::int32_t k = 0; k < npiv; ++k, column += npiv) {
        double* target = pivots + k * stride;
        subtract_dots<1, VECS>(column, npiv, k, pivots, stride, &target);
        divide<VECS>(target, column[k]);
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
HWY_INLINE void backward_pass(const mf_snode& node, const double* block, double* w,
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
        divide<VECS>(solved, column[k]);
        subtract_products<1, VECS>(column, npiv, k, pivots, stride, &solved);
    }
}

constexpr std::int32_t MOST_VECS = 16 / LANES > 4 ? 4 : 16 / LANES; ///< right-hand sides kept in registers

void forward(const mf_snode& node, const double* block, double* w, std::int64_t stride) noexcept {
    std::int64_t r = 0;
    for (; r + MOST_VECS * LANES <= stride; r += MOST_VECS * LANES)
        forward_pass<MOST_VECS>(node, block, w + r, stride);
    for (; r < stride; r += LANES) forward_pass<1>(node, block, w + r, stride);
}

void backward(const mf_snode& node, const double* block, double* w, std::int64_t stride) noexcept {
    std::int64_t r = 0;
    for (; r + MOST_VECS * LANES <= stride; r += MOST_VECS * LANES)
        backward_pass<MOST_VECS>(node, block, w + r, stride);
    for (; r < stride; r += LANES) backward_pass<1>(node, block, w + r, stride);
}

constexpr PanelLoops LOOPS{forward, backward};

} // namespace HWY_NAMESPACE
} // namespace
} // namespace vyr
HWY_AFTER_NAMESPACE();

// NOLINTEND(bugprone-implicit-widening-of-multiplication-result)

#if HWY_ONCE
namespace vyr {

const PanelLoops& mf_panel_loops(InstructionSet instructions) noexcept {
    return VYR_CHOOSE(instructions, LOOPS);
}

} // namespace vyr
#endif
