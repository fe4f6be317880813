#include "core/strips.h"
#include "numeric/front.h"
#include "platform/blas.h"

#include <algorithm>
#include <utility>

namespace vyr {

namespace {

/// Least share of its column of a pivot that is not replaced, where every column must have one: the square
/// root of the precision.
constexpr double FORCED_SHARE = 1e-8;

/// Doubles in the columns of L of some pivots up to which our own loops reduce whatever follows them: 160
/// KiB, which stay in the second cache. On one core of an AMD EPYC (Zen 4), AVX-512, they and BLAS run at,
/// GFLOP/s: 32 rows and 32 pivots 44 and 27; 64 and 64 48 and 36; 96 and 48 50 and 41; 200 and 64 48 and 47;
/// 800 and 24 48 and 50; but 1,500 and 24 31 and 45, 600 and 192 23 and 32.
constexpr std::int64_t LOOPS_ENTRIES = 20'000;
/// Operations up to which they reduce a block of columns in any case: a matrix product of the BLAS would cost
/// more to call and to pack.
constexpr double LOOPS_FLOPS = 4e4;
constexpr std::int32_t SQUARE_COLUMNS = 32; ///< of triangles that a product takes as squares
/// Columns of a strip: what it wastes is a triangle of them. The same on any number of threads, so that the
/// products, and their digits, are.
constexpr std::int32_t REDUCE_COLUMNS = 96;

/// Columns [0, n_columns) of the trapezoid A with n_rows rows: A := A - L W^T.
struct Reduction {
    const FrontLoops& loops;
    std::int32_t n_rows, n_columns, depth;
    const double *l, *w;
    std::int64_t ld; ///< of l and w
    double* a;
    std::int64_t lda;

    void product(std::int32_t row, std::int32_t rows, std::int32_t column,
                 std::int32_t columns) const noexcept {
        blas::gemm('N', 'T', rows, columns, depth, -1.0, l + row, static_cast<blas::Int>(ld), w + column,
                   static_cast<blas::Int>(ld), 1.0, a + row + column * lda, static_cast<blas::Int>(lda));
    }
    /// Columns [begin, end) down to row `rows_end`: triangles are halved until they are taken as squares,
    /// what is above the diagonal being of no account.
    void trapezoid(std::int32_t begin, std::int32_t end, std::int32_t rows_end) const noexcept {
        const std::int32_t rows = rows_end - begin, columns = end - begin;
        const bool small = ld * depth <= LOOPS_ENTRIES || 2.0 * rows * columns * depth <= LOOPS_FLOPS;
        if (small) {
            loops.reduce(rows, columns, depth, l + begin, ld, w + begin, ld, a + begin + begin * lda, lda);
        } else if (rows_end > end) {
            trapezoid(begin, end, end);
            product(end, rows_end - end, begin, columns);
        } else if (columns > SQUARE_COLUMNS) {
            trapezoid(begin, begin + columns / 2, end);
            trapezoid(begin + columns / 2, end, end);
        } else {
            product(begin, rows, begin, columns);
        }
    }
    void run(bool shared) const noexcept {
        if (depth == 0 || n_columns == 0) return;
        for_strips(n_columns, REDUCE_COLUMNS, shared,
                   [this](std::int32_t begin, std::int32_t end) noexcept { trapezoid(begin, end, n_rows); });
    }
};

class Elimination {
public:
    Elimination(const PivotRules& rules, const Front& front, FrontWork& work, bool shared) noexcept
        : rules_(rules), front_(front), work_(work), shared_(shared) {}

    /// From pivot k on. Returns the number of pivots.
    std::int32_t run(std::int32_t k) noexcept;

private:
    double* w(std::int32_t row, std::int32_t pivot) const noexcept {
        return work_.w + row + static_cast<std::int64_t>(pivot - first_w_) * front_.n_rows;
    }
    std::int32_t sweep(std::int32_t k) noexcept;
    std::int32_t eliminate_block(std::int32_t begin, std::int32_t end) noexcept;
    void reduce_columns(std::int32_t first, std::int32_t depth, std::int32_t begin, std::int32_t end,
                        bool shared) const noexcept;
    void reduce_update(std::int32_t first, std::int32_t depth) const noexcept;
    std::int32_t move_back(std::int32_t k, std::int32_t panel_end, std::int32_t end) const noexcept;
    void exchange(std::int32_t i, std::int32_t j, std::int32_t k) const noexcept;

