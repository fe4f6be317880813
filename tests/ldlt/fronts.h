// One front outside of any tree: made up, eliminated by the kernel, and multiplied together again.
#pragma once

#include "numeric/ldlt_kernel.h"
#include "support/matrices.h"

#include <cstdint>
#include <vector>

namespace vyr::test {

/// A square matrix, column-major.
struct Dense {
    std::int32_t n = 0;
    std::vector<double> a;

    explicit Dense(std::int32_t order = 0) : n(order), a(static_cast<std::size_t>(order) * order, 0.0) {}
    double& operator()(std::int32_t i, std::int32_t j) { return a[i + static_cast<std::size_t>(j) * n]; }
    double operator()(std::int32_t i, std::int32_t j) const { return a[i + static_cast<std::size_t>(j) * n]; }
    void set(std::int32_t i, std::int32_t j, double value) { (*this)(i, j) = (*this)(j, i) = value; }
};

/// A symmetric front of npiv + nupd rows; the nupd x nupd corner is zero.
struct Front {
    std::int32_t npiv, nupd;
    Dense dense;

    Front(std::int32_t n_pivots, std::int32_t n_updates)
        : npiv(n_pivots), nupd(n_updates), dense(npiv + nupd) {}
};

/// The front after the kernel.
struct Eliminated {
    mf_snode node{};
    std::vector<std::int32_t> rows, record;
    std::vector<double> block, update;
    LdltCounters counters;
    std::int64_t n_pairs = 0;  ///< 2 x 2 pivots
    std::int32_t n_pivots = 0; ///< the kernel's answer
};

/// Random symmetric front; the share `weak` of the pivots gets a zero diagonal, the others a large one.
/// `density`: share of non-zero entries; zero diagonals survive the elimination of other pivots only in
/// sparse fronts.
Front random_front(std::int32_t npiv, std::int32_t nupd, double weak, Rng& rng, double density = 1.0);

/// A front that needs no interchange before pivot k, where the diagonal is 0 and row r is the only large one;
/// `partner` is the diagonal at r.
Front weak_pivot_front(std::int32_t npiv, std::int32_t nupd, std::int32_t k, std::int32_t r, double partner,
                       Rng& rng);

Eliminated eliminate(const Front& front, bool in_place, bool blas_interchange);

/// Multiplies D, the update matrix and the pivots' factors together, last pivot first, as the substitution
/// undoes them. `magnitude` gets the largest entry of the same product of magnitudes.
Dense rebuild(const Eliminated& f, double& magnitude);

/// Largest difference between the front and its rebuilt factors, relative to the front's largest entry; where
/// the factors have grown far beyond it, to the product of their magnitudes.
double rebuild_error(const Front& front, const Eliminated& f);

} // namespace vyr::test
