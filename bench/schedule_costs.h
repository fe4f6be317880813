// What the pieces of a factorization L L^T cost on this machine, measured by shape.
#pragma once

#include "core/analysis.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vyr::bench {

/// Seconds on a grid of shapes; between its lines by powers.
using Grid = std::vector<double>;

struct Costs {
    // Fronts on one thread, by pivots and update rows; the blocks come from memory.
    Grid cholesky, solve;
    Grid node;                     ///< all of a node, with one ancestor that owns consecutive rows
    Grid node_ancestors;           ///< the same with PROBE_ANCESTORS ancestors
    Grid node_scattered;           ///< the same with one that owns every other row
    Grid product;                  ///< 1 / rate of a matrix product, by depth; seconds an operation
    std::vector<double> pass;      ///< seconds of adding an update's entry into an ancestor
    std::vector<double> bandwidth; ///< bytes a second, read and written in turn: one thread; two threads
    std::vector<double>
        task; ///< seconds: a task's making and taking; a sleeper's waking; a turn with the lock
    std::vector<double> company; ///< seconds beside a core that works over those beside an idle one
    std::vector<double>
        serial; ///< seconds a node that a run spends before and behind its tasks; an input entry

    double cholesky_seconds(std::int32_t n_pivots) const;
    double solve_seconds(std::int32_t n_pivots, double n_columns) const;
    double product_seconds(double depth, double flops) const;
    /// Of an update: the node without Cholesky and solve. `n_ancestors` own rows; `scattered` is the share of
    /// the rows that do not follow each other.
    double update_seconds(std::int32_t n_pivots, std::int32_t n_rows, double n_ancestors,
                          double scattered) const;
    double node_seconds(std::int32_t n_pivots, std::int32_t n_rows, double n_ancestors,
                        double scattered) const;

private:
    /// All of a node within the grid.
    double grid_seconds(std::int32_t n_pivots, std::int32_t n_rows, double n_ancestors,
                        double scattered) const;
};

/// Measures all of it, on an idle machine within a minute.
Costs measure_costs();

/// Throw std::runtime_error.
void save_costs(const Costs& costs, const std::string& file);
Costs load_costs(const std::string& file);

} // namespace vyr::bench
