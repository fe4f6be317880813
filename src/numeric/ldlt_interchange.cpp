// Only the upper triangle is stored, so the two rows and columns meet in four pieces: columns p and r above
// row p, the diagonal pair, row p against column r between the two, and rows p and r to the right of column
// r.
#include "numeric/ldlt.h"

#include "platform/blas.h"

#include <utility>

namespace vyr {

namespace {

void exchange(std::int32_t count, double* x, std::int32_t step_x, double* y, std::int32_t step_y) noexcept {
    for (std::int32_t i = 0; i < count; ++i, x += step_x, y += step_y) std::swap(*x, *y);
}

} // namespace

void mf_interchange(const LdltFront& front, std::int32_t first, std::int32_t p, std::int32_t r) noexcept {
    const std::int32_t npiv = front.npiv;
    const std::int32_t between = r - p - 1, right = front.width - r - 1;
    void (*const run)(std::int32_t, double*, std::int32_t, double*, std::int32_t) noexcept =
        front.blas_interchange ? blas::swap : exchange;
    run(p - first, front.column(p) + first, 1, front.column(r) + first, 1);
    std::swap(front.at(p, p), front.at(r, r));
    if (between > 0) run(between, &front.at(p, p + 1), npiv, &front.at(p + 1, r), 1);
    if (right > 0) run(right, &front.at(p, r + 1), npiv, &front.at(r, r + 1), npiv);
}

} // namespace vyr
