#include "engine/inspect.h"

#include "core/pivot_pair.h"
#include "solve/factor_passes.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace vyr {

namespace {

/// Where the interchanges inside the nodes take the pivots of the analysis.
struct EliminationOrder {
    Buffer<std::int32_t> pivot_at; ///< n: pivot of the analysis that is eliminated k-th
    Buffer<std::int32_t> place_of; ///< n: its inverse
};

bool is_ldlt(const Context& context) noexcept {
    return context.settings.type != TYPE_SPD;
}

Status find_order(Context& context, const Factor& factor, EliminationOrder& order) noexcept {
    const Analysis& analysis = *factor.analysis;
    order.pivot_at = Buffer<std::int32_t>(context.memory, analysis.n);
    order.place_of = Buffer<std::int32_t>(context.memory, analysis.n);
    if (!order.pivot_at || !order.place_of) return out_of_memory(context);
    for (std::int32_t k = 0; k < analysis.n; ++k) order.pivot_at[k] = k;
    for (std::int32_t s = 0; is_ldlt(context) && s < analysis.n_snodes; ++s) {
        const std::int32_t first = analysis.snodes[s].first();
        for (std::int32_t k = 0; k < analysis.snodes[s].npiv; ++k)
            std::swap(order.pivot_at[first + k], order.pivot_at[first + factor.pivot_index[first + k]]);
    }
    for (std::int32_t k = 0; k < analysis.n; ++k) order.place_of[order.pivot_at[k]] = k;
    return Status::OK;
}

void count_columns(const Analysis& analysis, std::int64_t* ptr) noexcept {
    ptr[0] = 0;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
        const mf_snode& node = analysis.snodes[s];
        for (std::int32_t k = 0; k < node.npiv; ++k) {
            const std::int32_t column = node.first() + k;
            ptr[column + 1] = ptr[column] + node.n_rows() - k;
        }
    }
}

/// The columns of L, written node by node.
struct ColumnWriter {
    const std::int64_t* ptr;
    std::int32_t* ind;
    double* values;
    const std::int32_t* place_of;
    std::int32_t* sorted; ///< scratch, as many as a node has update rows

    /// record   the node's entries of the pivot record; null: L L^T
    void write(const mf_snode& node, const double* block, const std::int32_t* record) const noexcept;
    void replay(const mf_snode& node, const std::int32_t* record) const noexcept;
};

// The ancestors' interchanges have moved the update rows, each inside the columns of its ancestor.
void ColumnWriter::write(const mf_snode& node, const double* block,
                         const std::int32_t* record) const noexcept {
    const std::int32_t* rows = node.update_rows();
    for (std::int32_t j = 0; j < node.nupd; ++j) sorted[j] = j;
    std::sort(sorted, sorted + node.nupd,
              [&](std::int32_t i, std::int32_t j) { return place_of[rows[i]] < place_of[rows[j]]; });
    for (std::int32_t k = 0; k < node.npiv; ++k) {
        std::int64_t out = ptr[node.first() + k];
        const auto put = [&](std::int32_t row, double value) noexcept {
            ind[out] = row;
            values[out++] = value;
        };
        const double* row_of_u = block + k;
        put(node.first() + k, record != nullptr ? 1.0 : row_of_u[std::int64_t{k} * node.npiv]);
        for (std::int32_t c = k + 1; c < node.npiv; ++c)
            put(node.first() + c, row_of_u[std::int64_t{c} * node.npiv]);
        for (std::int32_t j = 0; j < node.nupd; ++j)
            put(place_of[rows[sorted[j]]], row_of_u[std::int64_t{node.npiv + sorted[j]} * node.npiv]);
    }
    if (record != nullptr) replay(node, record);
}

/// The block has each row of U in the order that held when it was eliminated.
void ColumnWriter::replay(const mf_snode& node, const std::int32_t* record) const noexcept {
    for (std::int32_t k = 1; k < node.npiv; ++k) {
        if (record[k] == k) continue;
        for (std::int32_t i = 0; i < k; ++i) {
            double* column = values + ptr[node.first() + i] - i; // entry c of the node is column[c]
            std::swap(column[k], column[record[k]]);
        }
    }
}

