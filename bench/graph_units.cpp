#include "bench/graph_units.h"

#include "bench/front_steps.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace vyr::bench {

namespace {

constexpr double UPDATE_SECONDS = 1e-6; ///< of a subtraction beside its products: the walk to its ancestor

/// Columns of a node that lie in one band: positions [first, last) among the rows that a task reaches.
struct Run {
    std::int32_t band, owner; ///< owner: the node that has the band's pivots
    std::int32_t first, last;

    double width() const { return last - first; }
};

/// Units in the order of their making, which is that of their urgency.
class Graph {
public:
    explicit Graph(Unit first) : units_{std::move(first)} {}

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
    std::int32_t grant(Graph& graph, double share) {
        const std::int32_t u = graph.add(0, 0);
        graph.after(last_, u);
        last_ = u;
        held_ += share;
        users_.push_back({share, {}});
        for (; held_ > size_ && oldest_ + 1 < users_.size(); held_ -= users_[oldest_++].share)
            for (const std::int32_t end : users_[oldest_].ends) graph.after(end, u);
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

/// The tree cut into subtrees and the nodes above them, their bands numbered.
struct Cut {
    std::vector<std::int32_t> first;      ///< by node: first node of its subtree
    std::vector<std::int32_t> roots, top; ///< the nodes above by level
    std::vector<std::int32_t> band_of;    ///< by column; of the nodes above
    std::vector<std::int32_t> owner_of;   ///< by band

    Cut(const Analysis& analysis, const GraphPlan& plan) {
        const auto n = static_cast<std::size_t>(analysis.n_snodes);
        std::vector<double> cost(n);
        first.assign(n, -1);
        double total = 0;
        for (std::size_t s = 0; s < n; ++s) {
            const auto number = static_cast<std::int32_t>(s);
            total += mf_node_cost(analysis.snodes[number]);
            cost[s] += mf_node_cost(analysis.snodes[number]);
            if (first[s] < 0) first[s] = number;
            if (analysis.snode_parent[number] < 0) continue;
            const auto parent = static_cast<std::size_t>(analysis.snode_parent[number]);
            cost[parent] += cost[s];
            if (first[parent] < 0) first[parent] = first[s];
        }
        const double most = total * plan.subtree_share;
        for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
            const std::int32_t parent = analysis.snode_parent[s];
            if (cost[static_cast<std::size_t>(s)] > most)
                top.push_back(s);
            else if (parent < 0 || cost[static_cast<std::size_t>(parent)] > most)
                roots.push_back(s);
        }
        std::stable_sort(top.begin(), top.end(), [&](std::int32_t a, std::int32_t b) {
            return analysis.snodes[a].level < analysis.snodes[b].level;
        });
        number_bands(analysis, plan.panel);
    }

    std::vector<Run> runs(const std::int32_t* rows, std::int32_t n) const {
        std::vector<Run> found;
        for (std::int32_t j = 0; j < n; ++j) {
            const std::int32_t band = band_of[static_cast<std::size_t>(rows[j])];
            if (found.empty() || found.back().band != band)
                found.push_back({band, owner_of[static_cast<std::size_t>(band)], j, j});
            found.back().last = j + 1;
        }
        return found;
    }

private:
    void number_bands(const Analysis& analysis, std::int32_t panel) {
        band_of.assign(static_cast<std::size_t>(analysis.n), -1);
        for (const std::int32_t s : top) {
            const mf_snode& node = analysis.snodes[s];
            for (std::int32_t k = 0; k < node.npiv; ++k) {
                if (k % panel == 0) owner_of.push_back(s);
                band_of[static_cast<std::size_t>(node.first() + k)] =
                    static_cast<std::int32_t>(owner_of.size()) - 1;
            }
        }
    }
};

class Factorization {
public:
    Factorization(const Analysis& analysis, const Costs& costs, int n_cores, const GraphPlan& plan)
        : analysis_(analysis),
          costs_(costs),
          cut_(analysis, plan),
          graph_(assembly_unit(analysis, costs, n_cores)),
          packed_(std::max(1.0, plan.packed_window * n_cores)),
          owed_(largest_owed() * std::max(1.0, plan.owed_window * n_cores)) {
        for (const std::int32_t root : cut_.roots) subtree(root);
        for (const std::int32_t s : cut_.top)
            for (std::int32_t k = 0; k < analysis.snodes[s].npiv; k += plan.panel)
                panel(s, k, std::min(plan.panel, analysis.snodes[s].npiv - k));
    }

