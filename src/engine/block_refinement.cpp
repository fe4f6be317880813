// Wilkinson, "Rounding Errors in Algebraic Processes", 1963, with residuals in working precision (Skeel,
// "Iterative refinement implies numerical stability for Gaussian elimination", Math. Comp. 35, 1980).
#include "engine/solver.h"

#include "engine/residual.h"

#include <algorithm>
#include <cmath>

namespace vyr {

namespace {

constexpr double GOOD_ERROR = 1e-14; ///< solutions with a backward error up to this are left as they are
constexpr std::int32_t PANEL_COLUMNS = 32; ///< solutions at a time, which bounds the memory it takes

/// The larger one; NaN when one of them is.
double worse(double a, double b) noexcept {
    return std::isnan(a) || a > b ? a : b;
}

/// Some solutions of one system; those at hand are still being improved.
class Panel {
public:
    Panel(Context& context, const SolverFactor& solver) noexcept
        : context_(context), solver_(solver), n_(solver.analysis.canonical.n) {}

    /// b, x: the first of `count` columns.
    Status run(std::int32_t count, const double* b, std::int64_t ldb, double* x, std::int64_t ldx,
               int most_steps) noexcept;

    int steps = 0;          ///< that improved a solution
    double worst_error = 0; ///< NaN when there is one

private:
    struct Column {
        double* x;
        const double* b;
        double* residual; ///< b - A x
        double error;
    };

    Status judge_first() noexcept;
    Status step() noexcept;
    Status solve_for_residuals() noexcept;
    void let_go(const Column& column) noexcept { worst_error = worse(worst_error, column.error); }

    Context& context_;
    const SolverFactor& solver_;
    std::int64_t n_;
    Buffer<double> residuals_, better_; ///< n for each column
    Column at_hand_[PANEL_COLUMNS];
    JudgedColumn judged_[PANEL_COLUMNS];
    std::int32_t n_at_hand_ = 0;
};

Status Panel::run(std::int32_t count, const double* b, std::int64_t ldb, double* x, std::int64_t ldx,
                  int most_steps) noexcept {
    if (most_steps > 0) residuals_ = Buffer<double>(context_.memory, n_ * count);
    if (most_steps > 0 && !residuals_) return out_of_memory(context_);
    for (std::int32_t k = 0; k < count; ++k)
        at_hand_[k] = {x + k * ldx, b + k * ldb, residuals_ ? residuals_.get() + k * n_ : nullptr, 0};
    n_at_hand_ = count;
    if (const Status status = judge_first(); status != Status::OK) return status;
    for (int k = 0; k < most_steps && n_at_hand_ > 0; ++k)
        if (const Status status = step(); status != Status::OK) return status;
    for (std::int32_t k = 0; k < n_at_hand_; ++k) let_go(at_hand_[k]);
    return Status::OK;
}

/// Keeps at hand what is not good.
Status Panel::judge_first() noexcept {
    for (std::int32_t k = 0; k < n_at_hand_; ++k)
        judged_[k] = {at_hand_[k].x, at_hand_[k].b, at_hand_[k].residual, 0};
    const Status status = mf_judge(context_, solver_.matrix(), solver_.norm, judged_, n_at_hand_);
    if (status != Status::OK) return status;
    std::int32_t n_bad = 0;
    for (std::int32_t k = 0; k < n_at_hand_; ++k) {
        at_hand_[k].error = judged_[k].error;
        if (at_hand_[k].error > GOOD_ERROR)
            at_hand_[n_bad++] = at_hand_[k];
        else
            let_go(at_hand_[k]);
    }
    n_at_hand_ = n_bad;
    return Status::OK;
}

/// better_ := the solutions for the residuals of the columns at hand, one behind the other.
Status Panel::solve_for_residuals() noexcept {
    if (!better_) better_ = Buffer<double>(context_.memory, n_ * n_at_hand_);
    if (!better_) return out_of_memory(context_);
    for (std::int32_t k = 0; k < n_at_hand_; ++k)
        std::copy_n(at_hand_[k].residual, n_, better_.get() + k * n_);
    return mf_solver_apply(context_, solver_, n_at_hand_, better_.get());
}

/// One step for every column at hand; those go on that it has helped and that are not good yet.
Status Panel::step() noexcept {
    if (const Status status = solve_for_residuals(); status != Status::OK) return status;
    for (std::int32_t k = 0; k < n_at_hand_; ++k) {
        double* better = better_.get() + k * n_;
        for (std::int64_t i = 0; i < n_; ++i) better[i] += at_hand_[k].x[i];
        judged_[k] = {better, at_hand_[k].b, at_hand_[k].residual, 0};
    }
    const Status status = mf_judge(context_, solver_.matrix(), solver_.norm, judged_, n_at_hand_);
    if (status != Status::OK) return status;
    std::int32_t n_going_on = 0;
    bool helped_any = false;
    for (std::int32_t k = 0; k < n_at_hand_; ++k) {
        Column& column = at_hand_[k];
        const bool helped = judged_[k].error <= 0.5 * column.error;
        if (helped) {
            std::copy_n(judged_[k].x, n_, column.x);
            column.error = judged_[k].error;
        }
        helped_any = helped_any || helped;
        if (helped && column.error > GOOD_ERROR)
            at_hand_[n_going_on++] = column;
        else
            let_go(column);
    }
    n_at_hand_ = n_going_on;
    steps += helped_any ? 1 : 0;
    return Status::OK;
}

} // namespace

Status mf_refine(Context& context, const SolverFactor& factor, std::int32_t nrhs, const double* b,
                 std::int64_t ldb, double* x, std::int64_t ldx, SolveCall& call) noexcept {
    const int most_steps = call.refinements;
    call.refinements = 0;
    call.backward_error = 0;
    for (std::int32_t first = 0; first < nrhs; first += PANEL_COLUMNS) {
        Panel panel(context, factor);
        const Status status = panel.run(std::min(nrhs - first, PANEL_COLUMNS), b + first * ldb, ldb,
                                        x + first * ldx, ldx, most_steps);
        if (status != Status::OK) return status;
        call.refinements = std::max(call.refinements, panel.steps);
        call.backward_error = worse(call.backward_error, panel.worst_error);
    }
    return Status::OK;
}

} // namespace vyr
