#include "core/workforce.h"
#include "platform/blas_threads.h"
#include "solve/factor_passes.h"
#include "solve/node_steps.h"
#include "solve/solve.h"
#include "solve/solve_delayed.h"

#include <algorithm>

namespace vyr {

namespace {

/// Columns of n doubles that the parts of one factor work on.
class PartSolver {
public:
    PartSolver(Context& context, const Factor& factor, double* x, std::int32_t nrhs, std::int64_t ldx,
               double* scratch) noexcept
        : context_(context),
          factor_(factor),
          loops_(mf_vector_sweep_loops(context.settings.instructions)),
          ldlt_(context.settings.type != TYPE_SPD),
          x_(x),
          nrhs_(nrhs),
          ldx_(ldx),
          scratch_(scratch) {}

    void to_pivot_order() const noexcept;
    void to_analysed_order() const noexcept;
    Status forward() const noexcept;
    Status divide() const noexcept;
    Status backward() const noexcept;

private:
    std::int32_t n() const noexcept { return factor_.analysis->n; }
    const mf_snode& node(std::int32_t s) const noexcept { return factor_.analysis->snodes[s]; }
    const std::int32_t* record(std::int32_t s) const noexcept {
        return factor_.pivot_index.get() + node(s).first();
    }
    bool two_by_two(std::int32_t s) const noexcept {
        return (factor_.blocks[s].flags & BLOCK_TWO_BY_TWO) != 0;
    }
    template <typename Apply>
    void for_each_column(const Apply& apply) const noexcept {
        for (std::int32_t r = 0; r < nrhs_; ++r) apply(x_ + r * ldx_);
    }
    /// apply(s, block, column) for all nodes with descendants first, or ancestors first.
    template <typename Apply>
    Status sweep(bool ascending, const Apply& apply) const noexcept {
        return mf_visit_nodes(context_, factor_, ascending,
                              [&](std::int32_t s, const double* block) noexcept {
                                  for_each_column([&](double* w) noexcept { apply(s, block, w); });
                              });
    }

    Context& context_;
    const Factor& factor_;
    const SweepLoops& loops_;
    bool ldlt_;
    double* x_;
    std::int32_t nrhs_;
    std::int64_t ldx_;
    double* scratch_; ///< n doubles
};

void PartSolver::to_pivot_order() const noexcept {
    const std::int32_t* perm = factor_.analysis->perm.get();
    for_each_column([&](double* column) noexcept {
        std::copy_n(column, n(), scratch_);
        for (std::int32_t k = 0; k < n(); ++k) column[k] = scratch_[perm[k]];
    });
}

void PartSolver::to_analysed_order() const noexcept {
    const std::int32_t* perm = factor_.analysis->perm.get();
    for_each_column([&](double* column) noexcept {
        std::copy_n(column, n(), scratch_);
        for (std::int32_t k = 0; k < n(); ++k) column[perm[k]] = scratch_[k];
    });
}

Status PartSolver::forward() const noexcept {
    return sweep(true, [&](std::int32_t s, const double* block, double* w) noexcept {
        if (!ldlt_) return mf_llt_forward_node(loops_, node(s), block, w, 1);
        mf_ldlt_forward_node(node(s), block, two_by_two(s), record(s), w, scratch_);
        std::copy_n(scratch_, node(s).npiv, w + node(s).first());
    });
}

Status PartSolver::divide() const noexcept {
    if (!ldlt_) return Status::OK;
    return sweep(true, [&](std::int32_t s, const double* block, double* w) noexcept {
        mf_ldlt_divide_node(node(s), block, two_by_two(s), w, scratch_);
    });
}

Status PartSolver::backward() const noexcept {
    const bool by_blas = context_.settings.type == TYPE_CSYM;
    return sweep(false, [&](std::int32_t s, const double* block, double* w) noexcept {
        if (!ldlt_) return mf_llt_backward_node(loops_, node(s), block, w, 1);
        mf_ldlt_backward_node(node(s), block, record(s), w, scratch_, by_blas);
    });
}

} // namespace

Status mf_solve_part(Context& context, const Factor& factor, SolvePart part, double* x, std::int32_t nrhs,
                     std::int64_t ldx) noexcept {
    context.settings.n_threads = 1;
    if (factor.has_delayed()) return mf_solve_delayed_part(context, factor, part, x, nrhs, ldx);
    const blas::ThreadLimit one_thread(1); // short calls, as in a whole solve
    const Workforce caller(context, 1);
    if (caller.status() != Status::OK) return caller.status();
    Buffer<double> scratch(context.memory, factor.analysis->n);
    if (!scratch) return out_of_memory(context);
    const PartSolver solver(context, factor, x, nrhs, ldx, scratch.get());
    if (part == SolvePart::P || part == SolvePart::PL) solver.to_pivot_order();
    Status status = Status::OK;
    if (part == SolvePart::L || part == SolvePart::PL) status = solver.forward();
    if (part == SolvePart::D) status = solver.divide();
    if (part == SolvePart::LT || part == SolvePart::LTPT) status = solver.backward();
    if (part == SolvePart::PT || part == SolvePart::LTPT) solver.to_analysed_order();
    return status;
}

} // namespace vyr
