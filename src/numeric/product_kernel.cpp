// After K. Goto and R. A. van de Geijn, "Anatomy of high-performance matrix multiplication", ACM Trans. Math.
// Softw. 34 (2008): a tile of the result stays in registers over the whole depth, the left operand lies
// packed in the second cache, the columns of the right one in the first. What differs: the right operand is
// not packed, since its columns are contiguous already and each entry is broadcast; and a tile is subtracted
// from wherever its rows and columns belong, so that no other pass is needed.
#include "numeric/product_kernel.h"

#include "core/tuning.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "numeric/product_kernel.cpp"
#include "platform/highway.h"
// One build of it for each set:
#include "platform/transpose-inl.h"

// Vectors of a tile are counted, not entries: their products are small.
// NOLINTBEGIN(bugprone-implicit-widening-of-multiplication-result)

HWY_BEFORE_NAMESPACE();
namespace vyr {
namespace {
namespace HWY_NAMESPACE {

using Tag = hn::ScalableTag<double>;
using Vec = hn::Vec<Tag>;

constexpr std::int32_t LANES = static_cast<std::int32_t>(hn::MaxLanes(Tag()));

// Of 32 vector registers a tile takes 24 for its sums, of 16 it takes 12; the others hold the operands.
constexpr std::int32_t TILE_VECTORS = 3;
constexpr std::int32_t TILE_COLUMNS = HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_NEON ? 8 : 4;
constexpr std::int32_t TILE_ROWS = TILE_VECTORS * LANES;
constexpr std::int32_t FORM_COLUMNS = 4;
constexpr std::int32_t BLOCK_ROWS = tuning::PRODUCT_ROWS / TILE_ROWS * TILE_ROWS;

/// Rows [i0, ...) and columns [j0, ...) of a product. n_columns may be less than the tile has.
struct Tile {
    const Product& product;
    std::int32_t i0, j0, n_columns;

