// The factorization L L^T of an analysis as units of work with their costs.
#pragma once

#include "bench/event_simulator.h"
#include "bench/schedule_costs.h"
#include "core/analysis.h"

namespace vyr::bench {

/// Subtrees and the top task as the analysis has them for its number of threads, in strips as the code cuts
/// them.
std::vector<Unit> factorization_units(const Analysis& analysis, const Costs& costs);

} // namespace vyr::bench
