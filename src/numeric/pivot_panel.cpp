#include "core/pivot_pair.h"
#include "numeric/front.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace vyr {

namespace {

/// A determinant that loses more than this share of its terms to cancellation makes no pivot.
constexpr double LEAST_DETERMINANT = 0.1;
/// A 1 x 1 pivot at least this share of its column is taken without a look at others; with it no entry grows
/// faster than with the best pivot of the block (Bunch and Kaufman, "Some stable methods for calculating
/// inertia and solving symmetric linear systems", Math. Comp. 31, 1977).
constexpr double GOOD_SHARE = 0.64;

/// The columns [k, end) of a panel that waits for pivots.
class Panel {
public:
    Panel(const PivotPanel& panel, std::int32_t begin, std::int32_t end) noexcept
        : panel_(panel),
          front_(panel.front),
          loops_(*panel.rules.loops),
          order_(panel.work.order),
          begin_(begin),
          end_(end),
          k_(begin) {
        for (std::int32_t i = begin; i < end; ++i) order_[i - begin] = i;
    }

    std::int32_t run(std::int32_t most) noexcept;

private:
    /// Magnitudes in a column beside its diagonal and one more row.
    struct ColumnMax {
        double inside = 0; ///< in rows of the panel
        std::int32_t row = -1;
        double all = 0;
    };
    struct Choice {
        double growth = std::numeric_limits<double>::infinity();
        std::int32_t first = -1, second = -1;
    };

    double entry(std::int32_t i, std::int32_t j) const noexcept {
        return i > j ? *front_.at(i, j) : *front_.at(j, i);
    }
    double* w(std::int32_t row, std::int32_t pivot) const noexcept {
        return panel_.work.w + row + static_cast<std::int64_t>(pivot - panel_.first_w) * front_.n_rows;
    }
    ColumnMax look(std::int32_t c, std::int32_t skip) const noexcept;
    Choice choose(std::int32_t c) const noexcept;
    double pair_growth(std::int32_t c, std::int32_t r) const noexcept;
    void exchange(std::int32_t i, std::int32_t j) noexcept;
    void take_one() noexcept;
    void take_perturbed() noexcept;
    void take_two() noexcept;
    void reduce(std::int32_t depth) noexcept;
    void permute_earlier() const noexcept;

