// J. R. Bunch and L. Kaufman, "Some stable methods for calculating inertia and solving symmetric linear
// systems", Math. Comp. 31 (1977). Two things differ: the search stops at the node's last pivot column,
// because rows of the coupling block belong to ancestors; and alpha is 10^-6 of theirs, because an
// interchange costs the deferred updates while refinement and the small growth of practical matrices forgive
// a weak diagonal pivot.
#include "numeric/ldlt.h"
#include "platform/blas.h"

#include <cmath>
#include <utility>

namespace vyr {

namespace {

/// 10^-6 (1 + sqrt(17)) / 8.
constexpr double ALPHA = 6.403882032022075e-07;

double larger(double a, double b) noexcept {
    return b > a ? b : a;
}

/// Largest magnitude of x[begin .. end-1]; four chains, so that one comparison need not wait for the last.
double largest_magnitude(const double* x, std::int32_t begin, std::int32_t end) noexcept {
    double m0 = 0.0, m1 = 0.0, m2 = 0.0, m3 = 0.0;
    std::int32_t i = begin;
    for (; i + 3 < end; i += 4) {
        m0 = larger(m0, std::fabs(x[i]));
        m1 = larger(m1, std::fabs(x[i + 1]));
        m2 = larger(m2, std::fabs(x[i + 2]));
        m3 = larger(m3, std::fabs(x[i + 3]));
    }
    for (; i < end; ++i) m0 = larger(m0, std::fabs(x[i]));
    return larger(larger(m0, m1), larger(m2, m3));
}

/// Largest off-diagonal magnitude in row and column r of the active pivot rows k .. npiv-1.
double largest_beside(const LdltFront& front, std::int32_t k, std::int32_t r) noexcept {
    double sigma = largest_magnitude(front.column(r), k, r);
    for (std::int32_t c = r + 1; c < front.npiv; ++c) sigma = larger(sigma, std::fabs(front.at(r, c)));
    return sigma;
}

void exchange(std::int32_t count, double* x, std::int32_t step_x, double* y, std::int32_t step_y) noexcept {
    for (std::int32_t i = 0; i < count; ++i, x += step_x, y += step_y) std::swap(*x, *y);
}

} // namespace

bool mf_diagonal_dominates(const double* row, std::int32_t k, std::int32_t npiv) noexcept {
    return !(ALPHA * largest_magnitude(row, k + 1, npiv) > std::fabs(row[k]));
}

PivotChoice mf_choose_pivot(const LdltFront& front, std::int32_t k, LdltCounters& counters) noexcept {
    double lambda = 0.0;
    std::int32_t r = k;
    for (std::int32_t c = k + 1; c < front.npiv; ++c) {
        const double magnitude = std::fabs(front.at(k, c));
        if (magnitude > lambda) {
            lambda = magnitude;
            r = c;
        }
    }
    if (r == k) return {PivotKind::DIAGONAL, k};
    const double sigma = largest_beside(front, k, r);
    // alpha lambda^2 > sigma a, formed without the square, which underflows for tiny lambda.
    if (!(ALPHA * lambda * (lambda / sigma) > std::fabs(front.at(k, k)))) return {PivotKind::DIAGONAL, k};
    ++counters.second_tests;
    if (std::fabs(front.at(r, r)) > ALPHA * sigma) return {PivotKind::INTERCHANGED, r};
    return {PivotKind::TWO_BY_TWO, r};
}

// Only the upper triangle is stored, so the two rows and columns meet in four pieces: columns p and r above
// row p, the diagonal pair, row p against column r between the two, and rows p and r to the right of column
// r.
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
