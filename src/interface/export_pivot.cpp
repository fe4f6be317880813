// VYR_pivot_ld: which pivots the last factorization found, and which of them explain its failure.
#include "interface/handle.h"
#include "interface/process_state.h"

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

/// Fills `pivots` and `marks`, n entries each, by the caller's numbering.
void report_pivots(const mf_solver& solver, double threshold, double* pivots, int* marks) noexcept {
    const Analysis& analysis = solver.analysis;
    for (std::int32_t k = 0; k < analysis.n; ++k) {
        const std::int32_t i = analysis.perm[k];
        const double value = solver.factor.diag_values[k];
        pivots[i] = value;
        marks[i] = value == NO_PIVOT ? -1 : 0;
        // Signed: a negative pivot is always too small, whatever its magnitude.
        if (solver.factor_status == Status::SMALL_PIVOT && value != NO_PIVOT && value <= threshold)
            marks[i] = 1;
    }
    if (solver.factor_status == Status::GROWTH) mark_extremes(analysis.n, pivots, marks);
}

} // namespace

} // namespace vyr

extern "C" int VYR_pivot_ld(VYR_handle h, double* pivots, int* marks) {
    const mf_solver* solver = vyr::live_handle(h);
    if (solver == nullptr || pivots == nullptr || marks == nullptr) return VYR_OK;
    vyr::report_pivots(*solver, vyr::process_state().mf_ctrl[vyr::CTRL_PIVOT_MIN], pivots, marks);
    return VYR_OK;
}