/// The eigenvalues of [d1 e; e d2], the one of larger magnitude first. The other one comes from the
/// determinant, without cancellation: a 2 x 2 pivot is taken only where e^2 is far above d1 d2.
std::pair<double, double> eigenvalues(double d1, double e, double d2) noexcept {
    const double mean = 0.5 * d1 + 0.5 * d2;
    const double larger = mean + std::copysign(std::hypot(0.5 * d1 - 0.5 * d2, e), mean);
    return {larger, e / larger * PivotPair(d1, e, d2).t};
}

void add_eigenvalue(PivotSummary& summary, double value) noexcept {
    const double magnitude = std::fabs(value);
    summary.smallest = std::min(summary.smallest, magnitude);
    summary.largest = std::max(summary.largest, magnitude);
    ++(value > 0 ? summary.positive : value < 0 ? summary.negative : summary.zero);
    summary.log_abs_det += std::log(magnitude);
}

} // namespace

Status mf_factor_columns(Context& context, const Factor& factor, std::int64_t* ptr, std::int32_t* ind,
                         double* values, std::int32_t* order) noexcept {
    if (factor.has_delayed()) return mf_delayed_columns(context, factor, ptr, ind, values, order);
    const Analysis& analysis = *factor.analysis;
    count_columns(analysis, ptr);
    if (ind == nullptr && order == nullptr) return Status::OK;

    EliminationOrder elimination;
    if (const Status status = find_order(context, factor, elimination); status != Status::OK) return status;
    for (std::int32_t k = 0; order != nullptr && k < analysis.n; ++k)
        order[k] = analysis.perm[elimination.pivot_at[k]];
    if (ind == nullptr) return Status::OK;

    const bool ldlt = is_ldlt(context);
    // Nothing needs pivot_at any more.
    const ColumnWriter writer{ptr, ind, values, elimination.place_of.get(), elimination.pivot_at.get()};
    return mf_visit_nodes(context, factor, true, [&](std::int32_t s, const double* block) noexcept {
        const mf_snode& node = analysis.snodes[s];
        writer.write(node, block, ldlt ? factor.pivot_index.get() + node.first() : nullptr);
    });
}

Status mf_factor_diagonal(Context& context, const Factor& factor, double* diagonal, double* beside) noexcept {
    if (factor.has_delayed()) return mf_delayed_diagonal(context, factor, diagonal, beside);
    const Analysis& analysis = *factor.analysis;
    if (beside != nullptr) std::fill_n(beside, analysis.n, 0.0);
    if (!is_ldlt(context)) {
        std::copy_n(factor.diag_values.get(), analysis.n, diagonal);
        return Status::OK;
    }
    return mf_visit_nodes(context, factor, true, [&](std::int32_t s, const double* block) noexcept {
        const mf_snode& node = analysis.snodes[s];
        for (std::int64_t k = 0; k < node.npiv; ++k) {
            const double* d = block + k + k * node.npiv;
            diagonal[node.first() + k] = d[0];
            if (beside != nullptr && k + 1 < node.npiv) beside[node.first() + k] = d[1];
        }
    });
}

Status mf_pivot_summary(Context& context, const Factor& factor, PivotSummary& summary) noexcept {
    const std::int32_t n = factor.analysis->n;
    Buffer<double> diagonal(context.memory, n), beside(context.memory, n);
    if (!diagonal || !beside) return out_of_memory(context);
    const Status status = mf_factor_diagonal(context, factor, diagonal.get(), beside.get());
    if (status != Status::OK) return status;

    summary = PivotSummary();
    summary.smallest = std::numeric_limits<double>::infinity();
    for (std::int32_t k = 0; k < n; ++k) {
        if (beside[k] == 0.0) {
            add_eigenvalue(summary, diagonal[k]);
            continue;
        }
        const auto [larger, smaller] = eigenvalues(diagonal[k], beside[k], diagonal[k + 1]);
        add_eigenvalue(summary, larger);
        add_eigenvalue(summary, smaller);
        ++summary.two_by_two;
        ++k;
    }
    if (!is_ldlt(context)) summary.log_abs_det *= 2;
    summary.sign = summary.zero > 0 ? 0 : summary.negative % 2 == 0 ? 1 : -1;
    return Status::OK;
}

} // namespace vyr
