#include "solve/sweep_loops.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "solve/panel_sweep_loops.cpp"
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

/// y[k] -= sum over the columns of column t's entry k times x[t], for k < depth. The columns are summed up
/// first: y, which is larger, is rounded once for all of them.
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
            Vec sum = hn::Mul(hn::Set(d, column[k]), value[0][v]);
            VYR_UNROLL
            for (std::int32_t t = 1; t < COLUMNS; ++t)
                sum = hn::MulAdd(hn::Set(d, column[k + t * ld]), value[t][v], sum);
            hn::StoreU(hn::Sub(hn::LoadU(d, target + v * LANES), sum), d, target + v * LANES);
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

/// Pivots [k, k + COLUMNS), all of them reduced by the pivots above k together and then by each other.
template <std::int32_t COLUMNS, std::int32_t VECS>
HWY_INLINE void forward_pivots(const BlockPart& part, std::int32_t k, double* x,
                               std::int64_t stride) noexcept {
    const double* column = part.a + k * part.ld;
    double* target[COLUMNS];
    for (std::int32_t t = 0; t < COLUMNS; ++t) target[t] = x + (k + t) * stride;
    subtract_dots<COLUMNS, VECS>(column, part.ld, k, x, stride, target);
    for (std::int32_t t = 0; t < COLUMNS; ++t, column += part.ld) {
        subtract_dots<1, VECS>(column + k, part.ld, t, target[0], stride, target + t);
        divide<VECS>(target[t], column[k + t]);
    }
}

/// The same way back, pivots [0, k) being reduced by them.
template <std::int32_t COLUMNS, std::int32_t VECS>
HWY_INLINE void backward_pivots(const BlockPart& part, std::int32_t k, double* x,
                                std::int64_t stride) noexcept {
    const double* column = part.a + k * part.ld;
    double* solved[COLUMNS];
    for (std::int32_t t = 0; t < COLUMNS; ++t) solved[t] = x + (k + t) * stride;
    for (std::int32_t t = COLUMNS - 1; t >= 0; --t) {
        const double* entries = column + t * part.ld + k;
        divide<VECS>(solved[t], entries[t]);
        subtract_products<1, VECS>(entries, part.ld, t, solved[0], stride, solved + t);
    }
    subtract_products<COLUMNS, VECS>(column, part.ld, k, x, stride, solved);
}

// Each of these for VECS vectors of right-hand sides; x and w point at the first of them.

template <std::int32_t VECS>
HWY_INLINE void solve_transposed_pass(const BlockPart& part, double* x, std::int64_t stride) noexcept {
    std::int32_t k = 0;
    for (; k + TILE <= part.width; k += TILE) forward_pivots<TILE, VECS>(part, k, x, stride);
    for (; k < part.width; ++k) forward_pivots<1, VECS>(part, k, x, stride);
}

template <std::int32_t VECS>
HWY_INLINE void solve_pass(const BlockPart& part, double* x, std::int64_t stride) noexcept {
    std::int32_t k = part.width;
    for (; k % TILE != 0; --k) backward_pivots<1, VECS>(part, k - 1, x, stride);
    for (; k > 0; k -= TILE) backward_pivots<TILE, VECS>(part, k - TILE, x, stride);
}

template <std::int32_t VECS>
HWY_INLINE void reduce_pass(const BlockPart& part, const double* x, double* w, const std::int32_t* rows,
                            std::int64_t stride) noexcept {
    const double* column = part.a;
    std::int32_t j = 0;
    for (; j + TILE <= part.width; j += TILE, column += TILE * part.ld) {
        double* const target[TILE] = {w + rows[j] * stride, w + rows[j + 1] * stride,
                                      w + rows[j + 2] * stride, w + rows[j + 3] * stride};
        subtract_dots<TILE, VECS>(column, part.ld, part.height, x, stride, target);
    }
    for (; j < part.width; ++j, column += part.ld) {
        double* target = w + rows[j] * stride;
        subtract_dots<1, VECS>(column, part.ld, part.height, x, stride, &target);
    }
}

template <std::int32_t VECS>
HWY_INLINE void collect_pass(const BlockPart& part, double* x, const double* w, const std::int32_t* rows,
                             std::int64_t stride) noexcept {
    const double* column = part.a;
    std::int32_t j = 0;
    for (; j + TILE <= part.width; j += TILE, column += TILE * part.ld) {
        const double* const solved[TILE] = {w + rows[j] * stride, w + rows[j + 1] * stride,
                                            w + rows[j + 2] * stride, w + rows[j + 3] * stride};
        subtract_products<TILE, VECS>(column, part.ld, part.height, x, stride, solved);
    }
    for (; j < part.width; ++j, column += part.ld) {
        const double* solved = w + rows[j] * stride;
        subtract_products<1, VECS>(column, part.ld, part.height, x, stride, &solved);
    }
}

constexpr std::int32_t MOST_VECS = 16 / LANES > 4 ? 4 : 16 / LANES; ///< right-hand sides kept in registers

void solve_transposed(const BlockPart& part, double* x, std::int64_t stride) noexcept {
    std::int64_t r = 0;
    for (; r + MOST_VECS * LANES <= stride; r += MOST_VECS * LANES)
        solve_transposed_pass<MOST_VECS>(part, x + r, stride);
    for (; r < stride; r += LANES) solve_transposed_pass<1>(part, x + r, stride);
}

void solve(const BlockPart& part, double* x, std::int64_t stride) noexcept {
    std::int64_t r = 0;
    for (; r + MOST_VECS * LANES <= stride; r += MOST_VECS * LANES)
        solve_pass<MOST_VECS>(part, x + r, stride);
    for (; r < stride; r += LANES) solve_pass<1>(part, x + r, stride);
}

void reduce(const BlockPart& part, const double* x, double* w, const std::int32_t* rows,
            std::int64_t stride) noexcept {
    std::int64_t r = 0;
    for (; r + MOST_VECS * LANES <= stride; r += MOST_VECS * LANES)
        reduce_pass<MOST_VECS>(part, x + r, w + r, rows, stride);
    for (; r < stride; r += LANES) reduce_pass<1>(part, x + r, w + r, rows, stride);
}

void collect(const BlockPart& part, double* x, const double* w, const std::int32_t* rows,
             std::int64_t stride) noexcept {
    std::int64_t r = 0;
    for (; r + MOST_VECS * LANES <= stride; r += MOST_VECS * LANES)
        collect_pass<MOST_VECS>(part, x + r, w + r, rows, stride);
    for (; r < stride; r += LANES) collect_pass<1>(part, x + r, w + r, rows, stride);
}

constexpr SweepLoops LOOPS{solve_transposed, solve, reduce, collect};

} // namespace HWY_NAMESPACE
} // namespace
} // namespace vyr
HWY_AFTER_NAMESPACE();

// NOLINTEND(bugprone-implicit-widening-of-multiplication-result)

#if HWY_ONCE
namespace vyr {

const SweepLoops& mf_panel_sweep_loops(InstructionSet instructions) noexcept {
    return VYR_CHOOSE(instructions, LOOPS);
}

} // namespace vyr
#endif
