#include "engine/inspect.h"

#include "solve/factor_passes.h"
#include "solve/solve_delayed.h"

#include <algorithm>

namespace vyr {

namespace {

void count_columns(const Factor& factor, std::int64_t* ptr) noexcept {
    std::int64_t column = 0;
    ptr[0] = 0;
    for (std::int32_t s = 0; s < factor.analysis->n_snodes; ++s)
        for (std::int32_t k = 0; k < factor.pivoted.nodes[s].n_eliminated; ++k, ++column)
            ptr[column + 1] = ptr[column] + factor.n_front_rows(s) - k;
}

/// The columns of L, written node by node.
struct ColumnWriter {
    const Factor& factor;
    const std::int64_t* ptr;
    std::int32_t* ind;
    double* values;
    const std::int32_t* place;
    std::int32_t* sorted; ///< scratch, as many as a front has rows

    std::int32_t pivot(std::int32_t s, std::int32_t row) const noexcept {
        const PivotedNode& pivoted = factor.pivoted.nodes[s];
        return row < pivoted.n_columns ? pivoted.columns[row]
                                       : factor.analysis->snodes[s].update_rows()[row - pivoted.n_columns];
    }
    std::int32_t row_place(std::int32_t s, std::int32_t row) const noexcept { return place[pivot(s, row)]; }

    // Rows that are not eliminated here come in the order of the ancestors that do it.
    void write(std::int32_t s, const double* block) const noexcept {
        const std::int32_t n_pivots = factor.pivoted.nodes[s].n_eliminated, n_rows = factor.n_front_rows(s);
        for (std::int32_t i = 0; i < n_rows; ++i) sorted[i] = i;
        std::sort(sorted + n_pivots, sorted + n_rows,
                  [&](std::int32_t i, std::int32_t j) { return row_place(s, i) < row_place(s, j); });
        for (std::int32_t k = 0; k < n_pivots; ++k) {
            const double* column = block + static_cast<std::int64_t>(k) * n_rows;
            const double scale = factor.scale_of_pivot(pivot(s, k), 1);
            std::int64_t out = ptr[row_place(s, k)];
            for (std::int32_t i = k; i < n_rows; ++i, ++out) {
                ind[out] = row_place(s, sorted[i]);
                values[out] =
                    i == k ? 1.0 : column[sorted[i]] * scale * factor.scale_of_pivot(pivot(s, sorted[i]), -1);
            }
        }
    }
};

std::int32_t most_rows(const Factor& factor) noexcept {
    std::int32_t most = 1;
    for (std::int32_t s = 0; s < factor.analysis->n_snodes; ++s)
        most = std::max(most, factor.n_front_rows(s));
    return most;
}

} // namespace

Status mf_delayed_columns(Context& context, const Factor& factor, std::int64_t* ptr, std::int32_t* ind,
                          double* values, std::int32_t* order) noexcept {
    const Analysis& analysis = *factor.analysis;
    count_columns(factor, ptr);
    if (ind == nullptr && order == nullptr) return Status::OK;
    Buffer<std::int32_t> place(context.memory, analysis.n), sorted(context.memory, most_rows(factor));
    if (!place || !sorted) return out_of_memory(context);
    mf_elimination_places(factor, place.get());
    for (std::int32_t k = 0; order != nullptr && k < analysis.n; ++k) order[place[k]] = analysis.perm[k];
    if (ind == nullptr) return Status::OK;
    const ColumnWriter writer{factor, ptr, ind, values, place.get(), sorted.get()};
    return mf_visit_nodes(context, factor, true,
                          [&](std::int32_t s, const double* block) noexcept { writer.write(s, block); });
}

Status mf_delayed_diagonal(Context& context, const Factor& factor, double* diagonal,
                           double* beside) noexcept {
    const std::int32_t n = factor.analysis->n;
    Buffer<std::int32_t> place(context.memory, n);
    if (!place) return out_of_memory(context);
    mf_elimination_places(factor, place.get());
    for (std::int32_t k = 0; k < n; ++k) {
        const double scale = factor.scale_of_pivot(k, -1);
        diagonal[place[k]] = factor.diag_values[k] * scale * scale;
        if (beside != nullptr) beside[place[k]] = factor.pivoted.beside[k] * scale;
    }
    // Each entry beside the diagonal belongs to the pivot behind it, too.
    for (std::int32_t k = 0; k < n && beside != nullptr; ++k)
        if (place[k] > 0) beside[place[k] - 1] *= factor.scale_of_pivot(k, -1);
    return Status::OK;
}

} // namespace vyr
