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

/// Rows [k, k + ROWS) of a factor, VECTORS vectors of them from column j on: reduced by all the rows above k.
template <std::int32_t ROWS, std::int32_t VECTORS>
HWY_INLINE void reduce_rows(std::int32_t k, std::int32_t j, double* rows, std::int32_t width) noexcept {
    const Tag d;
    Vec sum[ROWS][VECTORS];
    VYR_UNROLL
    for (std::int32_t r = 0; r < ROWS; ++r) VYR_UNROLL
    for (std::int32_t v = 0; v < VECTORS; ++v)
        sum[r][v] = hn::LoadU(d, rows + (k + r) * width + j + v * LANES);
    for (std::int32_t l = 0; l < k; ++l) {
        const double* above = rows + l * width;
        Vec value[VECTORS];
        VYR_UNROLL
        for (std::int32_t v = 0; v < VECTORS; ++v) value[v] = hn::LoadU(d, above + j + v * LANES);
        VYR_UNROLL
        for (std::int32_t r = 0; r < ROWS; ++r) {
            const Vec factor = hn::Set(d, above[k + r]);
            VYR_UNROLL
            for (std::int32_t v = 0; v < VECTORS; ++v) sum[r][v] = hn::NegMulAdd(factor, value[v], sum[r][v]);
        }
    }
    VYR_UNROLL
    for (std::int32_t r = 0; r < ROWS; ++r) VYR_UNROLL
    for (std::int32_t v = 0; v < VECTORS; ++v)
        hn::StoreU(sum[r][v], d, rows + (k + r) * width + j + v * LANES);
}

/// Cholesky of rows [k, k + ROWS), held one after the other with `width` doubles each. Returns 0, or the
/// number (1-based) of the first pivot that is none.
template <std::int32_t ROWS>
HWY_INLINE std::int32_t factorise_rows(std::int32_t k, double* rows, std::int32_t width) noexcept {
    const Tag d;
    std::int32_t j = k == 0 ? width : k / LANES * LANES;
    for (; j + 2 * LANES <= width; j += 2 * LANES) reduce_rows<ROWS, 2>(k, j, rows, width);
    for (; j < width; j += LANES) reduce_rows<ROWS, 1>(k, j, rows, width);
    for (std::int32_t r = k; r < k + ROWS; ++r) {
        double* row = rows + r * width;
        if (!(row[r] > 0)) return r + 1; // also when it is not a number
        const Vec root = hn::Set(d, std::sqrt(row[r]));
        const std::int32_t first = r / LANES * LANES;
        for (j = first; j < width; j += LANES) hn::StoreU(hn::Div(hn::LoadU(d, row + j), root), d, row + j);
        for (std::int32_t i = r + 1; i < k + ROWS; ++i) {
            double* target = rows + i * width;
            const Vec factor = hn::Set(d, row[i]);
            for (j = first; j < width; j += LANES)
                hn::StoreU(hn::NegMulAdd(factor, hn::LoadU(d, row + j), hn::LoadU(d, target + j)), d,
                           target + j);
        }
        row[r] = hn::GetLane(root); // stored last: the vector around it is still on its way to memory
    }
    return 0;
}

constexpr std::int32_t CHOLESKY_ROWS = 4;

/// Pivots of a block too small for vectors: of 4 pivots the plain loops take a quarter of the time, of 16 two
/// thirds, of 24 all of it.
constexpr std::int32_t SMALL_CHOLESKY = 16;

/// Row after row where it lies.
std::int32_t small_cholesky(std::int32_t n, double* a, std::int64_t ld) noexcept {
    for (std::int32_t k = 0; k < n; ++k) {
        double* const pivot = a + k * ld;
        for (std::int32_t l = 0; l < k; ++l) pivot[k] -= pivot[l] * pivot[l];
        if (!(pivot[k] > 0)) return k + 1; // also when it is not a number
        pivot[k] = std::sqrt(pivot[k]);
        for (std::int32_t j = k + 1; j < n; ++j) {
            double* const column = a + j * ld;
            double sum = column[k];
            for (std::int32_t l = 0; l < k; ++l) sum -= pivot[l] * column[l];
            column[k] = sum / pivot[k];
        }
    }
    return 0;
}

/// Some rows of the factor at a time, on a transposed copy, so that a row is contiguous.
std::int32_t cholesky(std::int32_t n, double* a, std::int32_t ld) noexcept {
    if (n <= SMALL_CHOLESKY) return small_cholesky(n, a, ld);
    alignas(64) double rows[tuning::BASE_PIVOTS * tuning::BASE_PIVOTS];
    const std::int32_t width = (n + LANES - 1) / LANES * LANES;
    const auto entry = [=](std::int32_t k, std::int32_t j) noexcept {
        return a + k + static_cast<std::int64_t>(j) * ld;
    };
    for (std::int32_t k = 0; k < n; k += CHOLESKY_ROWS) {
        const std::int32_t end = std::min(n, k + CHOLESKY_ROWS);
        for (std::int32_t i = k; i < end; ++i) {
            double* row = rows + i * width;
            std::fill(row + k / LANES * LANES, row + i, 0.0);
            for (std::int32_t j = i; j < end; ++j) row[j] = *entry(i, j);
            std::fill(row + n, row + width, 0.0);
        }
        transpose(n - end, end - k, entry(k, end), ld, rows + k * width + end, width);
    }
    std::int32_t info = 0, k = 0;
    for (; info == 0 && k + CHOLESKY_ROWS <= n; k += CHOLESKY_ROWS)
        info = factorise_rows<CHOLESKY_ROWS>(k, rows, width);
    for (; info == 0 && k < n; ++k) info = factorise_rows<1>(k, rows, width);
    for (k = 0; k < n; k += CHOLESKY_ROWS) {
        const std::int32_t end = std::min(n, k + CHOLESKY_ROWS);
        for (std::int32_t i = k; i < end; ++i)
            for (std::int32_t j = i; j < end; ++j) *entry(i, j) = rows[i * width + j];
        transpose(end - k, n - end, rows + k * width + end, width, entry(k, end), ld);
    }
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
    double inverse[tuning::BASE_PIVOTS];
    for (std::int32_t k = 0; k < n; ++k) inverse[k] = 1.0 / u[k + static_cast<std::int64_t>(k) * ld];
    alignas(64) double x[tuning::BASE_PIVOTS * SOLVE_WIDTH];
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
