#include "bench/graph_units.h"

#include "bench/front_steps.h"
#include "numeric/work_plan.h"

#include <algorithm>
#include <cmath>

namespace vyr::bench {

namespace {

constexpr double UPDATE_SECONDS = 1e-6; ///< of a subtraction beside its products: the walk to its ancestor

/// Units in the order of their making, which is that of their urgency.
class Units {
public:
    explicit Units(Unit first) : units_{std::move(first)} {}

    std::int32_t add(Unit unit) {
        unit.urgency = -static_cast<double>(units_.size());
        units_.push_back(std::move(unit));
        return static_cast<std::int32_t>(units_.size()) - 1;
    }
    std::int32_t add(double seconds, double bytes) {
        Unit unit;
        unit.steps.push_back({{{seconds, bytes}}});
        return add(std::move(unit));
    }
    /// What unit u costs, and that it is as urgent as unit `like`.
    void set(std::int32_t u, std::int32_t like, double seconds, double bytes) {
        Unit& unit = units_[static_cast<std::size_t>(u)];
        unit.steps.front().parts.front() = {seconds, bytes};
        unit.urgency = units_[static_cast<std::size_t>(like)].urgency;
    }
    void after(std::int32_t before, std::int32_t u) {
        units_[static_cast<std::size_t>(before)].next.push_back(u);
        ++units_[static_cast<std::size_t>(u)].n_before;
    }
    std::vector<Unit> take() { return std::move(units_); }

private:
    std::vector<Unit> units_;
};

/// A bound on what is in use at a time, given out in order.
class Window {
public:
    explicit Window(double size) : size_(size) {}

    /// A unit from which on the next user has its share of the window.
    std::int32_t grant(Units& units, double share) {
        const std::int32_t u = units.add(0, 0);
        units.after(last_, u);
        last_ = u;
        held_ += share;
        users_.push_back({share, {}});
        for (; held_ > size_ && oldest_ + 1 < users_.size(); held_ -= users_[oldest_++].share)
            for (const std::int32_t end : users_[oldest_].ends) units.after(end, u);
        return u;
    }
    /// The last user needs its share until this unit has run.
    void until(std::int32_t u) { users_.back().ends.push_back(u); }

private:
    struct User {
        double share;
        std::vector<std::int32_t> ends;
    };
    double size_, held_ = 0;
    std::size_t oldest_ = 0;
    std::vector<User> users_;
    std::int32_t last_ = 0;
};

class Factorization {
public:
    Factorization(const Analysis& analysis, const Costs& costs, int n_cores)
        : analysis_(analysis),
          graph_(analysis.graph),
          costs_(costs),
          units_(assembly_unit(analysis, costs, n_cores)),
          plan_(analysis, n_cores, LANES),
          owed_(plan_.n_subtrees),
          packed_(plan_.n_panels) {
        if (graph_.n_contributors() == 0) {
            units_.after(0, units_.add(subtree(0, analysis.n_snodes - 1, INT32_MAX)));
            return;
        }
        first_solve_ = allot(graph_.n_columns);
        first_contribution_ = allot(graph_.n_contributions);
        first_panel_ = allot(graph_.n_panels);
        for (std::int32_t t = 0; t < graph_.n_subtrees; ++t) add_subtree(t);
        for (std::int32_t p = 0; p < graph_.n_panels; ++p) add_panel(p);
        for (std::int32_t e = 0; e < graph_.n_contributions; ++e)
            units_.after(first_contribution_ + e, waiting(graph_.contributions[e]));
    }

    std::vector<Unit> take() { return units_.take(); }

private:
    static constexpr std::int32_t LANES = 8;

    /// Places for so many units; the first of them.
    std::int32_t allot(std::int32_t count) {
        const std::int32_t first = units_.add(0, 0);
        for (std::int32_t k = 1; k < count; ++k) units_.add(0, 0);
        return first;
    }

    std::int32_t waiting(const Contribution& contribution) const {
        switch (contribution.next_kind) {
        case Contribution::Next::CONTRIBUTION:
            return first_contribution_ + contribution.next;
        case Contribution::Next::SOLVE:
            return first_solve_ + contribution.next;
        default:
            return first_panel_ + contribution.next;
        }
    }

