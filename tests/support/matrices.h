// Test matrices: lower triangles by columns, rows ascending, and what is needed to judge a solution.
#pragma once

#include <cstdint>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace vyr::test {

/// A symmetric matrix by its lower triangle (or, where a test says so, by whatever it stores).
struct Csc {
    std::int32_t n = 0;
    std::vector<std::int32_t> colptr{0};
    std::vector<std::int32_t> rowind;
    std::vector<double> values;

    std::int32_t nnz() const { return colptr.back(); }
};

inline constexpr double INF = std::numeric_limits<double>::infinity();

using Rng = std::mt19937_64;

/// The seed of the random tests: VYR_TEST_SEED from the environment or a fixed one. Prints it.
std::uint64_t test_seed();

/// True where instructions are emulated (VYR_TEST_SMALL in the environment): the longest tests take less
/// then.
bool small_sizes();

/// Pairs of indices in either order, repeats allowed.
using Edges = std::vector<std::pair<std::int32_t, std::int32_t>>;

Edges random_edges(std::int32_t n, std::int64_t count, Rng& rng);
Edges band_edges(std::int32_t n, std::int32_t half_width);
/// The first `heads` vertices are joined to every other one.
Edges arrow_edges(std::int32_t n, std::int32_t heads);
/// Nearest neighbours in a grid; nz = 1 gives the five-point pattern.
Edges grid_edges(std::int32_t nx, std::int32_t ny, std::int32_t nz = 1);
inline Edges dense_edges(std::int32_t n) {
    return band_edges(n, n - 1);
}
/// `blocks` grids side by side, no edge between them.
Edges disconnected_grid_edges(std::int32_t blocks, std::int32_t nx, std::int32_t ny);

/// Cliques beside each other, each joined to all but a few vertices of a last one.
Edges cliques_and_separator(std::int32_t count, std::int32_t size, std::int32_t separator);

/// Lower triangle with a full diagonal: off-diagonal values random in [-1, 1], the diagonal larger than the
/// sum of its row, so that the matrix is positive definite.
Csc spd(std::int32_t n, const Edges& edges, std::uint64_t seed = 1);
/// Complete graphs, each joined to earlier ones by its last vertex. Indefinite: diagonals negative or 0.
Csc chain(Rng& rng, bool definite);
Csc diagonal(const std::vector<double>& values);

/// New values on the same pattern, still positive definite.
void refill(Csc& a, std::uint64_t seed);

/// A - shift I.
Csc shifted(Csc a, double shift);
/// Both triangles stored.
Csc both_triangles(const Csc& lower);
Csc without_zeros(const Csc& a);
/// Every column's entries in random order.
Csc shuffled(const Csc& a, Rng& rng);

/// action(row, column, value) for every entry stored.
template <typename Matrix, typename Action>
void each_entry(Matrix& a, Action&& action) {
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t k = a.colptr[j]; k < a.colptr[j + 1]; ++k) action(a.rowind[k], j, a.values[k]);
}

using Dense = std::vector<std::vector<double>>;

/// Both triangles, zeros included.
Dense dense(const Csc& lower);

/// Largest sum of the magnitudes of a row.
double norm(const Dense& a);

/// Eigenvalues of a symmetric matrix below t.
int eigenvalues_below(Dense a, double t);

/// A x for a lower triangle.
std::vector<double> multiply(const Csc& lower, const std::vector<double>& x);
std::vector<double> random_vector(std::int32_t n, std::uint64_t seed);

/// ||b - A x|| / (||A|| ||x|| + ||b||), infinity norms, A by its lower triangle.
double backward_error(const Csc& lower, const double* x, const double* b);

/// The largest backward error of several columns.
double worst_error(const Csc& lower, const std::vector<double>& x, const std::vector<double>& b);

/// The upper Cholesky factor of perm' A perm, dense, column-major, by the textbook loops. A must be small.
std::vector<double> dense_cholesky(const Csc& lower, const std::vector<std::int32_t>& perm);

} // namespace vyr::test
