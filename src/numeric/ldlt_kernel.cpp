// Right-looking between blocks of 16 pivots, left-looking inside: a row is brought up to date when its turn
// comes, and the rows below a block when it is full. An interchange needs all of them, so a row whose
// diagonal looks weak first has the block's update applied ("early flush"). Blocks restart there; therefore
// interchanges and 2 x 2 pivots happen only at the first column of a block, and no finished row ever has to
// follow an exchange.
#include "core/pivot_pair.h"
#include "numeric/ldlt.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace vyr {

namespace {

class Elimination {
public:
    Elimination(const LdltFront& front, LdltCounters& counters) noexcept
        : front_(front), counters_(counters) {}

    /// Eliminates all pivots; the number eliminated.
    std::int32_t run() noexcept;
    bool took_pair() const noexcept { return took_pair_; }

private:
    enum class Step { DONE, RESTART, FAILED };

    Step eliminate_block() noexcept;
    Step take_pivot(std::int32_t end) noexcept;
    bool take_single(std::int32_t row, std::int32_t end) noexcept;
    bool take_pair(std::int32_t row, std::int32_t end) noexcept;
    void store_rows(std::int32_t begin, std::int32_t end, std::int32_t col, std::int32_t col_end) noexcept;
    void store_pair(std::int32_t col, std::int32_t col_end) noexcept;
    void apply_block(std::int32_t row) noexcept;

