// L L^T in core as the code does it: the steps of the elimination graph.
#pragma once

#include "bench/event_simulator.h"
#include "bench/schedule_costs.h"
#include "core/analysis.h"

namespace vyr::bench {

/// The steps of analysis.graph, each a unit of one part, with as many subtrees and panels at work as the code
/// has on so many cores. Of an empty graph there is one unit.
std::vector<Unit> graph_units(const Analysis& analysis, const Costs& costs, int n_cores);

} // namespace vyr::bench
