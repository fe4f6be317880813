#include "core/tuning.h"
#include "solve/node_steps.h"
#include "solve/substitution.h"
#include "solve/tree_sweeps.h"

#include <algorithm>

namespace vyr {

namespace {

/// The values of a variable are adjacent: a row of the work block.
class Substitution {
public:
    Substitution(Context& context, const Factor& factor, std::int32_t widest) noexcept
        : factor_(factor),
          loops_(widest == 1 ? mf_vector_sweep_loops(context.settings.instructions)
                             : mf_panel_sweep_loops(context.settings.instructions)),
          stride_(widest == 1 ? 1 : std::int64_t{widest + PANEL_LANES - 1} / PANEL_LANES * PANEL_LANES),
          sweeps_(context, *factor.analysis, stride_) {}

    [[nodiscard]] Status open() noexcept { return sweeps_.open(0); }
    /// The solutions of `width` right-hand sides, in place.
    Status solve(double* x, std::int32_t width) noexcept {
        Status status = Status::OK;
        sweeps_.run([&]() noexcept {
            load(x, width);
            status = forward();
            if (status == Status::OK) status = backward();
            if (status == Status::OK) store(x, width);
        });
        return status;
    }

private:
    void load(const double* x, std::int32_t width) noexcept;
    void store(double* x, std::int32_t width) noexcept;
    Status forward() noexcept {
        return sweeps_.forward([this](const mf_snode& node, std::int32_t s, double*, Crew* crew) noexcept {
            mf_llt_forward_node(loops_, node, factor_.block(s), sweeps_.w(), stride_, crew);
        });
    }
    Status backward() noexcept {
        return sweeps_.backward([this](const mf_snode& node, std::int32_t s, double*, Crew* crew) noexcept {
            mf_llt_backward_node(loops_, node, factor_.block(s), sweeps_.w(), stride_, crew);
        });
    }

    const Factor& factor_;
    const SweepLoops& loops_;
    std::int64_t stride_;
    TreeSweeps sweeps_;
};

void Substitution::load(const double* x, std::int32_t width) noexcept {
    const std::int64_t n = factor_.analysis->n;
    const std::int32_t* perm = factor_.analysis->perm.get();
    sweeps_.for_rows([&](std::int64_t begin, std::int64_t end) noexcept {
        for (std::int64_t k = begin; k < end; ++k) {
            double* const row = sweeps_.w() + k * stride_;
            for (std::int32_t r = 0; r < width; ++r) row[r] = x[r * n + perm[k]];
            std::fill(row + width, row + stride_, 0.0);
        }
    });
}

void Substitution::store(double* x, std::int32_t width) noexcept {
    const std::int64_t n = factor_.analysis->n;
    const std::int32_t* perm = factor_.analysis->perm.get();
    sweeps_.for_rows([&](std::int64_t begin, std::int64_t end) noexcept {
        for (std::int32_t r = 0; r < width; ++r)
            for (std::int64_t k = begin; k < end; ++k) x[r * n + perm[k]] = sweeps_.w()[k * stride_ + r];
    });
}

} // namespace

Status mf_solve_llt(Context& context, const Factor& factor, double* X, std::int32_t nrhs) noexcept {
    const std::int32_t widest = std::min(nrhs, tuning::MOST_RHS_AT_ONCE);
    Substitution substitution(context, factor, widest);
    Status status = substitution.open();
    for (std::int32_t first = 0; first < nrhs && status == Status::OK; first += widest)
        status =
            substitution.solve(X + std::int64_t{first} * factor.analysis->n, std::min(widest, nrhs - first));
    return status;
}

} // namespace vyr
