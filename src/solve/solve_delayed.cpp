#include "solve/solve_delayed.h"

#include "core/pivot_pair.h"
#include "solve/factor_passes.h"
#include "solve/front_substitution.h"
#include "solve/sweep_loops.h"
#include "solve/tree_sweeps.h"

#include <algorithm>

namespace vyr {

namespace {

constexpr std::int32_t WIDEST_PANEL = 32; ///< right-hand sides at a time

enum class Numbering { ANALYSED, PIVOTS, ELIMINATION };

/// Right-hand sides in the order of the analysis's pivots, those of one variable side by side.
class Panel {
public:
    Panel(Context& context, const Factor& factor, std::int32_t width) noexcept
        : context_(context),
          factor_(factor),
          loops_(mf_front_substitution(context.settings.instructions)),
          stride_(width == 1 ? 1 : std::int64_t{width + PANEL_LANES - 1} / PANEL_LANES * PANEL_LANES),
          sweeps_(context, *factor.analysis, stride_) {}

    /// Room for the right-hand sides; `by_elimination` when vectors come or go in that numbering.
    Status open(bool by_elimination) noexcept;

    template <typename Steps>
    void run(const Steps& steps) noexcept {
        sweeps_.run(steps);
    }
    void load(Numbering from, int power, const double* x, std::int32_t nrhs, std::int64_t ldx) noexcept;
    void store(Numbering to, int power, double* x, std::int32_t nrhs, std::int64_t ldx) noexcept;
    Status forward() noexcept;
    void divide() noexcept;
    Status backward() noexcept;

private:
    double* of(std::int32_t variable) const noexcept { return sweeps_.w() + variable * stride_; }
    std::int32_t place(Numbering numbering, std::int32_t variable) const noexcept {
        if (numbering == Numbering::PIVOTS) return variable;
        return numbering == Numbering::ANALYSED ? factor_.analysis->perm[variable] : place_[variable];
    }
    UnitTrapezoid front(std::int32_t s, const double* block) const noexcept {
        const std::int32_t n_rows = factor_.n_front_rows(s);
        return {n_rows, factor_.pivoted.nodes[s].n_eliminated, block, n_rows};
    }
    // Of the node s, whose record is `node`, perhaps with other rows, through the rows t of its front.
    void gather(const mf_snode& node, std::int32_t s, double* t) const noexcept;
    void scatter(const mf_snode& node, std::int32_t s, std::int32_t n_rows, const double* t) const noexcept;
    void forward_node(const mf_snode& node, std::int32_t s, const double* block, double* t,
                      Crew* crew) const noexcept;
    void backward_node(const mf_snode& node, std::int32_t s, const double* block, double* t,
                       Crew* crew) const noexcept;
    void divide_pivot(std::int32_t variable) noexcept;
    void divide_pair(std::int32_t first, std::int32_t second) noexcept;

