#include "numeric/vector_loops.h"

#include "core/tuning.h"

#include <algorithm>
#include <cmath>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "numeric/vector_loops.cpp"
#include "platform/highway.h"
// One build of it for each set:
#include "platform/transpose-inl.h"

// Positions inside blocks of at most BASE_PIVOTS rows: their products are small.
// NOLINTBEGIN(bugprone-implicit-widening-of-multiplication-result)

HWY_BEFORE_NAMESPACE();
namespace vyr {
namespace {
namespace HWY_NAMESPACE {

using Tag = hn::ScalableTag<double>;
using Vec = hn::Vec<Tag>;

constexpr std::int32_t LANES = static_cast<std::int32_t>(hn::MaxLanes(Tag()));
constexpr std::int32_t MAX_PIVOTS = tuning::BASE_PIVOTS;

/// Row k of the factor at a time: its scaled rest is subtracted from the rows below (right-looking), on a
/// transposed copy so that a row is contiguous.
std::int32_t cholesky(std::int32_t n, double* a, std::int32_t ld) noexcept {
    const Tag d;
    alignas(64) double rows[MAX_PIVOTS * MAX_PIVOTS];
    const std::int32_t padded = (n + LANES - 1) / LANES * LANES;
    for (std::int32_t k = 0; k < n; ++k) {
        for (std::int32_t j = 0; j < k; ++j) rows[k * padded + j] = 0;
        for (std::int32_t j = k; j < n; ++j) rows[k * padded + j] = a[k + static_cast<std::int64_t>(j) * ld];
        for (std::int32_t j = n; j < padded; ++j) rows[k * padded + j] = 0;
    }
    std::int32_t info = 0;
    for (std::int32_t k = 0; k < n; ++k) {
        double* row = rows + k * padded;
        const double pivot = row[k];
        if (!(pivot > 0)) { // also when it is not a number
            info = k + 1;
            break;
        }
        const double root = std::sqrt(pivot);
        row[k] = root;
        for (std::int32_t j = k + 1; j < n; ++j) row[j] /= root;
        for (std::int32_t i = k + 1; i < n; ++i) {
            double* target = rows + i * padded;
            const Vec factor = hn::Set(d, row[i]);
            for (std::int32_t j = i / LANES * LANES; j < padded; j += LANES)
                hn::StoreU(hn::NegMulAdd(factor, hn::LoadU(d, row + j), hn::LoadU(d, target + j)), d,
                           target + j);
        }
    }
    for (std::int32_t k = 0; k < n; ++k)
        for (std::int32_t j = k; j < n; ++j) a[k + static_cast<std::int64_t>(j) * ld] = rows[k * padded + j];
    return info;
}

constexpr std::int32_t SOLVE_VECTORS = LANES > 4 ? 2 : 3;
constexpr std::int32_t SOLVE_WIDTH = SOLVE_VECTORS * LANES;

/// Rows [k, k + ROWS) of x, all of them reduced by the rows above k together and then by each other.
/// `inverse`: of the diagonal.
template <std::int32_t ROWS>
HWY_INLINE void solve_rows(std::int32_t k, const double* u, std::int64_t ld, const double* inverse,
                           double* x) noexcept {
    const Tag d;
    Vec sum[ROWS][SOLVE_VECTORS];
    VYR_UNROLL
    for (std::int32_t r = 0; r < ROWS; ++r) VYR_UNROLL
    for (std::int32_t v = 0; v < SOLVE_VECTORS; ++v)
        sum[r][v] = hn::LoadU(d, x + (k + r) * SOLVE_WIDTH + v * LANES);
    const double* column = u + k * ld;
    for (std::int32_t l = 0; l < k; ++l) {
        Vec above[SOLVE_VECTORS];
        VYR_UNROLL
        for (std::int32_t v = 0; v < SOLVE_VECTORS; ++v)
            above[v] = hn::LoadU(d, x + l * SOLVE_WIDTH + v * LANES);
        VYR_UNROLL
        for (std::int32_t r = 0; r < ROWS; ++r) {
            const Vec factor = hn::Set(d, column[l + r * ld]);
            VYR_UNROLL
            for (std::int32_t v = 0; v < SOLVE_VECTORS; ++v)
                sum[r][v] = hn::NegMulAdd(factor, above[v], sum[r][v]);
        }
    }
    VYR_UNROLL
    for (std::int32_t r = 0; r < ROWS; ++r) {
        VYR_UNROLL
        for (std::int32_t l = 0; l < r; ++l) {
            const Vec factor = hn::Set(d, column[k + l + r * ld]);
            VYR_UNROLL
            for (std::int32_t v = 0; v < SOLVE_VECTORS; ++v)
                sum[r][v] = hn::NegMulAdd(factor, sum[l][v], sum[r][v]);
        }
        const Vec factor = hn::Set(d, inverse[k + r]);
        VYR_UNROLL
        for (std::int32_t v = 0; v < SOLVE_VECTORS; ++v) {
            sum[r][v] = hn::Mul(sum[r][v], factor);
            hn::StoreU(sum[r][v], d, x + (k + r) * SOLVE_WIDTH + v * LANES);
        }
    }
}

/// Forward substitution for some vectors of right-hand sides at a time, held transposed.
void solve(std::int32_t n, const double* u, std::int32_t ld, std::int32_t m, double* c,
           std::int32_t ldc) noexcept {
    constexpr std::int32_t ROWS = 4;
    double inverse[MAX_PIVOTS];
    for (std::int32_t k = 0; k < n; ++k) inverse[k] = 1.0 / u[k + static_cast<std::int64_t>(k) * ld];
    alignas(64) double x[MAX_PIVOTS * SOLVE_WIDTH];
    for (std::int32_t j0 = 0; j0 < m; j0 += SOLVE_WIDTH) {
        const std::int32_t n_columns = std::min(SOLVE_WIDTH, m - j0);
        double* block = c + static_cast<std::int64_t>(j0) * ldc;
        if (n_columns < SOLVE_WIDTH) std::fill_n(x, n * SOLVE_WIDTH, 0.0);
        transpose(n_columns, n, block, ldc, x, SOLVE_WIDTH);
        std::int32_t k = 0;
        for (; k + ROWS <= n; k += ROWS) solve_rows<ROWS>(k, u, ld, inverse, x);
        for (; k < n; ++k) solve_rows<1>(k, u, ld, inverse, x);
        transpose(n, n_columns, x, SOLVE_WIDTH, block, ldc);
    }
}

constexpr VectorLoops LOOPS{cholesky, solve};

} // namespace HWY_NAMESPACE
} // namespace
} // namespace vyr
HWY_AFTER_NAMESPACE();

// NOLINTEND(bugprone-implicit-widening-of-multiplication-result)

#if HWY_ONCE
namespace vyr {

const VectorLoops& mf_vector_loops(InstructionSet instructions) noexcept {
    return VYR_CHOOSE(instructions, LOOPS);
}

} // namespace vyr
#endif