    const PivotPanel& panel_;
    const Front& front_;
    const FrontLoops& loops_;
    std::int32_t* order_; ///< where each column came from
    std::int32_t begin_, end_;
    std::int32_t k_; ///< next pivot
};

Panel::ColumnMax Panel::look(std::int32_t c, std::int32_t skip) const noexcept {
    ColumnMax most;
    for (std::int32_t i = k_; i < end_; ++i) {
        if (i == c || i == skip) continue;
        const double magnitude = std::fabs(entry(i, c));
        if (!(magnitude > most.inside)) continue;
        most.inside = magnitude;
        most.row = i;
    }
    most.all = std::max(most.inside, loops_.max_abs(front_.n_rows - end_, front_.at(end_, c)));
    return most;
}

/// Bound on the growth by the 2 x 2 pivot of c and r: the larger row sum of |D^-1| times the columns' largest
/// entries (Duff and Reid, "The multifrontal solution of indefinite sparse symmetric linear systems", ACM
/// Trans. Math. Softw. 9, 1983).
double Panel::pair_growth(std::int32_t c, std::int32_t r) const noexcept {
    const double e = entry(r, c);
    const PivotPair pair(entry(c, c), e, entry(r, r));
    const double product = std::fabs(pair.p * pair.q);
    if (!pair.regular() || !(std::fabs(pair.t) >= LEAST_DETERMINANT * std::fabs(e) * std::max(1.0, product)))
        return std::numeric_limits<double>::infinity();
    const double of_c = look(c, r).all, of_r = look(r, c).all;
    return std::max(std::fabs(pair.q) * of_c + of_r, of_c + std::fabs(pair.p) * of_r) / std::fabs(pair.t);
}

Panel::Choice Panel::choose(std::int32_t c) const noexcept {
    const ColumnMax column = look(c, c);
    const double own = std::fabs(entry(c, c));
    if (!(std::max(own, column.all) > panel_.rules.zero)) return {};
    if (own >= GOOD_SHARE * column.all) return {column.all / own, c, -1};
    Choice best{column.all / own, c, -1};
    if (column.row < 0 || column.inside == 0) return best;
    const std::int32_t r = column.row;
    const double other = std::fabs(entry(r, r));
    if (const double growth = look(r, r).all / other; growth < best.growth) best = {growth, r, -1};
    if (const double growth = pair_growth(c, r); growth < best.growth) best = {growth, c, r};
    return best;
}

/// Exchanges two waiting columns, and their rows within the panel.
void Panel::exchange(std::int32_t i, std::int32_t j) noexcept {
    if (i == j) return;
    if (i > j) std::swap(i, j);
    for (std::int32_t c = begin_; c < i; ++c) std::swap(*front_.at(i, c), *front_.at(j, c));
    for (std::int32_t c = begin_; c < k_; ++c) std::swap(*w(i, c), *w(j, c));
    std::swap(*front_.at(i, i), *front_.at(j, j));
    for (std::int32_t c = i + 1; c < j; ++c) std::swap(*front_.at(c, i), *front_.at(j, c));
    std::swap_ranges(front_.at(j + 1, i), front_.at(front_.n_rows, i), front_.at(j + 1, j));
    std::swap(front_.columns[i], front_.columns[j]);
    std::swap(order_[i - begin_], order_[j - begin_]);
}

/// The waiting columns of the panel after pivots k .. k + depth - 1, whose L and L D are there.
void Panel::reduce(std::int32_t depth) noexcept {
    const std::int32_t next = k_ + depth;
    loops_.reduce(front_.n_rows - next, end_ - next, depth, front_.at(next, k_), front_.n_rows, w(next, k_),
                  front_.n_rows, front_.at(next, next), front_.n_rows);
    k_ = next;
}

void Panel::take_one() noexcept {
    const double d = *front_.at(k_, k_);
    const std::int32_t variable = front_.columns[k_];
    front_.diagonal[variable] = d;
    front_.beside[variable] = 0;
    const std::int32_t count = front_.n_rows - k_ - 1;
    std::copy_n(front_.at(k_ + 1, k_), count, w(k_ + 1, k_));
    loops_.divide(count, w(k_ + 1, k_), d, front_.at(k_ + 1, k_));
    reduce(1);
}

/// O. Schenk and K. Gärtner, "On fast factorization pivoting methods for sparse symmetric indefinite
/// systems", Electron. Trans. Numer. Anal. 23 (2006).
void Panel::take_perturbed() noexcept {
    double& d = *front_.at(k_, k_);
    if (!(std::fabs(d) >= panel_.rules.least_pivot)) {
        d = std::copysign(panel_.rules.least_pivot, d);
        ++panel_.work.n_perturbed;
    }
    take_one();
}

void Panel::take_two() noexcept {
    const double d1 = *front_.at(k_, k_), e = *front_.at(k_ + 1, k_), d2 = *front_.at(k_ + 1, k_ + 1);
    const std::int32_t first = front_.columns[k_], second = front_.columns[k_ + 1];
    front_.diagonal[first] = d1;
    front_.diagonal[second] = d2;
    front_.beside[first] = e;
    front_.beside[second] = 0;
    *front_.at(k_ + 1, k_) = 0; // L is unit lower
    const std::int32_t count = front_.n_rows - k_ - 2;
    double *l1 = front_.at(k_ + 2, k_), *l2 = front_.at(k_ + 2, k_ + 1);
    double *w1 = w(k_ + 2, k_), *w2 = w(k_ + 2, k_ + 1);
    const PivotPair pair(d1, e, d2);
    for (std::int32_t i = 0; i < count; ++i) {
        w1[i] = l1[i];
        w2[i] = l2[i];
        l1[i] = pair.first(w1[i], w2[i]) / pair.t;
        l2[i] = pair.second(w1[i], w2[i]) / pair.t;
    }
    reduce(2);
}

/// Brings the panel's rows of all earlier columns into the order of the pivots.
void Panel::permute_earlier() const noexcept {
    const std::int32_t count = end_ - begin_;
    double* row = panel_.work.row;
    const auto permute = [&](double* rows) noexcept {
        std::copy_n(rows, count, row);
        for (std::int32_t i = 0; i < count; ++i) rows[i] = row[order_[i] - begin_];
    };
    for (std::int32_t c = 0; c < begin_; ++c) permute(front_.at(begin_, c));
    for (std::int32_t c = panel_.first_w; c < begin_; ++c) permute(w(begin_, c));
}

/// Takes the waiting columns in turn until none of them has a pivot.
std::int32_t Panel::run(std::int32_t most) noexcept {
    const double limit = 1 / panel_.rules.threshold;
    bool moved = false;
    std::int32_t c = k_;
    for (std::int32_t misses = 0; misses < end_ - k_ && k_ - begin_ < most; c = c + 1 < end_ ? c + 1 : k_) {
        c = std::max(c, k_);
        const Choice choice = choose(c);
        if (!(choice.growth <= limit)) {
            ++misses;
            continue;
        }
        misses = 0;
        moved = moved || choice.first != k_ || (choice.second >= 0 && choice.second != k_ + 1);
        exchange(k_, choice.first);
        if (choice.second < 0) {
            take_one();
        } else {
            exchange(k_ + 1, choice.second == k_ ? choice.first : choice.second);
            take_two();
        }
    }
    while (panel_.rules.least_pivot > 0 && k_ < end_ && k_ - begin_ < most) take_perturbed();
    if (moved && begin_ > 0) permute_earlier();
    return k_ - begin_;
}

} // namespace

std::int32_t mf_eliminate_panel(const PivotPanel& panel, std::int32_t begin, std::int32_t end,
                                std::int32_t most) noexcept {
    return Panel(panel, begin, end).run(most);
}

} // namespace vyr