    Context& context_;
    const Factor& factor_;
    const FrontSubstitution& loops_;
    std::int64_t stride_;
    TreeSweeps sweeps_;
    Buffer<std::int32_t> place_;
};

Status Panel::open(bool by_elimination) noexcept {
    std::int64_t most_rows = 0;
    for (std::int32_t s = 0; s < factor_.analysis->n_snodes; ++s)
        most_rows = std::max<std::int64_t>(most_rows, factor_.n_front_rows(s));
    if (const Status status = sweeps_.open(most_rows * stride_); status != Status::OK) return status;
    if (!by_elimination) return Status::OK;
    place_ = Buffer<std::int32_t>(context_.memory, factor_.analysis->n);
    if (!place_) return out_of_memory(context_);
    mf_elimination_places(factor_, place_.get());
    return Status::OK;
}

void Panel::load(Numbering from, int power, const double* x, std::int32_t nrhs, std::int64_t ldx) noexcept {
    sweeps_.for_rows([&](std::int32_t begin, std::int32_t end) noexcept {
        for (std::int32_t k = begin; k < end; ++k) {
            const double* row = x + place(from, k);
            const double scale = factor_.scale_of_pivot(k, power);
            for (std::int32_t r = 0; r < nrhs; ++r) of(k)[r] = scale * row[r * ldx];
            for (std::int64_t r = nrhs; r < stride_; ++r) of(k)[r] = 0;
        }
    });
}

void Panel::store(Numbering to, int power, double* x, std::int32_t nrhs, std::int64_t ldx) noexcept {
    sweeps_.for_rows([&](std::int32_t begin, std::int32_t end) noexcept {
        for (std::int32_t k = begin; k < end; ++k) {
            double* row = x + place(to, k);
            const double scale = factor_.scale_of_pivot(k, power);
            for (std::int32_t r = 0; r < nrhs; ++r) row[r * ldx] = scale * of(k)[r];
        }
    });
}

void Panel::gather(const mf_snode& node, std::int32_t s, double* t) const noexcept {
    const PivotedNode& pivoted = factor_.pivoted.nodes[s];
    for (std::int32_t k = 0; k < pivoted.n_columns; ++k, t += stride_)
        std::copy_n(of(pivoted.columns[k]), stride_, t);
    for (std::int32_t k = 0; k < node.nupd; ++k, t += stride_)
        std::copy_n(of(node.update_rows()[k]), stride_, t);
}

void Panel::scatter(const mf_snode& node, std::int32_t s, std::int32_t n_rows,
                    const double* t) const noexcept {
    const PivotedNode& pivoted = factor_.pivoted.nodes[s];
    const std::int32_t n_columns = std::min(n_rows, pivoted.n_columns);
    for (std::int32_t k = 0; k < n_columns; ++k, t += stride_)
        std::copy_n(t, stride_, of(pivoted.columns[k]));
    for (std::int32_t k = 0; k < n_rows - n_columns; ++k, t += stride_)
        std::copy_n(t, stride_, of(node.update_rows()[k]));
}

void Panel::forward_node(const mf_snode& node, std::int32_t s, const double* block, double* t,
                         Crew* crew) const noexcept {
    gather(node, s, t);
    mf_front_forward(loops_, front(s, block), t, stride_, crew);
    scatter(node, s, factor_.n_front_rows(s), t);
}

void Panel::backward_node(const mf_snode& node, std::int32_t s, const double* block, double* t,
                          Crew* crew) const noexcept {
    gather(node, s, t);
    mf_front_backward(loops_, front(s, block), t, stride_, crew);
    scatter(node, s, factor_.pivoted.nodes[s].n_eliminated, t);
}

Status Panel::forward() noexcept {
    if (factor_.files.count == 0)
        return sweeps_.forward([this](const mf_snode& node, std::int32_t s, double* t, Crew* crew) noexcept {
            if (factor_.block(s) != nullptr) forward_node(node, s, factor_.block(s), t, crew);
        });
    return mf_visit_nodes(context_, factor_, true, [this](std::int32_t s, const double* block) noexcept {
        forward_node(factor_.analysis->snodes[s], s, block, sweeps_.scratch(), nullptr);
    });
}

Status Panel::backward() noexcept {
    if (factor_.files.count == 0)
        return sweeps_.backward([this](const mf_snode& node, std::int32_t s, double* t, Crew* crew) noexcept {
            if (factor_.block(s) != nullptr) backward_node(node, s, factor_.block(s), t, crew);
        });
    return mf_visit_nodes(context_, factor_, false, [this](std::int32_t s, const double* block) noexcept {
        backward_node(factor_.analysis->snodes[s], s, block, sweeps_.scratch(), nullptr);
    });
}

/// A zero pivot leaves its component free; 0 serves a consistent system.
void Panel::divide_pivot(std::int32_t variable) noexcept {
    const double d = factor_.diag_values[variable];
    double* x = of(variable);
    for (std::int64_t r = 0; r < stride_; ++r) x[r] = d == 0 ? 0 : x[r] / d;
}

void Panel::divide_pair(std::int32_t first, std::int32_t second) noexcept {
    const PivotPair pair(factor_.diag_values[first], factor_.pivoted.beside[first],
                         factor_.diag_values[second]);
    double *x = of(first), *y = of(second);
    for (std::int64_t r = 0; r < stride_; ++r) {
        const double z1 = x[r], z2 = y[r];
        x[r] = pair.first(z1, z2) / pair.t;
        y[r] = pair.second(z1, z2) / pair.t;
    }
}

void Panel::divide() noexcept {
    for (std::int32_t s = 0; s < factor_.analysis->n_snodes; ++s) {
        const PivotedNode& pivoted = factor_.pivoted.nodes[s];
        for (std::int32_t k = 0; k < pivoted.n_eliminated; ++k) {
            const std::int32_t variable = pivoted.columns[k];
            if (factor_.pivoted.beside[variable] == 0)
                divide_pivot(variable);
            else
                divide_pair(variable, pivoted.columns[++k]);
        }
    }
}

/// A way through the factor: between two numberings, some of the three steps.
struct Way {
    Numbering from, to;
    bool forward, divide, backward;

