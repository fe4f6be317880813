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
      first_columns_(graph_.column_offset[graph_.n_subtrees + panel]),
      loops_(loops),
      kernel_(kernel),
      packed_(packed) {}

Status PanelSteps::factorise(double pivot_min, Factor& factor, std::int32_t& failed_column) const noexcept {
    const std::int32_t first = node_.first();
    const std::int32_t info = mf_dense_cholesky(loops_, kernel_, panel_.n_pivots(),
                                                at(panel_.begin, panel_.begin), node_.npiv, false);
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
    for (std::int32_t c = first_columns_; c <= last; ++c) {
        const ReachedColumns& rows = graph_.columns[c];
        found(rows, left);
        left += std::int64_t{kernel_.padded(rows.end - rows.begin)} * panel_.n_pivots();
    }
}

void PanelSteps::solve(std::int32_t columns) const noexcept {
    const std::int32_t begin = graph_.columns[columns].begin, end = graph_.columns[columns].end;
    double* const block = at(panel_.begin, begin);
    mf_dense_solve(loops_, kernel_, panel_.n_pivots(), at(panel_.begin, panel_.begin), node_.npiv,
                   end - begin, block, node_.npiv);
    double* packed = nullptr;
    for_each_left(columns, [&](const ReachedColumns&, double* left) noexcept { packed = left; });
    kernel_.pack(panel_.n_pivots(), end - begin, block, node_.npiv, packed);
}

void PanelSteps::subtract(std::int32_t columns, std::int32_t contribution) const noexcept {
    const std::int32_t begin = graph_.columns[columns].begin, end = graph_.columns[columns].end;
    const Contribution& wanted = graph_.contributions[contribution];
    std::int32_t place[tuning::PANEL_PIVOTS];
    const auto subtract_from = [&](const mf_snode& owner, double* block,
                                   const std::int32_t* places) noexcept {
        for_each_left(columns, [&](const ReachedColumns& rows, const double* left) noexcept {
            if (rows.begin < wanted.begin || rows.begin >= wanted.end) return;
            Product product{};
            product.depth = panel_.n_pivots();
            product.n_rows = rows.end - rows.begin;
            product.n_columns = end - begin;
            product.left = left;
            product.right = at(panel_.begin, begin);
            product.ld_right = node_.npiv;
            product.first_limit = begin - rows.begin;
            product.target = block;
            product.ld_target = owner.npiv;
            product.rows = node_.rows + rows.begin;
            product.first_row = owner.first();
            product.places = places;
            kernel_.subtract(product);
        });
    };
    const std::int32_t npiv = node_.npiv;
    if (wanted.begin < npiv) { // in the panel's own block
        for (std::int32_t j = begin; j < end; ++j) place[j - begin] = j;
        return subtract_from(node_, block_, place);
    }
    // Every ancestor has its block: the factor lies in core.
    static_cast<void>(mf_walk_ancestors(factor_, panel_.node, INT32_MAX, begin - npiv, end - npiv, place,
                                        [&](const Share& share) noexcept {
                                            if (npiv + share.first_row == wanted.begin)
                                                subtract_from(share.ancestor, share.block, share.place);
                                        }));
}

std::int64_t mf_panel_entries(const EliminationGraph& graph, std::int32_t panel,
                              std::int32_t lanes) noexcept {
    std::int64_t n_rows = 0;
    const std::int32_t* const offset = graph.column_offset.get() + graph.n_subtrees + panel;
    for (std::int32_t c = offset[0]; c < offset[1]; ++c)
        n_rows += graph.columns[c].end - graph.columns[c].begin + lanes - 1;
    return n_rows * graph.panels[panel].n_pivots();
}

} // namespace vyr
