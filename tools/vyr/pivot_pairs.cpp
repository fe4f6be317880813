#include "tools/vyr/pivot_pairs.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace vyr::tool {

namespace {

using Ints = std::vector<std::int32_t>;

template <typename Visit>
void for_each_entry(const SparseMatrix& a, Visit visit) {
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t k = a.col_ptr[j]; k < a.col_ptr[j + 1]; ++k) visit(a.row_ind[k], j, a.values[k]);
}

/// The new order: weak equations first. `n_weak` gets their number.
Ints weak_first(const SparseMatrix& a, std::int32_t& n_weak) {
    std::vector<double> diagonal(static_cast<std::size_t>(a.n), 0.0), largest = diagonal;
    for_each_entry(a, [&](std::int32_t i, std::int32_t j, double value) {
        if (i == j) {
            diagonal[j] = std::fabs(value);
        } else {
            largest[i] = std::max(largest[i], std::fabs(value));
            largest[j] = std::max(largest[j], std::fabs(value));
        }
    });
    Ints order(static_cast<std::size_t>(a.n));
    std::iota(order.begin(), order.end(), 0);
    const auto strong = std::stable_partition(order.begin(), order.end(), [&](std::int32_t j) {
        return largest[j] > 0.0 && diagonal[j] <= WEAK_DIAGONAL * largest[j];
    });
    n_weak = static_cast<std::int32_t>(strong - order.begin());
    return order;
}

SparseMatrix renumber(const SparseMatrix& a, const Ints& order) {
    Ints place(order.size());
    for (std::int32_t k = 0; k < a.n; ++k) place[order[k]] = k;
    std::vector<std::vector<std::pair<std::int32_t, double>>> columns(order.size());
    for_each_entry(a, [&](std::int32_t i, std::int32_t j, double value) {
        const auto [low, high] = std::minmax(place[i], place[j]);
        columns[low].emplace_back(high, value);
    });
    SparseMatrix b{a.n, {0}, {}, {}};
    for (auto& column : columns) {
        std::sort(column.begin(), column.end());
        for (const auto& [row, value] : column) {
            b.row_ind.push_back(row);
            b.values.push_back(value);
        }
        b.col_ptr.push_back(b.nnz());
    }
    return b;
}

/// Both triangles without the diagonal, magnitudes of the values, and the ties found so far.
class Ties {
public:
    Ties(const SparseMatrix& a, std::int32_t n_weak);
    void find();
    /// Rows >= j of column j when tied equations share their pattern.
    void collect_rows(std::int32_t j, Ints& rows);

private:
    std::int64_t degree(std::int32_t j) const { return start_[j + 1] - start_[j]; }
    bool weak(std::int32_t j) const { return j < n_weak_; }
    bool free(std::int32_t j) const { return next_[j] == j; }
    std::int32_t best_free(std::int32_t c) const;
    bool take_over(std::int32_t c);
    void lead_with_strong(std::int32_t c);
    void tie(std::int32_t c, std::int32_t p) {
        next_[c] = p;
        next_[p] = c;
    }
    template <typename Visit>
    void for_each_tied(std::int32_t j, Visit visit) const {
        visit(j);
        for (std::int32_t i = next_[j]; i != j; i = next_[i]) visit(i);
    }

    std::int32_t n_weak_;
    std::vector<std::int64_t> start_;
    Ints neighbour_;
    std::vector<double> weight_, largest_;
    Ints next_; ///< tied equations form a ring; a free one is its own successor
    Ints mark_;
};

Ties::Ties(const SparseMatrix& a, std::int32_t n_weak)
    : n_weak_(n_weak),
      start_(static_cast<std::size_t>(a.n) + 2, 0),
      largest_(static_cast<std::size_t>(a.n), 0.0),
      next_(static_cast<std::size_t>(a.n)),
      mark_(static_cast<std::size_t>(a.n), -1) {
    std::iota(next_.begin(), next_.end(), 0);
    // Counted two places ahead, so that filling moves every start to where it belongs.
    for_each_entry(a, [&](std::int32_t i, std::int32_t j, double) {
        if (i != j) ++start_[i + 2], ++start_[j + 2];
    });
    std::partial_sum(start_.begin(), start_.end(), start_.begin());
    neighbour_.resize(static_cast<std::size_t>(start_.back()));
    weight_.resize(neighbour_.size());
    const auto add = [&](std::int32_t i, std::int32_t j, double magnitude) {
        neighbour_[start_[j + 1]] = i;
        weight_[start_[j + 1]++] = magnitude;
        largest_[j] = std::max(largest_[j], magnitude);
    };
    for_each_entry(a, [&](std::int32_t i, std::int32_t j, double value) {
        if (i == j) return;
        add(i, j, std::fabs(value));
        add(j, i, std::fabs(value));
    });
}

