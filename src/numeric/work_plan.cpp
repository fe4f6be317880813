#include "numeric/work_plan.h"

#include "core/tuning.h"
#include "numeric/panel_steps.h"
#include "numeric/spd.h"

#include <algorithm>

namespace vyr {

WorkPlan::WorkPlan(const Analysis& analysis, std::int32_t threads, std::int32_t lanes) noexcept
    : n_threads(analysis.graph.n_contributors() == 0 ? 1 : threads) {
    const EliminationGraph& graph = analysis.graph;
    const auto count_subtree = [&](std::int32_t first, std::int32_t root) noexcept {
        for (std::int32_t s = first; s <= root; ++s)
            thread = std::max(thread, mf_packed_entries(analysis.snodes[s], lanes));
        const std::int64_t nupd = analysis.snodes[root].nupd;
        owed = std::max(owed, nupd * nupd);
    };
    if (graph.n_contributors() == 0) count_subtree(0, analysis.n_snodes - 1);
    for (std::int32_t t = 0; t < graph.n_subtrees; ++t) count_subtree(graph.first[t], graph.root[t]);
    for (std::int32_t p = 0; p < graph.n_panels; ++p)
        panel = std::max(panel, mf_panel_entries(graph, p, lanes));
    n_subtrees = std::min(graph.n_subtrees, n_at_work(analysis, owed));
    n_panels = std::min(graph.n_panels, n_at_work(analysis, panel));
}

/// More than threads, so that some can wait for their turn, but no more than a share of the factor's size.
std::int32_t WorkPlan::n_at_work(const Analysis& analysis, std::int64_t size) const noexcept {
    if (n_threads == 1) return 1;
    const double room = static_cast<double>(analysis.factor_entries) * tuning::WAITING_SHARE;
    const double wanted = room / static_cast<double>(std::max<std::int64_t>(size, 1));
    return static_cast<std::int32_t>(std::clamp(wanted, n_threads + 1.0, tuning::MOST_WAITING * n_threads));
}

} // namespace vyr