    Unit subtree(std::int32_t first, std::int32_t root, std::int32_t limit) const {
        const double owed = std::pow(analysis_.snodes[root].nupd, 2);
        Builder builder(analysis_, costs_, 1);
        builder.serial(4 * owed / costs_.bandwidth[0], 4 * owed);
        for (std::int32_t s = first; s <= root; ++s) builder.node(s, limit);
        return builder.take();
    }

    /// Entries that columns c receive: those of a triangle where they are rows themselves.
    double entries(std::int32_t c, const Contribution& rows) const {
        const ReachedColumns& columns = graph_.columns[c];
        const double width = columns.end - columns.begin, height = rows.end - rows.begin;
        return width * (rows.end > columns.begin ? height - 0.5 * width : height);
    }

    void add_subtree(std::int32_t t) {
        const std::int32_t granted = owed_.grant(units_, 1);
        const std::int32_t u = units_.add(subtree(graph_.first[t], graph_.root[t], graph_.root[t] + 1));
        units_.after(granted, u);
        owed_.until(u);
        for_contributions(t, [&](std::int32_t c, std::int32_t e) {
            const double n = entries(c, graph_.contributions[e]);
            units_.set(first_contribution_ + e, u, costs_.pass[0] * n, 24 * n);
            units_.after(u, first_contribution_ + e);
            owed_.until(first_contribution_ + e);
        });
    }

    void add_panel(std::int32_t p) {
        const std::int32_t contributor = graph_.n_subtrees + p, depth = graph_.panels[p].n_pivots();
        const std::int32_t begin = graph_.column_offset[contributor],
                           end = graph_.column_offset[contributor + 1];
        const std::int32_t granted = packed_.grant(units_, 1), panel = first_panel_ + p;
        units_.set(panel, granted, costs_.cholesky_seconds(depth), 8.0 * depth * depth);
        units_.after(granted, panel);
        packed_.until(panel);
        std::int32_t n_rows = 0;
        for (std::int32_t c = begin; c < end; ++c) n_rows += graph_.columns[c].end - graph_.columns[c].begin;
        const double column = costs_.solve_seconds(depth, n_rows) / std::max(1, n_rows);
        const double entry =
            costs_.update_seconds(depth, n_rows, 1, 0) / std::max(1.0, 0.5 * n_rows * n_rows);
        for (std::int32_t c = begin; c < end; ++c) {
            const double width = graph_.columns[c].end - graph_.columns[c].begin, bytes = 16 * depth * width;
            units_.set(first_solve_ + c, granted, column * width + bytes / costs_.bandwidth[0], bytes);
            units_.after(panel, first_solve_ + c);
        }
        for_contributions(contributor, [&](std::int32_t c, std::int32_t e) {
            const double n = entries(c, graph_.contributions[e]);
            units_.set(first_contribution_ + e, granted, UPDATE_SECONDS + entry * n, 16 * n);
            for (std::int32_t solved = begin; solved <= c; ++solved)
                units_.after(first_solve_ + solved, first_contribution_ + e);
            packed_.until(first_contribution_ + e);
        });
    }

    /// body(columns, contribution) for all that a contributor makes.
    template <typename Body>
    void for_contributions(std::int32_t contributor, const Body& body) const {
        for (std::int32_t c = graph_.column_offset[contributor]; c < graph_.column_offset[contributor + 1];
             ++c)
            for (std::int32_t e = graph_.offset[c]; e < graph_.offset[c + 1]; ++e) body(c, e);
    }

    const Analysis& analysis_;
    const EliminationGraph& graph_;
    const Costs& costs_;
    Units units_;
    WorkPlan plan_;
    Window owed_, packed_;
    std::int32_t first_solve_ = 0, first_contribution_ = 0, first_panel_ = 0; ///< units
};

} // namespace

std::vector<Unit> graph_units(const Analysis& analysis, const Costs& costs, int n_cores) {
    return Factorization(analysis, costs, n_cores).take();
}

} // namespace vyr::bench
