#include "interface/pivot_report.h"

#include "interface/process_state.h"
#include "interface/status.h"

#include <cfloat>
#include <cmath>
#include <limits>

namespace vyr {

namespace {

/// What the diagonal holds where no pivot was computed.
constexpr double NO_PIVOT = -DBL_MAX;

/// Marks the two pivots whose ratio was too large. Of equal magnitudes the lowest index is taken; nothing
/// is marked when no pivot can be compared.
void mark_extremes(std::int32_t n, const double* pivots, int* marks) noexcept {
    std::int32_t smallest = -1;
    std::int32_t largest = -1;
    double least = std::numeric_limits<double>::infinity();
    double most = -1.0;
    for (std::int32_t i = 0; i < n; ++i) {
        if (pivots[i] == NO_PIVOT) continue;
        const double magnitude = std::fabs(pivots[i]);
        if (magnitude < least) {
            least = magnitude;
            smallest = i;
        }
        if (magnitude > most) {
            most = magnitude;
            largest = i;
        }
    }
    if (smallest >= 0) marks[smallest] = 1;
    if (largest >= 0) marks[largest] = 1;
}

} // namespace

void mf_pivot_report(const mf_solver& solver, double* pivots, int* marks) noexcept {
    const int status = info_status();
    const double threshold = mf_ctrl[CTRL_PIVOT_MIN];
    for (std::int32_t k = 0; k < solver.n; ++k) {
        const std::int32_t i = solver.perm[k];
        const double value = solver.diag_values != nullptr ? solver.diag_values[k] : NO_PIVOT;
        pivots[i] = value;
        marks[i] = value == NO_PIVOT ? -1 : 0;
        // Signed: a negative pivot is always too small, whatever its magnitude.
        if (status == VYR_ERR_SMALL_PIVOT && value != NO_PIVOT && value <= threshold) marks[i] = 1;
    }
    if (status == VYR_ERR_GROWTH) mark_extremes(solver.n, pivots, marks);
}

} // namespace vyr