    std::vector<Unit> take() { return graph_.take(); }

private:
    double owed(std::int32_t root) const { return std::pow(analysis_.snodes[root].nupd, 2); }
    double largest_owed() const {
        double most = 0;
        for (const std::int32_t root : cut_.roots) most = std::max(most, owed(root));
        return most;
    }

    /// The unit that contributed last to an ancestor's rows of a band.
    std::int32_t& last(std::int32_t owner, std::int32_t band) {
        return last_[(static_cast<std::int64_t>(owner) << 32) + band];
    }

    /// body(owner, entries, begin, end) for the runs [begin, end) of each ancestor whose rows the columns of
    /// run `b` reach.
    template <typename Body>
    static void for_owners(const std::vector<Run>& runs, std::size_t b, const Body& body) {
        for (std::size_t begin = 0, end = 0; begin <= b; begin = end) {
            double entries = 0;
            for (; end <= b && runs[end].owner == runs[begin].owner; ++end)
                entries += runs[b].width() * runs[end].width() * (end == b ? 0.5 : 1);
            body(runs[begin].owner, entries, begin, end);
        }
    }

    void contribute(std::int32_t u, std::int32_t owner, std::int32_t band, Window& window) {
        graph_.after(last(owner, band), u);
        last(owner, band) = u;
        window.until(u);
    }

    void subtree(std::int32_t root) {
        const mf_snode& node = analysis_.snodes[root];
        const std::int32_t granted = owed_.grant(graph_, owed(root));
        Builder builder(analysis_, costs_, 1);
        builder.serial(4 * owed(root) / costs_.bandwidth[0], 4 * owed(root));
        for (std::int32_t s = cut_.first[static_cast<std::size_t>(root)]; s <= root; ++s)
            builder.node(s, root + 1);
        const std::int32_t u = graph_.add(builder.take());
        graph_.after(granted, u);
        owed_.until(u);
        const std::vector<Run> runs = cut_.runs(node.update_rows(), node.nupd);
        for (std::size_t b = 0; b < runs.size(); ++b)
            for_owners(runs, b, [&](std::int32_t owner, double entries, std::size_t, std::size_t) {
                const std::int32_t pass = graph_.add(costs_.pass[0] * entries, 24 * entries);
                graph_.after(u, pass);
                contribute(pass, owner, runs[b].band, owed_);
            });
    }

    /// Pivots [k, k + depth) of a node above the subtrees.
    void panel(std::int32_t s, std::int32_t k, std::int32_t depth) {
        const mf_snode& node = analysis_.snodes[s];
        const std::int32_t n_rows = node.n_rows() - k - depth;
        const std::int32_t granted = packed_.grant(graph_, 1);
        const std::int32_t p = graph_.add(costs_.cholesky_seconds(depth), 8.0 * depth * depth);
        graph_.after(granted, p);
        graph_.after(last(s, cut_.band_of[static_cast<std::size_t>(node.first() + k)]), p);
        packed_.until(p);

        const std::vector<Run> runs = cut_.runs(node.rows + k + depth, n_rows);
        const double column = costs_.solve_seconds(depth, n_rows) / std::max(1, n_rows);
        std::vector<std::int32_t> solved;
        for (const Run& run : runs) {
            const double bytes = 16 * depth * run.width();
            solved.push_back(graph_.add(column * run.width() + bytes / costs_.bandwidth[0], bytes));
            graph_.after(p, solved.back());
            graph_.after(last(s, run.band), solved.back());
        }
        const double entry =
            costs_.update_seconds(depth, n_rows, 1, 0) / std::max(1.0, 0.5 * n_rows * n_rows);
        for (std::size_t b = 0; b < runs.size(); ++b)
            for_owners(runs, b, [&](std::int32_t owner, double entries, std::size_t begin, std::size_t end) {
                const std::int32_t u = graph_.add(UPDATE_SECONDS + entry * entries, 16 * entries);
                for (std::size_t c = begin; c < end; ++c) graph_.after(solved[c], u);
                if (end <= b) graph_.after(solved[b], u);
                contribute(u, owner, runs[b].band, packed_);
            });
    }

    const Analysis& analysis_;
    const Costs& costs_;
    Cut cut_;
    Graph graph_;
    Window packed_, owed_;
    std::unordered_map<std::int64_t, std::int32_t> last_;
};

} // namespace

std::vector<Unit> graph_units(const Analysis& analysis, const Costs& costs, int n_cores,
                              const GraphPlan& plan) {
    return Factorization(analysis, costs, n_cores, plan).take();
}

} // namespace vyr::bench
