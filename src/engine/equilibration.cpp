// D. Ruiz, "A scaling algorithm to equilibrate both rows and columns norms in matrices", RAL-TR-2001-034
// (2001), in the maximum norm. Here the result is rounded to powers of two, which change no digit of the
// matrix.
#include "engine/condition.h"

#include <algorithm>
#include <cmath>

namespace vyr {

namespace {

/// Each sweep halves the distance to 1 in the exponents of the rows' maxima: this is enough for 1e300 and
/// 1e-300 beside each other.
constexpr int MOST_SWEEPS = 20;

/// Row maxima within this of 1 are left as they are.
constexpr double CLOSE = 0.05;

/// Rows of tiny entries beside equations in far larger ones would need more than a double holds.
constexpr double MOST_SCALE = 0x1p1000;

/// Largest magnitude of every row of S A S.
void row_maxima(const Matrix& a, const double* scale, Buffer<double>& largest) noexcept {
    largest.fill(0.0);
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t k = a.col_ptr[j]; k < a.col_ptr[j + 1]; ++k) {
            const std::int32_t i = a.row_ind[k];
            const double magnitude = std::fabs(a.values[k]) * scale[i] * scale[j];
            largest[i] = std::max(largest[i], magnitude);
            largest[j] = std::max(largest[j], magnitude);
        }
}

} // namespace

Status mf_equilibration(Context& context, const Matrix& a, double* scale) noexcept {
    Buffer<double> largest(context.memory, a.n);
    if (!largest) return out_of_memory(context);
    std::fill_n(scale, a.n, 1.0);
    bool even = false;
    for (int sweep = 0; sweep < MOST_SWEEPS && !even; ++sweep) {
        row_maxima(a, scale, largest);
        even = true;
        for (std::int32_t i = 0; i < a.n; ++i) {
            if (largest[i] == 0.0 || std::fabs(largest[i] - 1.0) <= CLOSE) continue;
            scale[i] = std::min(scale[i] / std::sqrt(largest[i]), MOST_SCALE);
            even = false;
        }
    }
    for (std::int32_t i = 0; i < a.n; ++i)
        scale[i] = std::ldexp(1.0, static_cast<int>(std::rint(std::log2(scale[i]))));
    return Status::OK;
}

} // namespace vyr
