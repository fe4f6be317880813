#include "core/tuning.h"
#include "solve/sweep_loops.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "solve/vector_sweep_loops.cpp"
#include "platform/highway.h"

HWY_BEFORE_NAMESPACE();
namespace vyr {
namespace {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;
using Tag = hn::CappedTag<double, PANEL_LANES>;
using Vec = hn::Vec<Tag>;

constexpr std::int32_t LANES = static_cast<std::int32_t>(hn::MaxLanes(Tag()));
constexpr std::int32_t TILE = 4; ///< columns taken at a time

/// Asks for the entries of COLUMNS columns that are wanted some tiles later.
template <std::int32_t COLUMNS>
HWY_INLINE void prefetch(const double* entry, std::int64_t ld, std::int64_t ahead) noexcept {
    VYR_UNROLL
    for (std::int32_t t = 0; t < COLUMNS; ++t) __builtin_prefetch(entry + ahead + t * ld);
}

/// sum[t] := column t's first `depth` entries times x.
template <std::int32_t COLUMNS>
HWY_INLINE void dots(const double* column, std::int64_t ld, std::int32_t depth, const double* x,
                     double (&sum)[COLUMNS], std::int64_t ahead = 0) noexcept {
    const Tag d;
    Vec partial[COLUMNS];
    VYR_UNROLL
    for (std::int32_t t = 0; t < COLUMNS; ++t) partial[t] = hn::Zero(d);
    std::int32_t k = 0;
    for (; k + LANES <= depth; k += LANES) {
        const Vec value = hn::LoadU(d, x + k);
        if (ahead > 0) prefetch<COLUMNS>(column + k, ld, ahead);
        VYR_UNROLL
        for (std::int32_t t = 0; t < COLUMNS; ++t)
            partial[t] = hn::MulAdd(hn::LoadU(d, column + k + t * ld), value, partial[t]);
    }
    if constexpr (LANES > 2) {
        if (k < depth) {
            const auto rest = hn::FirstN(d, static_cast<std::size_t>(depth - k));
            const Vec value = hn::MaskedLoad(rest, d, x + k);
            VYR_UNROLL
            for (std::int32_t t = 0; t < COLUMNS; ++t)
                partial[t] = hn::MulAdd(hn::MaskedLoad(rest, d, column + k + t * ld), value, partial[t]);
            k = depth;
        }
    }
    VYR_UNROLL
    for (std::int32_t t = 0; t < COLUMNS; ++t) sum[t] = hn::GetLane(hn::SumOfLanes(d, partial[t]));
    for (; k < depth; ++k)
        for (std::int32_t t = 0; t < COLUMNS; ++t) sum[t] += column[k + t * ld] * x[k];
}

/// y[k] -= the columns' entries k times value[t], for k < depth. The columns are summed up first: y, which is
/// larger, is rounded once for all of them.
template <std::int32_t COLUMNS>
HWY_INLINE void subtract_products(const double* column, std::int64_t ld, std::int32_t depth, double* y,
                                  const double (&value)[COLUMNS], std::int64_t ahead = 0) noexcept {
    const Tag d;
    Vec factor[COLUMNS];
    VYR_UNROLL
    for (std::int32_t t = 0; t < COLUMNS; ++t) factor[t] = hn::Set(d, value[t]);
    std::int32_t k = 0;
    for (; k + LANES <= depth; k += LANES) {
        if (ahead > 0) prefetch<COLUMNS>(column + k, ld, ahead);
        Vec sum = hn::Mul(hn::LoadU(d, column + k), factor[0]);
        VYR_UNROLL
        for (std::int32_t t = 1; t < COLUMNS; ++t)
            sum = hn::MulAdd(hn::LoadU(d, column + k + t * ld), factor[t], sum);
        hn::StoreU(hn::Sub(hn::LoadU(d, y + k), sum), d, y + k);
    }
    if constexpr (LANES > 2) {
        if (k < depth) {
            const auto rest = hn::FirstN(d, static_cast<std::size_t>(depth - k));
            Vec sum = hn::Mul(hn::MaskedLoad(rest, d, column + k), factor[0]);
            VYR_UNROLL
            for (std::int32_t t = 1; t < COLUMNS; ++t)
                sum = hn::MulAdd(hn::MaskedLoad(rest, d, column + k + t * ld), factor[t], sum);
            hn::BlendedStore(hn::Sub(hn::MaskedLoad(rest, d, y + k), sum), rest, d, y + k);
            k = depth;
        }
    }
    for (; k < depth; ++k) {
        double sum = column[k] * value[0];
        for (std::int32_t t = 1; t < COLUMNS; ++t) sum += column[k + t * ld] * value[t];
        y[k] -= sum;
    }
}

/// Whole tiles, and at least so many bytes that memory has answered by then.
std::int64_t prefetch_distance(const BlockPart& part) noexcept {
    const std::int64_t tile = TILE * part.ld;
    return tile * (1 + tuning::SOLVE_PREFETCH_BYTES / 8 / tile);
}

template <std::int32_t COLUMNS>
HWY_INLINE void forward_pivots(const BlockPart& part, std::int32_t k, double* x) noexcept {
    const double* column = part.a + k * part.ld;
    double sum[COLUMNS];
    dots<COLUMNS>(column, part.ld, k, x, sum);
    for (std::int32_t t = 0; t < COLUMNS; ++t, column += part.ld) {
        double value = x[k + t] - sum[t];
        for (std::int32_t l = k; l < k + t; ++l) value -= column[l] * x[l];
        x[k + t] = value / column[k + t];
    }
}

// Narrow nodes go by scalars, or keep x in a register: a part of a vector that has just been stored is not
// forwarded to the next load.

void solve_transposed(const BlockPart& part, double* x, std::int64_t) noexcept {
    std::int32_t k = 0;
    if (part.width <= LANES) {
        for (const double* column = part.a; k < part.width; ++k, column += part.ld) {
            double value = x[k];
            for (std::int32_t l = 0; l < k; ++l) value -= column[l] * x[l];
            x[k] = value / column[k];
        }
        return;
    }
    for (; k + TILE <= part.width; k += TILE) forward_pivots<TILE>(part, k, x);
    for (; k < part.width; ++k) forward_pivots<1>(part, k, x);
}

template <std::int32_t COLUMNS>
HWY_INLINE void backward_pivots(const BlockPart& part, std::int32_t k, double* x) noexcept {
    const double* first = part.a + k * part.ld;
    double value[COLUMNS];
    for (std::int32_t t = COLUMNS - 1; t >= 0; --t) {
        double rest = x[k + t];
        for (std::int32_t u = t + 1; u < COLUMNS; ++u) rest -= first[k + t + u * part.ld] * value[u];
        x[k + t] = value[t] = rest / first[k + t + t * part.ld];
    }
    subtract_products<COLUMNS>(first, part.ld, k, x, value);
}

void solve(const BlockPart& part, double* x, std::int64_t) noexcept {
    std::int32_t k = part.width;
    if (k <= LANES) {
        while (k-- > 0) {
            const double* column = part.a + k * part.ld;
            const double value = x[k] /= column[k];
            for (std::int32_t l = 0; l < k; ++l) x[l] -= column[l] * value;
        }
        return;
    }
    for (; k % TILE != 0; --k) backward_pivots<1>(part, k - 1, x);
    for (; k > 0; k -= TILE) backward_pivots<TILE>(part, k - TILE, x);
}

void reduce(const BlockPart& part, const double* x, double* w, const std::int32_t* rows,
            std::int64_t) noexcept {
    const double* column = part.a;
    const std::int64_t ahead = prefetch_distance(part);
    std::int32_t j = 0;
    for (; j + TILE <= part.width; j += TILE, column += TILE * part.ld) {
        double sum[TILE];
        dots<TILE>(column, part.ld, part.height, x, sum, ahead);
        for (std::int32_t t = 0; t < TILE; ++t) w[rows[j + t]] -= sum[t];
    }
    for (; j < part.width; ++j, column += part.ld) {
        double sum[1];
        dots<1>(column, part.ld, part.height, x, sum);
        w[rows[j]] -= sum[0];
    }
}

/// collect() for at most one vector of x.
void collect_narrow(const BlockPart& part, double* x, const double* w, const std::int32_t* rows) noexcept {
    const Tag d;
    const auto part_of = hn::FirstN(d, static_cast<std::size_t>(part.height));
    const double* column = part.a;
    Vec even = hn::Zero(d), odd = hn::Zero(d);
    std::int32_t j = 0;
    for (; j + 2 <= part.width; j += 2, column += 2 * part.ld) {
        even = hn::MulAdd(hn::MaskedLoad(part_of, d, column), hn::Set(d, w[rows[j]]), even);
        odd = hn::MulAdd(hn::MaskedLoad(part_of, d, column + part.ld), hn::Set(d, w[rows[j + 1]]), odd);
    }
    if (j < part.width) even = hn::MulAdd(hn::MaskedLoad(part_of, d, column), hn::Set(d, w[rows[j]]), even);
    const Vec rest = hn::Sub(hn::MaskedLoad(part_of, d, x), hn::Add(even, odd));
    hn::BlendedStore(rest, part_of, d, x);
}

void collect(const BlockPart& part, double* x, const double* w, const std::int32_t* rows,
             std::int64_t) noexcept {
    if (LANES > 2 && part.height <= LANES) {
        collect_narrow(part, x, w, rows);
        return;
    }
    const double* column = part.a;
    const std::int64_t ahead = prefetch_distance(part);
    std::int32_t j = 0;
    for (; j + TILE <= part.width; j += TILE, column += TILE * part.ld) {
        const double value[TILE] = {w[rows[j]], w[rows[j + 1]], w[rows[j + 2]], w[rows[j + 3]]};
        subtract_products<TILE>(column, part.ld, part.height, x, value, ahead);
    }
    for (; j < part.width; ++j, column += part.ld) {
        const double value[1] = {w[rows[j]]};
        subtract_products<1>(column, part.ld, part.height, x, value);
    }
}

constexpr SweepLoops LOOPS{solve_transposed, solve, reduce, collect};

} // namespace HWY_NAMESPACE
} // namespace
} // namespace vyr
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vyr {

const SweepLoops& mf_vector_sweep_loops(InstructionSet instructions) noexcept {
    return VYR_CHOOSE(instructions, LOOPS);
}

} // namespace vyr
#endif