/// The free neighbour with the entry that is largest beside its column's others; strong ones before weak
/// ones, of equals the one with the fewest neighbours, which costs the least fill. -1 when there is none.
std::int32_t Ties::best_free(std::int32_t c) const {
    std::int32_t best = -1;
    double best_score = 0.0;
    for (std::int64_t k = start_[c]; k < start_[c + 1]; ++k) {
        const std::int32_t p = neighbour_[k];
        if (p == c || !free(p) || weight_[k] == 0.0) continue;
        const double score = weight_[k] / largest_[p] + (weak(p) ? 0.0 : 1.0);
        // The first one counts whatever its score: next to a far larger entry it vanishes.
        if (best < 0 || score > best_score || (score == best_score && degree(p) < degree(best))) {
            best = p;
            best_score = score;
        }
    }
    return best;
}

/// Frees a neighbour of c whose own partner, weak too, can turn to someone else.
bool Ties::take_over(std::int32_t c) {
    for (std::int64_t k = start_[c]; k < start_[c + 1]; ++k) {
        const std::int32_t p = neighbour_[k], other = next_[p];
        if (weight_[k] == 0.0 || other == p || !weak(other)) continue;
        next_[c] = p; // not free while the other one looks around
        const std::int32_t second = best_free(other);
        next_[c] = c;
        if (second < 0) continue;
        tie(other, second);
        tie(c, p);
        return true;
    }
    return false;
}

/// A pair of two weak equations stays in one node for sure only behind a third, strong one: the partition
/// always lets a node of one column grow by the next one, and may end it there.
void Ties::lead_with_strong(std::int32_t c) {
    const std::int32_t p = next_[c];
    for (const std::int32_t member : {c, p})
        for (std::int64_t k = start_[member]; k < start_[member + 1]; ++k) {
            const std::int32_t s = neighbour_[k];
            if (weak(s) || !free(s)) continue;
            next_[p] = s;
            next_[s] = c;
            return;
        }
}

/// Equations with few neighbours choose first: they have the least choice.
void Ties::find() {
    Ints by_degree(static_cast<std::size_t>(n_weak_));
    std::iota(by_degree.begin(), by_degree.end(), 0);
    std::stable_sort(by_degree.begin(), by_degree.end(),
                     [&](std::int32_t i, std::int32_t j) { return degree(i) < degree(j); });
    for (const std::int32_t c : by_degree) {
        const std::int32_t p = free(c) ? best_free(c) : -1;
        if (p >= 0) tie(c, p);
    }
    for (const std::int32_t c : by_degree)
        if (free(c)) take_over(c);
    for (const std::int32_t c : by_degree)
        if (!free(c) && weak(next_[c]) && next_[next_[c]] == c) lead_with_strong(c);
}

void Ties::collect_rows(std::int32_t j, Ints& rows) {
    rows.clear();
    const auto add = [&](std::int32_t i) {
        if (i < j || mark_[i] == j) return;
        mark_[i] = j;
        rows.push_back(i);
    };
    for_each_tied(j, [&](std::int32_t member) {
        add(member);
        for (std::int64_t k = start_[member]; k < start_[member + 1]; ++k) for_each_tied(neighbour_[k], add);
    });
    std::sort(rows.begin(), rows.end());
}

} // namespace

PairedMatrix pair_weak_diagonals(const SparseMatrix& a) {
    std::int32_t n_weak = 0;
    PairedMatrix result{{}, weak_first(a, n_weak)};
    if (n_weak == 0) {
        result.matrix = a;
        return result;
    }
    const SparseMatrix b = renumber(a, result.order);
    Ties ties(b, n_weak);
    ties.find();
    SparseMatrix& padded = result.matrix;
    padded.n = b.n;
    padded.col_ptr.push_back(0);
    Ints rows;
    for (std::int32_t j = 0; j < b.n; ++j) {
        ties.collect_rows(j, rows);
        if (rows.size() + padded.row_ind.size() > INT32_MAX) throw std::length_error("too many entries");
        std::int32_t k = b.col_ptr[j];
        for (const std::int32_t i : rows) {
            const bool stored = k < b.col_ptr[j + 1] && b.row_ind[k] == i;
            padded.row_ind.push_back(i);
            padded.values.push_back(stored ? b.values[k++] : 0.0);
        }
        padded.col_ptr.push_back(padded.nnz());
    }
    return result;
}

} // namespace vyr::tool
