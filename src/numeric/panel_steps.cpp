#include "numeric/panel_steps.h"

#include "core/tuning.h"
#include "numeric/dense_cholesky.h"
#include "numeric/update_passing.h"

#include <algorithm>

namespace vyr {

PanelSteps::PanelSteps(const Factor& factor, std::int32_t panel, const VectorLoops& loops,
                       const ProductKernel& kernel, double* packed) noexcept
    : factor_(factor),
      graph_(factor.analysis->graph),
      panel_(graph_.panels[panel]),
      node_(factor.analysis->snodes[panel_.node]),
      block_(factor.block(panel_.node)),
      first_contribution_(graph_.offset[graph_.n_subtrees + panel]),
      loops_(loops),
      kernel_(kernel),
      packed_(packed) {}

Status PanelSteps::factorise(double pivot_min, Factor& factor, std::int32_t& failed_column) const noexcept {
    const std::int32_t first = node_.first();
    const std::int32_t info =
        mf_dense_cholesky(loops_, panel_.n_pivots(), at(panel_.begin, panel_.begin), node_.npiv, false);
    for (std::int32_t k = panel_.begin; k < panel_.end; ++k) {
        const double pivot = *at(k, k);
        factor.diag_values[first + k] = pivot;
        if (pivot <= pivot_min) {
            failed_column = first + k;
            return Status::SMALL_PIVOT;
        }
    }
    failed_column = first + panel_.begin + info - 1;
    return info == 0 ? Status::OK : Status::NOT_SPD;
}

template <typename Found>
void PanelSteps::for_each_left(std::int32_t last, const Found& found) const noexcept {
    double* left = packed_;
    for (std::int32_t c = first_contribution_; c <= last; ++c) {
        const Contribution& columns = graph_.contributions[c];
        found(columns, left);
        left += std::int64_t{kernel_.padded(columns.end - columns.begin)} * panel_.n_pivots();
    }
}

void PanelSteps::solve(std::int32_t contribution) const noexcept {
    const auto [target, begin, end, next] = graph_.contributions[contribution];
    double* const columns = at(panel_.begin, begin);
    mf_dense_solve(loops_, panel_.n_pivots(), at(panel_.begin, panel_.begin), node_.npiv, end - begin,
                   columns, node_.npiv);
    double* packed = nullptr;
    for_each_left(contribution, [&](const Contribution&, double* left) noexcept { packed = left; });
    kernel_.pack(panel_.n_pivots(), end - begin, columns, node_.npiv, packed);
}

void PanelSteps::subtract(std::int32_t contribution) const noexcept {
    const Contribution& columns = graph_.contributions[contribution];
    std::int32_t place[tuning::PANEL_PIVOTS];
    // Rows [first, last) of the node's row list, columns of `owner`, in whose row list the columns lie at
    // places[j].
    const auto subtract_rows = [&](const mf_snode& owner, double* target, std::int32_t first,
                                   std::int32_t last, const std::int32_t* places) noexcept {
        for_each_left(contribution, [&](const Contribution& rows, const double* left) noexcept {
            if (rows.begin < first || rows.begin >= last) return;
            Product product{};
            product.depth = panel_.n_pivots();
            product.n_rows = rows.end - rows.begin;
            product.n_columns = columns.end - columns.begin;
            product.left = left;
            product.right = at(panel_.begin, columns.begin);
            product.ld_right = node_.npiv;
            product.first_limit = columns.begin - rows.begin;
            product.target = target;
            product.ld_target = owner.npiv;
            product.rows = node_.rows + rows.begin;
            product.first_row = owner.first();
            product.places = places;
            kernel_.subtract(product);
        });
    };
    const std::int32_t npiv = node_.npiv;
    for (std::int32_t j = columns.begin; j < columns.end; ++j) place[j - columns.begin] = j;
    if (panel_.end < npiv) subtract_rows(node_, block_, panel_.end, npiv, place);
    if (columns.begin < npiv) return;
    // Every ancestor has its block: the factor lies in core.
    static_cast<void>(mf_walk_ancestors(factor_, panel_.node, INT32_MAX, columns.begin - npiv,
                                        columns.end - npiv, place, [&](const Share& share) noexcept {
                                            subtract_rows(share.ancestor, share.block, npiv + share.first_row,
                                                          npiv + share.last_row, share.place);
                                        }));
}

std::int64_t mf_panel_entries(const EliminationGraph& graph, std::int32_t panel,
                              std::int32_t lanes) noexcept {
    std::int64_t n_rows = 0;
    const std::int32_t contributor = graph.n_subtrees + panel;
    for (std::int32_t c = graph.offset[contributor]; c < graph.offset[contributor + 1]; ++c)
        n_rows += graph.contributions[c].end - graph.contributions[c].begin + lanes - 1;
    return n_rows * graph.panels[panel].n_pivots();
}

} // namespace vyr
