#include "fronts.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace vyr::test {

namespace {

/// Products of factors up to this many times the front may lose no more than the front itself would.
constexpr double SMALL_GROWTH = 100.0;

/// A <- P L A L' P', for the exchange (k, p) and the unit column `l` (entries k + 1 .. n-1) of pivot k.
void apply_factor(Dense& a, std::int32_t k, std::int32_t p, const std::vector<double>& l) {
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t i = k + 1; i < a.n; ++i) a(i, j) += l[i] * a(k, j);
    for (std::int32_t j = k + 1; j < a.n; ++j)
        for (std::int32_t i = 0; i < a.n; ++i) a(i, j) += l[j] * a(i, k);
    for (std::int32_t j = 0; p != k && j < a.n; ++j) std::swap(a(k, j), a(p, j));
    for (std::int32_t i = 0; p != k && i < a.n; ++i) std::swap(a(i, k), a(i, p));
}

/// D and the update matrix on the block diagonal.
Dense middle(const Eliminated& f) {
    const std::int32_t npiv = f.node.npiv;
    Dense t(f.node.n_rows());
    for (std::int32_t k = 0; k < npiv; ++k) t(k, k) = f.block[k + static_cast<std::size_t>(k) * npiv];
    for (std::int32_t k = 0; k + 1 < npiv; ++k)
        t.set(k + 1, k, f.block[k + 1 + static_cast<std::size_t>(k) * npiv]);
    for (std::int32_t j = 0; j < f.node.nupd; ++j)
        for (std::int32_t i = 0; i <= j; ++i)
            t.set(npiv + i, npiv + j, f.update[i + static_cast<std::size_t>(j) * f.node.nupd]);
    return t;
}

} // namespace

Front random_front(std::int32_t npiv, std::int32_t nupd, double weak, Rng& rng, double density) {
    std::uniform_real_distribution<double> entry(-1.0, 1.0), chance(0.0, 1.0);
    Front front(npiv, nupd);
    for (std::int32_t i = 0; i < npiv; ++i) {
        for (std::int32_t j = i + 1; j < npiv + nupd; ++j)
            if (chance(rng) < density) front.dense.set(i, j, entry(rng));
        const double sign = chance(rng) < 0.5 ? -1.0 : 1.0;
        front.dense(i, i) = chance(rng) < weak ? 0.0 : sign * (2.0 + chance(rng)) * (npiv + nupd);
    }
    return front;
}

Front weak_pivot_front(std::int32_t npiv, std::int32_t nupd, std::int32_t k, std::int32_t r, double partner,
                       Rng& rng) {
    std::uniform_real_distribution<double> entry(-0.1, 0.1);
    Front front(npiv, nupd);
    Dense& a = front.dense;
    for (std::int32_t i = 0; i < npiv; ++i) a(i, i) = i % 3 == 0 ? -2.0 : 3.0;
    a(k, k) = 0.0;
    a(r, r) = partner;
    a.set(k, r, 1.0);
    for (std::int32_t column = npiv - 1; column >= 0; --column) {
        std::vector<double> l(static_cast<std::size_t>(a.n), 0.0);
        for (std::int32_t i = column + 1; i < a.n; ++i) l[i] = i == r && column >= k ? 0.0 : entry(rng);
        apply_factor(a, column, column, l);
    }
    for (std::int32_t j = npiv; j < a.n; ++j)
        for (std::int32_t i = npiv; i < a.n; ++i) a(i, j) = 0.0;
    return front;
}

Eliminated eliminate(const Front& front, bool in_place, bool blas_interchange) {
    Eliminated f;
    const std::int32_t npiv = front.npiv, width = npiv + front.nupd;
    f.rows.resize(static_cast<std::size_t>(width));
    std::iota(f.rows.begin(), f.rows.end(), 0);
    f.record.assign(static_cast<std::size_t>(npiv), -1);
    f.block.assign(static_cast<std::size_t>(npiv) * width, NAN);
    for (std::int32_t j = 0; j < width; ++j)
        for (std::int32_t i = 0; i <= std::min(j, npiv - 1); ++i)
            f.block[i + static_cast<std::size_t>(j) * npiv] = front.dense(i, j);
    f.update.assign(static_cast<std::size_t>(front.nupd) * front.nupd + 1, NAN);
    std::vector<double> undivided(static_cast<std::size_t>(npiv) * width, NAN);
    f.node.npiv = npiv;
    f.node.nupd = front.nupd;
    f.node.rows = f.rows.data();
    f.node.factor_block = f.block.data();
    f.node.flags = NODE_ASSEMBLED | NODE_TWO_BY_TWO;
    vyr::mf_solver solver{};
    solver.snodes = &f.node;
    solver.n_snodes = 1;
    solver.front_work = undivided.data();
    solver.work_block = f.update.data();
    solver.pivot_index = f.record.data();
    const std::int64_t pairs_before = mf_n_p2;
    f.n_pivots = MF_S_SYTRF_(solver, 0, LdltMode{in_place, blas_interchange, front.nupd}, f.counters);
    f.n_pairs = mf_n_p2 - pairs_before;
    return f;
}

Dense rebuild(const Eliminated& f, double& magnitude) {
    const std::int32_t npiv = f.node.npiv;
    Dense a = middle(f), absolute = a;
    for (double& value : absolute.a) value = std::fabs(value);
    for (std::int32_t k = npiv - 1; k >= 0; --k) {
        std::vector<double> l(static_cast<std::size_t>(a.n), 0.0);
        for (std::int32_t c = k + 1; c < a.n; ++c) l[c] = f.block[k + static_cast<std::size_t>(c) * npiv];
        apply_factor(a, k, f.record[k], l);
        for (double& value : l) value = std::fabs(value);
        apply_factor(absolute, k, f.record[k], l);
    }
    magnitude = *std::max_element(absolute.a.begin(), absolute.a.end());
    return a;
}

double rebuild_error(const Front& front, const Eliminated& f) {
    double magnitude = 0.0, error = 0.0, largest = 0.0;
    const Dense a = rebuild(f, magnitude);
    for (const double value : front.dense.a) largest = std::fmax(largest, std::fabs(value));
    for (std::size_t i = 0; i < a.a.size(); ++i) {
        const double difference = std::fabs(a.a[i] - front.dense.a[i]);
        if (!(difference <= error)) error = difference; // a NaN counts as the largest
    }
    return error / (magnitude <= SMALL_GROWTH * largest ? largest : magnitude);
}

} // namespace vyr::test