    double* column(std::int32_t j) const noexcept {
        return product.target + product.places[j0 + j] * product.ld_target;
    }
    /// Rows of the tile that column j of it has, of `height`.
    std::int32_t n_rows(std::int32_t j, std::int32_t height) const noexcept {
        const std::int32_t end = std::min(product.n_rows, product.first_limit + j0 + j + 1);
        return std::clamp(end - i0, 0, height);
    }
};

/// A tile at the border of a triangle or of the target, whose rows follow each other: `sums` has HEIGHT
/// doubles a column.
template <std::int32_t HEIGHT>
HWY_INLINE void subtract_edge(const Tile& tile, const double* sums, double* const* target) noexcept {
    const Tag d;
    for (std::int32_t j = 0; j < tile.n_columns; ++j, sums += HEIGHT) {
        const std::int32_t n_rows = tile.n_rows(j, HEIGHT);
        std::int32_t i = 0;
        for (; i + LANES <= n_rows; i += LANES)
            hn::StoreU(hn::Sub(hn::LoadU(d, target[j] + i), hn::LoadU(d, sums + i)), d, target[j] + i);
        for (; i < n_rows; ++i) target[j][i] -= sums[i];
    }
}

/// A tile whose rows do not follow each other: row by row, so that a place serves all columns.
template <std::int32_t HEIGHT, std::int32_t COLUMNS>
HWY_INLINE void subtract_scattered(const Tile& tile, const double* sums, double* const* target) noexcept {
    const std::int32_t* rows = tile.product.rows + tile.i0;
    const std::int32_t n_common = tile.n_columns == COLUMNS ? tile.n_rows(0, HEIGHT) : 0;
    for (std::int32_t i = 0; i < n_common; ++i) {
        const std::int32_t place = rows[i] - rows[0];
        double rest[COLUMNS];
        VYR_UNROLL
        for (std::int32_t j = 0; j < COLUMNS; ++j) rest[j] = target[j][place] - sums[i + j * HEIGHT];
        VYR_UNROLL
        for (std::int32_t j = 0; j < COLUMNS; ++j) target[j][place] = rest[j];
    }
    for (std::int32_t j = 0; j < tile.n_columns; ++j)
        for (std::int32_t i = n_common; i < tile.n_rows(j, HEIGHT); ++i)
            target[j][rows[i] - rows[0]] -= sums[i + j * HEIGHT];
}

template <std::int32_t VECTORS, std::int32_t COLUMNS>
using Sums = Vec[VECTORS][COLUMNS];

/// sum := the product of a tile's packed rows, `height` doubles a unit of depth, and columns right[j].
template <std::int32_t VECTORS, std::int32_t COLUMNS>
HWY_INLINE void multiply(std::int32_t depth, const double* left, std::int32_t height,
                         const double* const* right, Sums<VECTORS, COLUMNS>& sum) noexcept {
    const Tag d;
    VYR_UNROLL
    for (std::int32_t v = 0; v < VECTORS; ++v) VYR_UNROLL
    for (std::int32_t j = 0; j < COLUMNS; ++j) sum[v][j] = hn::Zero(d);
    for (std::int32_t k = 0; k < depth; ++k, left += height) {
        Vec value[VECTORS];
        VYR_UNROLL
        for (std::int32_t v = 0; v < VECTORS; ++v) value[v] = hn::LoadU(d, left + v * LANES);
        VYR_UNROLL
        for (std::int32_t j = 0; j < COLUMNS; ++j) {
            const Vec factor = hn::Set(d, right[j][k]);
            VYR_UNROLL
            for (std::int32_t v = 0; v < VECTORS; ++v) sum[v][j] = hn::MulAdd(value[v], factor, sum[v][j]);
        }
    }
}

/// One tile of VECTORS vectors by COLUMNS columns. `left`: its packed rows.
template <std::int32_t VECTORS, std::int32_t COLUMNS>
HWY_INLINE void subtract_tile(const Tile& tile, const double* left) noexcept {
    const Product& product = tile.product;
    const Tag d;
    constexpr std::int32_t HEIGHT = VECTORS * LANES;
    const std::int32_t n_rows = std::min(HEIGHT, product.n_rows - tile.i0);
    const std::int32_t place = product.rows[tile.i0] - product.first_row;
    const std::int32_t span = product.rows[tile.i0 + n_rows - 1] - product.rows[tile.i0] + 1;

    const double* right[COLUMNS];
    double* target[COLUMNS];
    VYR_UNROLL
    for (std::int32_t j = 0; j < COLUMNS; ++j) {
        const std::int32_t there = std::min(j, tile.n_columns - 1);
        right[j] = product.right + (tile.j0 + there) * product.ld_right;
        target[j] = tile.column(there) + place;
        for (std::int32_t i = 0; i < std::min(span, 2 * HEIGHT); i += 8) __builtin_prefetch(target[j] + i, 1);
    }
    Sums<VECTORS, COLUMNS> sum;
    multiply<VECTORS, COLUMNS>(product.depth, left, HEIGHT, right, sum);
    if (span == HEIGHT && n_rows == HEIGHT && tile.n_columns == COLUMNS && tile.n_rows(0, HEIGHT) == HEIGHT) {
        VYR_UNROLL
        for (std::int32_t j = 0; j < COLUMNS; ++j) VYR_UNROLL
        for (std::int32_t v = 0; v < VECTORS; ++v) {
            double* here = target[j] + v * LANES;
            hn::StoreU(hn::Sub(hn::LoadU(d, here), sum[v][j]), d, here);
        }
        return;
    }
    alignas(64) double sums[HEIGHT * COLUMNS];
    VYR_UNROLL
    for (std::int32_t j = 0; j < COLUMNS; ++j) VYR_UNROLL
    for (std::int32_t v = 0; v < VECTORS; ++v) hn::StoreU(sum[v][j], d, sums + j * HEIGHT + v * LANES);
    if (span == n_rows)
        subtract_edge<HEIGHT>(tile, sums, target);
    else
        subtract_scattered<HEIGHT, COLUMNS>(tile, sums, target);
}

/// A tile with as many vectors as there are rows left. `left`: what was packed, from its first row.
template <std::int32_t COLUMNS>
HWY_INLINE void subtract_rows(const Tile& tile, const double* left) noexcept {
    const double* packed = left + static_cast<std::int64_t>(tile.i0) * tile.product.depth;
    const std::int32_t n_rows = tile.product.n_rows - tile.i0;
    if (n_rows > 2 * LANES)
        subtract_tile<3, COLUMNS>(tile, packed);
    else if (n_rows > LANES)
        subtract_tile<2, COLUMNS>(tile, packed);
    else
        subtract_tile<1, COLUMNS>(tile, packed);
}

void subtract(const Product& product) noexcept {
    for (std::int32_t block = 0; block < product.n_rows; block += BLOCK_ROWS) {
        for (std::int32_t j0 = 0; j0 < product.n_columns; j0 += TILE_COLUMNS) {
            const std::int32_t n_columns = std::min(TILE_COLUMNS, product.n_columns - j0);
            const std::int32_t end =
                std::min({product.n_rows, block + BLOCK_ROWS, product.first_limit + j0 + n_columns});
            for (std::int32_t i0 = block; i0 < end; i0 += TILE_ROWS) {
                const Tile tile{product, i0, j0, n_columns};
                if (n_columns > TILE_COLUMNS / 2)
                    subtract_rows<TILE_COLUMNS>(tile, product.left);
                else
                    subtract_rows<TILE_COLUMNS / 2>(tile, product.left);
            }
        }
    }
}

/// The first VECTORS vectors of rows of a packed tile, which is `height` doubles high, by n_columns columns.
template <std::int32_t VECTORS>
HWY_INLINE void form_tile(std::int32_t depth, const double* left, std::int32_t height, const double* c,
                          std::int64_t ld, std::int32_t n_columns, double* w, std::int64_t ldw) noexcept {
    const double* right[FORM_COLUMNS];
    VYR_UNROLL
    for (std::int32_t j = 0; j < FORM_COLUMNS; ++j) right[j] = c + std::min(j, n_columns - 1) * ld;
    Sums<VECTORS, FORM_COLUMNS> sum;
    multiply<VECTORS, FORM_COLUMNS>(depth, left, height, right, sum);
    VYR_UNROLL
    for (std::int32_t j = 0; j < FORM_COLUMNS; ++j) {
        if (j == n_columns) return;
        VYR_UNROLL
        for (std::int32_t v = 0; v < VECTORS; ++v)
            hn::StoreU(hn::Neg(sum[v][j]), Tag(), w + j * ldw + v * LANES);
    }
}

void form(std::int32_t depth, std::int32_t n, const double* left, const double* c, std::int64_t ld,
          double* w) noexcept {
    const std::int32_t n_padded = (n + LANES - 1) / LANES * LANES;
    for (std::int32_t i0 = 0; i0 < n_padded; i0 += TILE_ROWS) {
        const std::int32_t height = std::min(TILE_ROWS, n_padded - i0);
        const double* rows = left + static_cast<std::int64_t>(i0) * depth;
        for (std::int32_t j0 = i0 / FORM_COLUMNS * FORM_COLUMNS; j0 < n; j0 += FORM_COLUMNS) {
            const std::int32_t n_columns = std::min(FORM_COLUMNS, n - j0);
            const std::int32_t n_rows = std::min(height, j0 + n_columns - i0);
            double* tile = w + i0 + static_cast<std::int64_t>(j0) * n_padded;
            if (n_rows > 2 * LANES)
                form_tile<3>(depth, rows, height, c + j0 * ld, ld, n_columns, tile, n_padded);
            else if (n_rows > LANES)
                form_tile<2>(depth, rows, height, c + j0 * ld, ld, n_columns, tile, n_padded);
            else
                form_tile<1>(depth, rows, height, c + j0 * ld, ld, n_columns, tile, n_padded);
        }
    }
}

void pack(std::int32_t depth, std::int32_t n_rows, const double* block, std::int64_t ld,
          double* packed) noexcept {
    for (std::int32_t i0 = 0; i0 < n_rows; i0 += TILE_ROWS) {
        const std::int32_t n_here = std::min(TILE_ROWS, n_rows - i0);
        const std::int32_t height = (n_here + LANES - 1) / LANES * LANES;
        transpose(n_here, depth, block + i0 * ld, ld, packed, height);
        for (std::int32_t k = 0; k < depth && n_here < height; ++k)
            std::fill(packed + n_here + static_cast<std::int64_t>(k) * height,
                      packed + static_cast<std::int64_t>(k + 1) * height, 0.0);
        packed += static_cast<std::int64_t>(height) * depth;
    }
}

constexpr ProductKernel KERNEL{LANES, pack, subtract, form};

} // namespace HWY_NAMESPACE
} // namespace
} // namespace vyr
HWY_AFTER_NAMESPACE();

// NOLINTEND(bugprone-implicit-widening-of-multiplication-result)

#if HWY_ONCE
namespace vyr {

const ProductKernel& mf_product_kernel(InstructionSet instructions) noexcept {
    return VYR_CHOOSE(instructions, KERNEL);
}

} // namespace vyr
#endif
