// L L^T as a graph of tasks that is the same on any number of cores: subtrees, then panels of the nodes
// above.
#pragma once

#include "bench/event_simulator.h"
#include "bench/schedule_costs.h"
#include "core/analysis.h"

#include <cstdint>

namespace vyr::bench {

struct GraphPlan {
    double subtree_share = 1.0 / 512; ///< of all operations: the largest subtree that is one task
    std::int32_t panel = 256;         ///< pivots of a panel, and columns of a band
    double packed_window = 1;         ///< panels that may be packed at a time, for each core
    double owed_window = 1; ///< the same of buffers for what subtrees owe, counted as the largest one
};

/// The tasks, each of one part. Every node above the subtrees is cut into panels of pivots, whose columns are
/// also the bands that updates go to. A panel is factored; its columns of each band are solved; then it is
/// subtracted from the columns of each band and the rows of each ancestor. What subtrees and panels
/// contribute to one place comes in an order of the tree alone, so that results do not depend on the cores.
std::vector<Unit> graph_units(const Analysis& analysis, const Costs& costs, int n_cores,
                              const GraphPlan& plan);

} // namespace vyr::bench
