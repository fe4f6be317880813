#include "bench/factorization_units.h"

#include "bench/front_steps.h"

#include <algorithm>
#include <cmath>

namespace vyr::bench {

std::vector<Unit> factorization_units(const Analysis& analysis, const Costs& costs) {
    const Schedule& schedule = analysis.schedule;
    const std::int32_t n_threads = schedule.n_threads, top = schedule.n_tasks;
    std::vector<Unit> units{assembly_unit(analysis, costs, n_threads)};
    for (std::int32_t t = 0; t < schedule.n_tasks; ++t) {
        const std::int32_t* nodes = schedule.task_nodes.get() + schedule.task_offset[t];
        const std::int32_t n_nodes = schedule.task_offset[t + 1] - schedule.task_offset[t];
        const bool owes = n_threads > 1 && t + 1 < schedule.n_tasks && n_nodes > 0;
        const std::int32_t limit = owes ? nodes[n_nodes - 1] + 1 : INT32_MAX;
        const double owed = owes ? 0.5 * std::pow(analysis.snodes[limit - 1].nupd, 2) : 0;
        Builder builder(analysis, costs, n_threads);
        if (owes) builder.serial(8 * owed / costs.bandwidth[0], 8 * owed);
        for (std::int32_t k = 0; k < n_nodes; ++k) builder.node(nodes[k], limit);
        if (owes) builder.locked(costs.pass[0] * owed, 24 * owed);
        units.push_back(builder.take());
        if (t + 1 == schedule.n_tasks) break;
        units.front().next.push_back(t + 1);
        units.back().n_before = 1;
        units.back().next.push_back(top);
        units.back().urgency = -t;
    }
    units.back().n_before = top - 1;
    if (top == 1) {
        units.front().next.push_back(top);
        units.back().n_before = 1;
    }
    return units;
}

} // namespace vyr::bench
