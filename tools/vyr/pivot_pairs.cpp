#include "tools/vyr/pivot_pairs.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <stdexcept>

namespace vyr::tool {

namespace {

using Ints = std::vector<std::int32_t>;

/// Both triangles without the diagonal, magnitudes of the values, and what a partner is judged by.
struct Graph {
    std::vector<std::int64_t> start;
    Ints neighbour;
    std::vector<double> weight;
    std::vector<double> diagonal, largest; ///< magnitudes per column

    explicit Graph(const SparseMatrix& a);
    std::int64_t degree(std::int32_t j) const { return start[j + 1] - start[j]; }
    bool weak(std::int32_t j) const { return diagonal[j] <= WEAK_DIAGONAL * largest[j] && degree(j) > 0; }
};

template <typename Visit>
void for_each_entry(const SparseMatrix& a, Visit visit) {
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t k = a.col_ptr[j]; k < a.col_ptr[j + 1]; ++k) visit(a.row_ind[k], j, a.values[k]);
}

Graph::Graph(const SparseMatrix& a)
    : start(static_cast<std::size_t>(a.n) + 2, 0),
      diagonal(static_cast<std::size_t>(a.n), 0.0),
      largest(diagonal) {
    // Counted two places ahead, so that filling moves every start to where it belongs.
    for_each_entry(a, [&](std::int32_t i, std::int32_t j, double) {
        if (i != j) ++start[i + 2], ++start[j + 2];
    });
    std::partial_sum(start.begin(), start.end(), start.begin());
    neighbour.resize(static_cast<std::size_t>(start.back()));
    weight.resize(neighbour.size());
    const auto add = [&](std::int32_t i, std::int32_t j, double magnitude) {
        neighbour[start[j + 1]] = i;
        weight[start[j + 1]++] = magnitude;
        largest[j] = std::max(largest[j], magnitude);
    };
    for_each_entry(a, [&](std::int32_t i, std::int32_t j, double value) {
        if (i == j) {
            diagonal[j] = std::fabs(value);
            return;
        }
        add(i, j, std::fabs(value));
        add(j, i, std::fabs(value));
    });
}

/// The free neighbour with the entry that is largest beside its column's others; of equals the one with the
/// fewest neighbours, which costs the least fill. -1 when there is none.
std::int32_t best_free(const Graph& graph, const Ints& partner, std::int32_t c) {
    std::int32_t best = -1;
    double best_score = 0.0;
    for (std::int64_t k = graph.start[c]; k < graph.start[c + 1]; ++k) {
        const std::int32_t p = graph.neighbour[k];
        if (partner[p] >= 0 || graph.weight[k] == 0.0) continue;
        const double score = graph.weight[k] / graph.largest[p];
        if (best < 0 || score > best_score || (score == best_score && graph.degree(p) < graph.degree(best))) {
            best = p;
            best_score = score;
        }
    }
    return best;
}

void tie(Ints& partner, std::int32_t c, std::int32_t p) {
    partner[c] = p;
    partner[p] = c;
}

/// Frees a neighbour of c whose own partner, weak too, can turn to someone else.
bool take_over(const Graph& graph, Ints& partner, std::int32_t c) {
    for (std::int64_t k = graph.start[c]; k < graph.start[c + 1]; ++k) {
        const std::int32_t p = graph.neighbour[k], other = partner[p];
        if (graph.weight[k] == 0.0 || other < 0 || other == c || !graph.weak(other)) continue;
        const std::int32_t second = best_free(graph, partner, other);
        if (second < 0 || second == c) continue;
        tie(partner, other, second);
        tie(partner, c, p);
        return true;
    }
    return false;
}

/// partner[j], or -1. Equations with few neighbours choose first: they have the least choice.
Ints match(const Graph& graph, std::int32_t n) {
    Ints partner(static_cast<std::size_t>(n), -1), weak;
    for (std::int32_t j = 0; j < n; ++j)
        if (graph.weak(j)) weak.push_back(j);
    std::stable_sort(weak.begin(), weak.end(),
                     [&](std::int32_t i, std::int32_t j) { return graph.degree(i) < graph.degree(j); });
    for (const std::int32_t c : weak) {
        if (partner[c] >= 0) continue;
        const std::int32_t p = best_free(graph, partner, c);
        if (p >= 0) tie(partner, c, p);
    }
    for (const std::int32_t c : weak)
        if (partner[c] < 0) take_over(graph, partner, c);
    return partner;
}

/// Rows >= j of column j when pairs share their structure, unsorted; `mark` remembers what is in.
void collect_rows(const Graph& graph, const Ints& partner, std::int32_t j, Ints& mark, Ints& rows) {
    rows.clear();
    const auto add = [&](std::int32_t i) {
        if (i < j || mark[i] == j) return;
        mark[i] = j;
        rows.push_back(i);
    };
    for (const std::int32_t member : {j, partner[j]}) {
        if (member < 0) continue;
        add(member);
        for (std::int64_t k = graph.start[member]; k < graph.start[member + 1]; ++k) {
            const std::int32_t i = graph.neighbour[k];
            add(i);
            if (partner[i] >= 0) add(partner[i]);
        }
    }
    std::sort(rows.begin(), rows.end());
}

} // namespace

SparseMatrix pair_weak_diagonals(const SparseMatrix& a) {
    const Graph graph(a);
    const Ints partner = match(graph, a.n);
    if (std::all_of(partner.begin(), partner.end(), [](std::int32_t p) { return p < 0; })) return a;
    SparseMatrix padded;
    padded.n = a.n;
    padded.col_ptr.push_back(0);
    Ints mark(partner.size(), -1), rows;
    for (std::int32_t j = 0; j < a.n; ++j) {
        collect_rows(graph, partner, j, mark, rows);
        if (rows.size() + padded.row_ind.size() > INT32_MAX) throw std::length_error("too many entries");
        std::int32_t k = a.col_ptr[j];
        for (const std::int32_t i : rows) {
            const bool stored = k < a.col_ptr[j + 1] && a.row_ind[k] == i;
            padded.row_ind.push_back(i);
            padded.values.push_back(stored ? a.values[k++] : 0.0);
        }
        padded.col_ptr.push_back(static_cast<std::int32_t>(padded.row_ind.size()));
    }
    return padded;
}

} // namespace vyr::tool
