// The steps of the elimination of a positive definite matrix, and what they wait for.
#include "core/tuning.h"
#include "symbolic/steps.h"
#include "symbolic/tree_sums.h"

#include <algorithm>
#include <cfloat>

namespace vyr {

namespace {

/// Pivots of each panel of a node but the last: as even as panels of whole tiles can be.
std::int32_t panel_width(std::int32_t npiv) noexcept {
    constexpr std::int32_t TILE = 8;
    const std::int32_t n_panels = (npiv + tuning::PANEL_PIVOTS - 1) / tuning::PANEL_PIVOTS;
    const std::int32_t width = (npiv + n_panels - 1) / n_panels;
    return (width + TILE - 1) / TILE * TILE;
}

class Builder {
public:
    Builder(Context& context, Analysis& analysis) noexcept
        : context_(context),
          analysis_(analysis),
          graph_(analysis.graph),
          first_panel_(context.memory, analysis.n_snodes, -1) {}
    explicit operator bool() const noexcept { return static_cast<bool>(first_panel_); }

    /// The subtrees of the schedule.
    Status take_schedule() noexcept {
        const Schedule& schedule = analysis_.schedule;
        if (schedule.n_threads == 1) return Status::OK;
        is_cut_ = true;
        if (const Status status = allocate_subtrees(schedule.n_tasks - 1); status != Status::OK)
            return status;
        for (std::int32_t t = 0; t + 1 < schedule.n_tasks; ++t) {
            const std::int32_t begin = schedule.task_offset[t], end = schedule.task_offset[t + 1];
            if (begin < end) add_subtree(schedule.task_nodes[begin], schedule.task_nodes[end - 1]);
        }
        return Status::OK;
    }

    /// The largest subtrees with no more than a share of all operations, and larger ones where nothing in
    /// them is worth sharing: chains of small nodes.
    Status cut_tree() noexcept {
        const TreeSums<double> cost(context_.memory, analysis_,
                                    [&](std::int32_t s) { return mf_node_cost(analysis_.snodes[s]); });
        Buffer<std::uint8_t> above(context_.memory, analysis_.n_snodes, std::uint8_t{0});
        if (!cost || !above) return no_memory();
        double total = 0;
        for (std::int32_t s = 0; s < analysis_.n_snodes; ++s)
            total += analysis_.snode_parent[s] == -1 ? cost.sum[s] : 0.0;
        if (total < tuning::SHARED_OPERATIONS) return Status::OK;
        is_cut_ = true;
        const double most = total / std::clamp(total / tuning::SUBTREE_OPERATIONS, tuning::LEAST_SUBTREES,
                                               tuning::MOST_SUBTREES);
        mark_above(cost.sum.get(), most, above.get());
        std::int32_t n_subtrees = 0;
        for (std::int32_t s = 0; s < analysis_.n_snodes; ++s) n_subtrees += is_root(above.get(), s);
        if (const Status status = allocate_subtrees(n_subtrees); status != Status::OK) return status;
        // Small trees of a forest, which owe nothing to anyone, are taken together.
        double together = DBL_MAX;
        for (std::int32_t s = 0; s < analysis_.n_snodes; ++s) {
            if (!is_root(above.get(), s)) continue;
            const bool is_tree = analysis_.snode_parent[s] == -1;
            together += cost.sum[s];
            if (is_tree && together <= most && cost.first[s] == graph_.root[graph_.n_subtrees - 1] + 1) {
                graph_.root[graph_.n_subtrees - 1] = s;
                continue;
            }
            add_subtree(cost.first[s], s);
            together = is_tree ? cost.sum[s] : DBL_MAX;
        }
        return Status::OK;
    }

    /// Everything above the subtrees.
    Status build() noexcept {
        if (!is_cut_) return Status::OK;
        if (const Status status = cut_panels(); status != Status::OK) return status;
        if (graph_.n_contributors() == 1) return give_up();
        // 1. The columns that each contributor reaches.
        std::int64_t n_columns = 0, n_contributions = 0;
        for_each_columns([&](std::int32_t, const ReachedColumns&) { ++n_columns; });
        if (n_columns > INT32_MAX / 2) return give_up();
        graph_.column_offset =
            Buffer<std::int32_t>(context_.memory, std::int64_t{graph_.n_contributors()} + 1);
        graph_.columns = Buffer<ReachedColumns>(context_.memory, n_columns);
        graph_.offset = Buffer<std::int32_t>(context_.memory, n_columns + 1);
        if (!graph_.column_offset || !graph_.columns || !graph_.offset) return no_memory();
        list_columns();
        // 2. What they receive, one block a time.
        for_each_contribution(
            [&](std::int32_t, std::int32_t, std::int32_t, std::int32_t, std::int32_t) { ++n_contributions; });
        if (n_contributions > INT32_MAX / 2) return give_up();
        graph_.contributions = Buffer<Contribution>(context_.memory, n_contributions);
        if (!graph_.contributions) return no_memory();
        return list_contributions();
    }

private:
    Status no_memory() noexcept { return out_of_memory(context_, Status::FACTOR_STORAGE); }

