// The work of `vyr pivots`: which equations make a factorization fail, or nearly.
#pragma once

#include "tools/vyr/sparse_matrix.h"
#include "vyr/solver.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vyr::tool {

/// What one factorization says about its pivots. Vectors are by equation, 0-based; empty when the analysis
/// failed.
struct PivotResult {
    vyr_status status = VYR_STATUS_OK; ///< of the library
    std::string message;               ///< of the object that failed
    bool spread = false;               ///< the pivots spread over more than the allowed ratio
    double smallest = 0;               ///< the limits in force: smallest acceptable pivot,
    double growth = 0;                 ///< largest ratio of two pivots, off when <= 1
    std::vector<double> pivots; ///< diagonal of L; of a pivot that is not positive, the value before its root
    std::vector<int> marks;     ///< 0; -1: not computed; 1: explains the failure
};

/// True when the factorization succeeded and its pivots keep to the limits.
inline bool accepted(const PivotResult& result) {
    return result.status == VYR_STATUS_OK && !result.spread;
}

/// Analyses and factorises once. `live` shows on standard output which phase is running.
PivotResult find_pivots(const SparseMatrix& a, double smallest, double growth, std::int32_t threads,
                        bool live);

/// Up to `count` computed equations, 0-based, with the smallest (largest) pivots in magnitude, the extreme
/// one first; of equal ones the first equation.
std::vector<std::int32_t> extreme_pivots(const PivotResult& result, int count, bool largest);

/// The answer for people: what went wrong, every marked equation with the reason, the extreme pivots.
std::string pivots_text(const PivotResult& result, int count);

} // namespace vyr::tool
