#include "numeric/vector_loops.h"

#include "core/tuning.h"
#include "platform/simd.h"

#include <cmath>

// Positions inside blocks of at most BASE_PIVOTS rows: their products are small.
// NOLINTBEGIN(bugprone-implicit-widening-of-multiplication-result)

namespace vyr {

namespace {

using simd::at;
using simd::LANES;
using simd::Vec;

constexpr std::int32_t MAX_PIVOTS = tuning::BASE_PIVOTS;
constexpr std::int32_t MAX_PADDED = (tuning::SMALL_UPDATE_ROWS + LANES - 1) / LANES * LANES;

/// Writes C^T, n rows of `padded` doubles, zero beyond m.
VYR_INLINE void transpose(std::int32_t n, std::int32_t m, const double* c, std::int32_t ldc, double* rows,
                          std::int32_t padded) noexcept {
    for (std::int32_t j = 0; j < m; ++j)
        for (std::int32_t k = 0; k < n; ++k) rows[k * padded + j] = c[k + static_cast<std::int64_t>(j) * ldc];
    for (std::int32_t j = m; j < padded; ++j)
        for (std::int32_t k = 0; k < n; ++k) rows[k * padded + j] = 0;
}

/// Row k of the factor at a time: its scaled rest is subtracted from the rows below (right-looking), on a
/// transposed copy so that a row is contiguous.
VYR_INLINE std::int32_t cholesky_body(std::int32_t n, double* a, std::int32_t ld) noexcept {
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
            const double factor = row[i];
            for (std::int32_t j = i / LANES * LANES; j < padded; j += LANES)
                at(target + j).v -= factor * at(row + j).v;
        }
    }
    for (std::int32_t k = 0; k < n; ++k)
        for (std::int32_t j = k; j < n; ++j) a[k + static_cast<std::int64_t>(j) * ld] = rows[k * padded + j];
    return info;
}

/// Forward substitution for two vectors of right-hand sides at a time, held transposed; a row takes all
/// earlier rows in one sweep of the accumulator.
VYR_INLINE void solve_body(std::int32_t n, const double* u, std::int32_t ld, std::int32_t m, double* c,
                           std::int32_t ldc) noexcept {
    double inverse[MAX_PIVOTS];
    for (std::int32_t k = 0; k < n; ++k) inverse[k] = 1.0 / u[k + static_cast<std::int64_t>(k) * ld];
    constexpr std::int32_t WIDTH = 2 * LANES;
    for (std::int32_t j0 = 0; j0 < m; j0 += WIDTH) {
        const std::int32_t n_columns = m - j0 < WIDTH ? m - j0 : WIDTH;
        double* block = c + static_cast<std::int64_t>(j0) * ldc;
        alignas(64) double x[MAX_PIVOTS * WIDTH];
        transpose(n, n_columns, block, ldc, x, WIDTH);
        for (std::int32_t k = 0; k < n; ++k) {
            const double* column = u + static_cast<std::int64_t>(k) * ld;
            Vec low = at(x + k * WIDTH).v, high = at(x + k * WIDTH + LANES).v;
            for (std::int32_t l = 0; l < k; ++l) {
                low -= column[l] * at(x + l * WIDTH).v;
                high -= column[l] * at(x + l * WIDTH + LANES).v;
            }
            at(x + k * WIDTH).v = low * inverse[k];
            at(x + k * WIDTH + LANES).v = high * inverse[k];
        }
        for (std::int32_t j = 0; j < n_columns; ++j)
            for (std::int32_t k = 0; k < n; ++k)
                block[k + static_cast<std::int64_t>(j) * ldc] = x[k * WIDTH + j];
    }
}

/// Tiles of 8 rows by 4 columns in registers over the whole depth; the triangle's ragged edge is masked by
/// the length copied out.
VYR_INLINE void update_body(std::int32_t n, std::int32_t m, const double* c, std::int32_t ldc, double* w,
                            std::int32_t ldw) noexcept {
    constexpr std::int32_t TILE = 4;
    alignas(64) double rows[MAX_PIVOTS * MAX_PADDED];
    const std::int32_t padded = (m + LANES - 1) / LANES * LANES;
    const std::int64_t stride = ldw;
    transpose(n, m, c, ldc, rows, padded);
    for (std::int32_t j0 = 0; j0 < m; j0 += TILE) {
        const std::int32_t n_columns = m - j0 < TILE ? m - j0 : TILE;
        for (std::int32_t i0 = 0; i0 < j0 + n_columns; i0 += LANES) {
            Vec sum[TILE] = {};
            for (std::int32_t k = 0; k < n; ++k) {
                const double* row = rows + k * padded;
                const Vec left = at(row + i0).v;
                for (std::int32_t q = 0; q < TILE; ++q) sum[q] -= left * row[j0 + q];
            }
            double* target = w + i0 + static_cast<std::int64_t>(j0) * ldw;
            if (n_columns == TILE && i0 + LANES <= j0 + 1) {
                for (std::int32_t q = 0; q < TILE; ++q) at(target + q * stride).v = sum[q];
            } else {
                double edge[TILE * LANES];
                for (std::int32_t q = 0; q < TILE; ++q) at(edge + q * LANES).v = sum[q];
                for (std::int32_t q = 0; q < n_columns; ++q)
                    for (std::int32_t i = 0; i < LANES && i0 + i <= j0 + q; ++i)
                        target[i + q * stride] = edge[i + q * LANES];
            }
        }
    }
}

#define VYR_BUILD_LOOPS(name, target)                                                                        \
    target std::int32_t cholesky_##name(std::int32_t n, double* a, std::int32_t ld) noexcept {               \
        return cholesky_body(n, a, ld);                                                                      \
    }                                                                                                        \
    target void solve_##name(std::int32_t n, const double* u, std::int32_t ld, std::int32_t m, double* c,    \
                             std::int32_t ldc) noexcept {                                                    \
        solve_body(n, u, ld, m, c, ldc);                                                                     \
    }                                                                                                        \
    target void update_##name(std::int32_t n, std::int32_t m, const double* c, std::int32_t ldc, double* w,  \
                              std::int32_t ldw) noexcept {                                                   \
        update_body(n, m, c, ldc, w, ldw);                                                                   \
    }                                                                                                        \
    constexpr VectorLoops LOOPS_##name{cholesky_##name, solve_##name, update_##name};

VYR_BUILD_LOOPS(baseline, )
VYR_BUILD_LOOPS(avx2, VYR_TARGET_AVX2)
VYR_BUILD_LOOPS(avx512, VYR_TARGET_AVX512)

} // namespace

const VectorLoops& mf_vector_loops(simd::InstructionSet instructions) noexcept {
    return simd::choose(instructions, LOOPS_baseline, LOOPS_avx2, LOOPS_avx512);
}

} // namespace vyr

// NOLINTEND(bugprone-implicit-widening-of-multiplication-result)