    const LdltFront& front_;
    LdltCounters& counters_;
    std::int32_t first_ = 0; ///< first pivot of the block whose update of the trailing rows is deferred
    std::int32_t k_ = 0;     ///< pivots eliminated
    bool pair_ = false;      ///< the block's first two pivots are a 2 x 2 pivot
    bool took_pair_ = false;
};

std::int32_t Elimination::run() noexcept {
    while (k_ < front_.npiv && !front_.stopped()) {
        const Step step = eliminate_block();
        if (step == Step::FAILED) return k_;
        if (step == Step::DONE) apply_block(k_);
    }
    return k_;
}

Elimination::Step Elimination::eliminate_block() noexcept {
    first_ = k_;
    const std::int32_t end = std::min(first_ + LDLT_BLOCK, front_.npiv);
    mf_load_rows(front_, first_, end);
    Step step = Step::DONE;
    while (k_ < end && step == Step::DONE) {
        if (k_ > first_) mf_update_row(front_, first_, k_);
        step = take_pivot(end);
    }
    if (step == Step::FAILED) return step;
    store_rows(first_, k_, end, front_.width);
    if (step == Step::RESTART) {
        // The rows below k are brought up to date in the block; row k already is, in Z.
        if (k_ > first_) ++counters_.early_flushes;
        apply_block(k_ + 1);
        const double* row = front_.z(k_);
        for (std::int32_t c = k_; c < front_.width; ++c) front_.at(k_, c) = row[c];
    }
    return step;
}

/// Chooses and takes the pivot at k_, one or two columns.
Elimination::Step Elimination::take_pivot(std::int32_t end) noexcept {
    std::int32_t row = k_;
    if (!mf_diagonal_dominates(front_.z(k_), k_, front_.npiv)) {
        if (first_ < k_) return Step::RESTART;
        const PivotChoice choice = mf_choose_pivot(front_, k_, counters_);
        row = choice.row;
        if (choice.kind != PivotKind::DIAGONAL) {
            mf_interchange(front_, k_, k_, row);
            if (choice.kind == PivotKind::TWO_BY_TWO && row > k_ + 1) mf_interchange(front_, k_, k_ + 1, row);
            mf_load_rows(front_, first_, end);
        }
        if (choice.kind == PivotKind::TWO_BY_TWO) return take_pair(row, end) ? Step::DONE : Step::FAILED;
    }
    return take_single(row, end) ? Step::DONE : Step::FAILED;
}

bool Elimination::take_single(std::int32_t row, std::int32_t end) noexcept {
    const double d = front_.z(k_)[k_];
    if (!(std::fabs(d) > 0.0) || std::isinf(d)) return false;
    front_.at(k_, k_) = d;
    if (k_ + 1 < front_.npiv) front_.at(k_ + 1, k_) = 0.0;
    front_.record[k_] = row;
    store_rows(k_, k_ + 1, k_ + 1, end);
    ++k_;
    return true;
}

bool Elimination::take_pair(std::int32_t row, std::int32_t end) noexcept {
    const double e = front_.z(k_)[k_ + 1];
    if (!PivotPair(front_.at(k_, k_), e, front_.at(k_ + 1, k_ + 1)).regular()) return false;
    front_.record[k_] = row;
    front_.record[k_ + 1] = row;
    front_.at(k_ + 1, k_) = e;
    if (k_ + 2 < front_.npiv) front_.at(k_ + 2, k_ + 1) = 0.0;
    front_.at(k_, k_ + 1) = 0.0;
    pair_ = true;
    took_pair_ = true;
    ++counters_.two_by_two;
    store_pair(k_ + 2, end);
    k_ += 2;
    return true;
}

/// Writes the rows begin .. end-1 of Z, divided by D, into columns col .. col_end-1 of the block.
void Elimination::store_rows(std::int32_t begin, std::int32_t end, std::int32_t col,
                             std::int32_t col_end) noexcept {
    if (pair_ && begin == first_) {
        store_pair(col, col_end);
        begin += 2;
    }
    double inverse[LDLT_BLOCK];
    bool finite = true;
    const std::int32_t count = end - begin;
    for (std::int32_t i = 0; i < count; ++i) {
        inverse[i] = 1.0 / front_.at(begin + i, begin + i);
        finite = finite && !std::isinf(inverse[i]);
    }
    for (std::int32_t c = col; c < col_end; ++c) {
        const double* z = front_.z(begin) + c;
        double* u = front_.column(c) + begin;
        if (finite)
            for (std::int32_t i = 0; i < count; ++i)
                u[i] = z[static_cast<std::int64_t>(i) * front_.width] * inverse[i];
        else // a subnormal pivot has no reciprocal
            for (std::int32_t i = 0; i < count; ++i)
                u[i] = z[static_cast<std::int64_t>(i) * front_.width] / front_.at(begin + i, begin + i);
    }
}

void Elimination::store_pair(std::int32_t col, std::int32_t col_end) noexcept {
    const std::int32_t k = first_;
    const PivotPair pair(front_.at(k, k), front_.at(k + 1, k), front_.at(k + 1, k + 1));
    const double* x = front_.z(k);
    const double* y = front_.z(k + 1);
    const double s = 1.0 / pair.t;
    const bool finite = std::isfinite(s);
    for (std::int32_t c = col; c < col_end; ++c) {
        double* u = front_.column(c) + k;
        const double first = pair.first(x[c], y[c]), second = pair.second(x[c], y[c]);
        u[0] = finite ? first * s : first / pair.t;
        u[1] = finite ? second * s : second / pair.t;
    }
}

/// Applies the deferred update of the block to the rows from `row` on, which ends the block.
void Elimination::apply_block(std::int32_t row) noexcept {
    mf_update_trailing(front_, first_, k_, row);
    if (pair_) {
        // The substitution replays the second exchange of a 2 x 2 pivot after it has used the first row, so
        // that row goes back to the order before it, now that no update needs it any more.
        const std::int32_t r = front_.record[first_ + 1];
        if (r != first_ + 1) std::swap(front_.at(first_, first_ + 1), front_.at(first_, r));
    }
    pair_ = false;
}

/// The strict lower triangle carries the off-diagonal entries of 2 x 2 pivots: nothing else may show there.
void clear_lower_triangle(const LdltFront& front) noexcept {
    for (std::int32_t c = 0; c + 1 < front.npiv; ++c)
        std::fill(front.column(c) + c + 1, front.column(c) + front.npiv, 0.0);
}

} // namespace

std::int32_t MF_S_SYTRF_(Factor& factor, std::int32_t node, LdltMode mode, LdltCounters& counters) noexcept {
    const mf_snode& snode = factor.analysis->snodes[node];
    FactorBlock& block = factor.blocks[node];
    double* const update = factor.work.work_block.get();
    const LdltFront front{block.values,
                          factor.work.front_work.get(),
                          factor.pivot_index.get() + snode.first(),
                          snode.npiv,
                          snode.n_rows(),
                          mode.in_place,
                          mode.blas_interchange,
                          mode.threads,
                          mode.context};
    if (!mode.in_place)
        for (std::int32_t c = 0; c < snode.nupd; ++c)
            std::fill_n(update + static_cast<std::int64_t>(c) * mode.ld, snode.nupd, 0.0);
    clear_lower_triangle(front);
    block.flags &= ~std::uint32_t{BLOCK_TWO_BY_TWO};

    Elimination elimination(front, counters);
    const std::int32_t eliminated = elimination.run();
    if (elimination.took_pair()) block.flags |= BLOCK_TWO_BY_TWO;
    if (eliminated < snode.npiv) return eliminated;
    if (mode.in_place)
        mf_form_update(front, update, mode.ld);
    else
        mf_add_to_update(front, update, mode.ld);
    return eliminated;
}

} // namespace vyr
