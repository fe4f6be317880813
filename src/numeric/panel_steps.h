// What a panel of pivots above the subtrees does, one target panel at a time.
#pragma once

#include "core/factor.h"
#include "numeric/product_kernel.h"
#include "numeric/vector_loops.h"

namespace vyr {

/// A panel at work. It may be worked on by several threads, each with another contribution.
class PanelSteps {
public:
    /// packed: mf_panel_entries doubles, of this panel alone
    PanelSteps(const Factor& factor, std::int32_t panel, const VectorLoops& loops,
               const ProductKernel& kernel, double* packed) noexcept;

    /// Cholesky of the panel's diagonal block, when everything has been received. The pivots go to
    /// diag_values. Returns OK, SMALL_PIVOT or NOT_SPD; then `failed_column` is the column, in pivot order.
    Status factorise(double pivot_min, Factor& factor, std::int32_t& failed_column) const noexcept;

    /// Solves columns that the panel reaches with its triangle and packs them, when they have received in the
    /// panel's own block everything that comes before.
    void solve(std::int32_t columns) const noexcept;

    /// Subtracts one contribution of the panel from the columns it is for, when they and those before them
    /// are solved.
    void subtract(std::int32_t columns, std::int32_t contribution) const noexcept;

private:
    /// Calls found(rows, left) for all the panel reaches up to `last`: columns, rows of the product, as
    /// packed.
    template <typename Found>
    void for_each_left(std::int32_t last, const Found& found) const noexcept;

    double* at(std::int32_t row, std::int32_t place) const noexcept {
        return block_ + row + static_cast<std::int64_t>(place) * node_.npiv;
    }

    const Factor& factor_;
    const EliminationGraph& graph_;
    const ColumnPanel panel_;
    const mf_snode& node_;
    double* block_; ///< of the node
    std::int32_t first_columns_;
    const VectorLoops& loops_;
    const ProductKernel& kernel_;
    double* packed_;
};

/// Doubles in which a panel packs its columns with a kernel of so many lanes.
std::int64_t mf_panel_entries(const EliminationGraph& graph, std::int32_t panel, std::int32_t lanes) noexcept;

} // namespace vyr