    Status allocate_subtrees(std::int32_t count) noexcept {
        graph_.first = Buffer<std::int32_t>(context_.memory, count);
        graph_.root = Buffer<std::int32_t>(context_.memory, count);
        return graph_.first && graph_.root ? Status::OK : no_memory();
    }

    /// Leaves the tree to one thread.
    Status give_up() noexcept {
        graph_ = EliminationGraph();
        return Status::OK;
    }

    void add_subtree(std::int32_t first, std::int32_t root) noexcept {
        graph_.first[graph_.n_subtrees] = first;
        graph_.root[graph_.n_subtrees++] = root;
    }

    /// A node stands above the subtrees when its own subtree is too much for one thread and can be shared:
    /// the node itself is large, or two of its children are, or one of its children stands above them, too.
    void mark_above(const double* cost, double most, std::uint8_t* above) noexcept {
        const double large_child = most / 8;
        Buffer<std::int32_t>& large_children = first_panel_; // free as yet
        large_children.fill(0);
        for (std::int32_t s = 0; s < analysis_.n_snodes; ++s) {
            const bool can_be_shared = above[s] != 0 || large_children[s] > 1 ||
                                       mf_node_cost(analysis_.snodes[s]) >= tuning::SHARED_FRONT_FLOPS;
            above[s] = cost[s] > most && can_be_shared;
            const std::int32_t parent = analysis_.snode_parent[s];
            if (parent == -1) continue;
            large_children[parent] += cost[s] > large_child;
            above[parent] |= above[s];
        }
        large_children.fill(-1);
    }

    bool is_root(const std::uint8_t* above, std::int32_t s) const noexcept {
        const std::int32_t parent = analysis_.snode_parent[s];
        return above[s] == 0 && (parent == -1 || above[parent] != 0);
    }

    /// The panels of the nodes in no subtree, by level: branches come side by side.
    Status cut_panels() noexcept {
        Buffer<std::int32_t> top(context_.memory, analysis_.n_snodes);
        if (!top) return no_memory();
        std::int32_t n_top = 0, n_panels = 0;
        for (std::int32_t t = 0; t < graph_.n_subtrees; ++t)
            for (std::int32_t s = graph_.first[t]; s <= graph_.root[t]; ++s) first_panel_[s] = -2;
        for (std::int32_t s = 0; s < analysis_.n_snodes; ++s) {
            if (first_panel_[s] == -2) continue;
            top[n_top++] = s;
            const std::int32_t npiv = analysis_.snodes[s].npiv, width = panel_width(npiv);
            n_panels += (npiv + width - 1) / width;
        }
        std::sort(top.get(), top.get() + n_top, [&](std::int32_t a, std::int32_t b) {
            const std::int32_t level_a = analysis_.snodes[a].level, level_b = analysis_.snodes[b].level;
            return level_a != level_b ? level_a < level_b : a < b;
        });
        graph_.panels = Buffer<ColumnPanel>(context_.memory, n_panels);
        if (!graph_.panels) return no_memory();
        for (std::int32_t k = 0; k < n_top; ++k) {
            const std::int32_t npiv = analysis_.snodes[top[k]].npiv, width = panel_width(npiv);
            first_panel_[top[k]] = graph_.n_panels;
            for (std::int32_t begin = 0; begin < npiv; begin += width)
                graph_.panels[graph_.n_panels++] = {top[k], begin, std::min(npiv, begin + width)};
        }
        return Status::OK;
    }

    std::int32_t node_of(std::int32_t contributor) const noexcept {
        return contributor < graph_.n_subtrees ? graph_.root[contributor]
                                               : graph_.panels[contributor - graph_.n_subtrees].node;
    }

    /// Calls found(contributor, columns) by contributor and ascending columns.
    template <typename Found>
    void for_each_columns(const Found& found) noexcept {
        for (std::int32_t k = 0; k < graph_.n_contributors(); ++k) {
            const std::int32_t s = node_of(k);
            for (std::int32_t q = k - graph_.n_subtrees + 1;
                 k >= graph_.n_subtrees && q < graph_.n_panels && graph_.panels[q].node == s; ++q)
                found(k, ReachedColumns{q, graph_.panels[q].begin, graph_.panels[q].end});
            // The update rows, cut where another panel begins.
            const mf_snode& node = analysis_.snodes[s];
            for (std::int32_t begin = node.npiv, end = begin; begin < node.n_rows(); begin = end) {
                const std::int32_t target_node = analysis_.column_map[node.rows[begin]];
                const mf_snode& target = analysis_.snodes[target_node];
                const std::int32_t width = panel_width(target.npiv);
                const std::int32_t panel = (node.rows[begin] - target.first()) / width;
                const std::int32_t beyond = target.first() + std::min(target.npiv, (panel + 1) * width);
                while (end < node.n_rows() && node.rows[end] < beyond) ++end;
                found(k, ReachedColumns{first_panel_[target_node] + panel, begin, end});
            }
        }
    }