    const PivotRules& rules_;
    const Front& front_;
    FrontWork& work_;
    bool shared_;
    std::int32_t first_w_ = 0; ///< pivot whose L D is column 0 of work_.w
};

/// Columns [begin, end) of the fully summed part after pivots first .. first + depth - 1.
void Elimination::reduce_columns(std::int32_t first, std::int32_t depth, std::int32_t begin, std::int32_t end,
                                 bool shared) const noexcept {
    const Reduction reduction{*rules_.loops, front_.n_rows - begin,   end - begin,
                              depth,         front_.at(begin, first), w(begin, first),
                              front_.n_rows, front_.at(begin, begin), front_.n_rows};
    reduction.run(shared);
}

void Elimination::reduce_update(std::int32_t first, std::int32_t depth) const noexcept {
    const std::int32_t row = front_.n_columns, count = front_.n_update();
    const Reduction reduction{*rules_.loops, count,         count,         depth, front_.at(row, first),
                              w(row, first), front_.n_rows, front_.update, count};
    reduction.run(shared_);
}

/// Exchanges two waiting columns and their rows, also in L of the pivots before k.
void Elimination::exchange(std::int32_t i, std::int32_t j, std::int32_t k) const noexcept {
    for (std::int32_t c = 0; c < i; ++c) std::swap(*front_.at(i, c), *front_.at(j, c));
    for (std::int32_t c = first_w_; c < k; ++c) std::swap(*w(i, c), *w(j, c));
    std::swap(*front_.at(i, i), *front_.at(j, j));
    for (std::int32_t c = i + 1; c < j; ++c) std::swap(*front_.at(c, i), *front_.at(j, c));
    std::swap_ranges(front_.at(j + 1, i), front_.at(front_.n_rows, i), front_.at(j + 1, j));
    std::swap(front_.columns[i], front_.columns[j]);
}

/// Moves the columns [k, panel_end), which found no pivot, behind those of [panel_end, end) that have not
/// been tried. Returns the end of the latter.
std::int32_t Elimination::move_back(std::int32_t k, std::int32_t panel_end, std::int32_t end) const noexcept {
    const std::int32_t n_failed = panel_end - k;
    const std::int32_t n_moved = std::min(n_failed, end - panel_end);
    for (std::int32_t i = 0; i < n_moved; ++i) exchange(k + i, end - 1 - i, k);
    return end - n_failed;
}

/// Panel by panel through the columns [begin, end), which stay up to date among themselves. Returns the place
/// behind the last pivot.
std::int32_t Elimination::eliminate_block(std::int32_t begin, std::int32_t end) noexcept {
    const PivotPanel panel{rules_, front_, work_, first_w_};
    std::int32_t k = begin, untried = end;
    while (k < untried) {
        const std::int32_t panel_end = std::min(k + PANEL_PIVOTS, untried);
        const std::int32_t count = mf_eliminate_panel(panel, k, panel_end, PANEL_PIVOTS);
        reduce_columns(k, count, panel_end, end, false);
        k += count;
        untried = move_back(k, panel_end, untried);
    }
    return k;
}

/// Block by block through the columns [k, n_columns). Returns the place behind the last pivot.
std::int32_t Elimination::sweep(std::int32_t k) noexcept {
    std::int32_t untried = front_.n_columns;
    while (k < untried && !rules_.stop()) {
        const std::int32_t block_end = std::min(k + BLOCK_PIVOTS, untried);
        first_w_ = k;
        const std::int32_t next = eliminate_block(k, block_end);
        reduce_columns(k, next - k, block_end, front_.n_columns, shared_);
        reduce_update(k, next - k);
        untried = move_back(next, block_end, untried);
        k = next;
    }
    return k;
}

// Right-looking, in blocks of panels. Columns that find no pivot in their panel are tried again by what the
// eliminations have made of them, and, when that leads nowhere, each of them against all the others.
std::int32_t Elimination::run(std::int32_t k) noexcept {
    const std::int32_t n = front_.n_columns;
    while (k < n) {
        const std::int32_t before = k;
        k = sweep(k);
        if (k > before) continue;
        first_w_ = k;
        if (rules_.stop()) break;
        const std::int32_t count = mf_eliminate_panel({rules_, front_, work_, k}, k, n, PANEL_PIVOTS);
        if (count == 0) break;
        reduce_update(k, count);
        k += count;
    }
    return k;
}

} // namespace

// Where no column may be left, those without a good pivot follow in a second round, which takes any share of
// a column down to FORCED_SHARE before it replaces pivots.
std::int32_t mf_eliminate_front(const PivotRules& rules, const Front& front, FrontWork& work,
                                bool shared) noexcept {
    PivotRules good = rules;
    good.least_pivot = 0;
    const std::int32_t n_good = Elimination(good, front, work, shared).run(0);
    if (n_good == front.n_columns || rules.least_pivot == 0) return n_good;
    PivotRules forced = rules;
    forced.threshold = FORCED_SHARE;
    return Elimination(forced, front, work, shared).run(n_good);
}

} // namespace vyr
