// The work of `vyr pivots`: which equations make a factorization fail, or nearly.
#pragma once

#include "core/status.h"
#include "tools/vyr/sparse_matrix.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vyr::tool {

/// What one factorization says about its pivots. Vectors are by equation, 0-based; empty when the analysis
/// failed.
struct PivotResult {
    Status status = Status::OK;
    double smallest = 0;        ///< the limits in force: smallest acceptable pivot,
    double growth = 0;          ///< largest ratio of two pivots, off when <= 1
    double bytes_needed = 0;    ///< the request that was refused; 0: none was
    std::vector<double> pivots; ///< diagonal of L; of a pivot that is not positive, the value before its root
    std::vector<int> marks;     ///< 0; -1: not computed; 1: explains the failure
};

/// Analyses and factorises once. `live` shows on standard output which phase is running.
PivotResult find_pivots(const SparseMatrix& a, double smallest, double growth, bool live);

/// Up to `count` computed equations, 0-based, with the smallest (largest) pivots in magnitude, the extreme
/// one first; of equal ones the first equation.
std::vector<std::int32_t> extreme_pivots(const PivotResult& result, int count, bool largest);

/// The answer for people: what went wrong, every marked equation with the reason, the extreme pivots.
std::string pivots_text(const PivotResult& result, int count);

} // namespace vyr::tool