    void list_columns() noexcept {
        std::int32_t open = -1;
        for_each_columns([&](std::int32_t contributor, const ReachedColumns& columns) noexcept {
            while (open < contributor) graph_.column_offset[++open] = graph_.n_columns;
            graph_.columns[graph_.n_columns++] = columns;
        });
        while (open < graph_.n_contributors()) graph_.column_offset[++open] = graph_.n_columns;
    }

    /// Calls found(contributor, columns, owner, begin, end) by contributor and columns, for each node `owner`
    /// with rows [begin, end) of the contributor's row list, from its own node up to that of the columns.
    template <typename Found>
    void for_each_contribution(const Found& found) noexcept {
        for (std::int32_t k = 0; k < graph_.n_contributors(); ++k) {
            for (std::int32_t c = graph_.column_offset[k]; c < graph_.column_offset[k + 1]; ++c)
                for (std::int32_t r = graph_.column_offset[k], next = r; r <= c; r = next) {
                    const std::int32_t owner = graph_.panels[graph_.columns[r].target].node;
                    while (next <= c && graph_.panels[graph_.columns[next].target].node == owner) ++next;
                    found(k, c, owner, graph_.columns[r].begin, graph_.columns[next - 1].end);
                }
        }
    }

    /// Links what the same columns of the same block receive. Those are the columns that the block's first
    /// panel reaches, and the panel's own.
    Status list_contributions() noexcept {
        Buffer<std::int32_t> last_received(context_.memory, std::int64_t{graph_.n_columns} + graph_.n_panels,
                                           -1);
        if (!last_received) return no_memory();
        std::int32_t count = 0, open = -1;
        for_each_contribution([&](std::int32_t contributor, std::int32_t c, std::int32_t owner,
                                  std::int32_t begin, std::int32_t end) noexcept {
            while (open < c) graph_.offset[++open] = count;
            const std::int32_t panel = contributor - graph_.n_subtrees, target = graph_.columns[c].target;
            const bool is_own = panel >= 0 && graph_.panels[panel].node == owner;
            const std::int32_t receiver = is_own ? panel + 1 : first_panel_[owner];
            Contribution& contribution = graph_.contributions[count];
            if (receiver == target)
                contribution = {begin, end, Contribution::Next::PANEL, target};
            else
                contribution = {begin, end, Contribution::Next::SOLVE, columns_of(receiver, target)};
            if (!is_own) {
                const bool diagonal = receiver == target;
                std::int32_t& last = last_received[diagonal ? graph_.n_columns + target : contribution.next];
                if (last >= 0) {
                    graph_.contributions[last].next_kind = Contribution::Next::CONTRIBUTION;
                    graph_.contributions[last].next = count;
                }
                last = count;
            }
            ++count;
        });
        while (open < graph_.n_columns) graph_.offset[++open] = count;
        graph_.n_contributions = count;
        return Status::OK;
    }

    /// Where the columns of panel `target` stand among those that panel `panel` reaches.
    std::int32_t columns_of(std::int32_t panel, std::int32_t target) const noexcept {
        const ReachedColumns* const begin = graph_.columns.get();
        const std::int32_t* const offset = graph_.column_offset.get() + graph_.n_subtrees + panel;
        return static_cast<std::int32_t>(std::lower_bound(begin + offset[0], begin + offset[1], target,
                                                          [](const ReachedColumns& columns, std::int32_t t) {
                                                              return columns.target < t;
                                                          }) -
                                         begin);
    }

    Context& context_;
    Analysis& analysis_;
    EliminationGraph& graph_;
    bool is_cut_ = false;              ///< there is work for several threads
    Buffer<std::int32_t> first_panel_; ///< n_snodes: a node's first panel; below 0 in subtrees
};

} // namespace

Status mf_elimination_graph(Context& context, Analysis& analysis) noexcept {
    if (context.settings.tree_schedule && context.settings.type != TYPE_SPD) return Status::OK;
    Builder builder(context, analysis);
    if (!builder) return out_of_memory(context, Status::FACTOR_STORAGE);
    const Status status = context.settings.tree_schedule ? builder.cut_tree() : builder.take_schedule();
    return status == Status::OK ? builder.build() : status;
}

} // namespace vyr