    Status go(Context& context, const Factor& factor, double* x, std::int32_t nrhs,
              std::int64_t ldx) const noexcept {
        const bool by_elimination = from == Numbering::ELIMINATION || to == Numbering::ELIMINATION;
        // With S A S = L D L^T, A is (S^-1 L S) (S^-1 D S^-1) (S L^T S^-1).
        const int power_before = forward || divide ? 1 : backward ? -1 : 0;
        const int power_behind = backward || divide ? 1 : forward ? -1 : 0;
        Panel panel(context, factor, std::min(nrhs, WIDEST_PANEL));
        if (const Status status = panel.open(by_elimination); status != Status::OK) return status;
        for (std::int32_t first = 0; first < nrhs; first += WIDEST_PANEL) {
            const std::int32_t width = std::min(nrhs - first, WIDEST_PANEL);
            double* columns = x + first * ldx;
            Status status = Status::OK;
            panel.run([&]() noexcept {
                panel.load(from, power_before, columns, width, ldx);
                status = forward ? panel.forward() : Status::OK;
                if (status == Status::OK && divide) panel.divide();
                if (status == Status::OK && backward) status = panel.backward();
                if (status == Status::OK) panel.store(to, power_behind, columns, width, ldx);
            });
            if (status != Status::OK) return status;
        }
        return Status::OK;
    }
};

} // namespace

Status mf_solve_delayed(Context& context, const Factor& factor, double* x, std::int32_t nrhs,
                        std::int64_t ldx) noexcept {
    return Way{Numbering::ANALYSED, Numbering::ANALYSED, true, true, true}.go(context, factor, x, nrhs, ldx);
}

Status mf_solve_delayed_part(Context& context, const Factor& factor, SolvePart part, double* x,
                             std::int32_t nrhs, std::int64_t ldx) noexcept {
    using enum Numbering;
    const auto go = [&](const Way& way) noexcept { return way.go(context, factor, x, nrhs, ldx); };
    switch (part) {
    case SolvePart::P:
        return go({ANALYSED, PIVOTS, false, false, false});
    case SolvePart::L:
        return go({PIVOTS, ELIMINATION, true, false, false});
    case SolvePart::D:
        return go({ELIMINATION, ELIMINATION, false, true, false});
    case SolvePart::LT:
        return go({ELIMINATION, PIVOTS, false, false, true});
    case SolvePart::PT:
        return go({PIVOTS, ANALYSED, false, false, false});
    case SolvePart::PL:
        return go({ANALYSED, ELIMINATION, true, false, false});
    default:
        return go({ELIMINATION, ANALYSED, false, false, true});
    }
}

void mf_elimination_places(const Factor& factor, std::int32_t* place) noexcept {
    std::int32_t next = 0;
    for (std::int32_t s = 0; s < factor.analysis->n_snodes; ++s) {
        const PivotedNode& pivoted = factor.pivoted.nodes[s];
        for (std::int32_t k = 0; k < pivoted.n_eliminated; ++k) place[pivoted.columns[k]] = next++;
    }
}

} // namespace vyr
