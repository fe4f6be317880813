// The schedule of L L^T on more cores than this machine has.
#pragma once

#include <string>
#include <vector>

namespace vyr::bench {

struct SimulationPlan {
    std::vector<std::string> matrices;
    std::vector<int> cores = {1, 2, 4, 8, 16, 32, 64};
    std::string costs; ///< file of what was measured; made when it is not there; empty: measured every time
    bool measure = false; ///< factorise as well, on as many threads as there are processors, one to all
    int rounds = 3;
    bool tasks = false; ///< the tasks of factors out of core, as if they were in core, instead of the graph
};

/// One row a matrix and number of cores, on standard output. Throws std::runtime_error.
void print_simulation(const SimulationPlan& plan);

} // namespace vyr::bench
