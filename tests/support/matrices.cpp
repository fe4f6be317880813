#include "support/matrices.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <map>
#include <numeric>

namespace vyr::test {

namespace {

using Entries = std::map<std::pair<std::int32_t, std::int32_t>, double>; // by column and row

Csc from_entries(std::int32_t n, const Entries& entries) {
    Csc a{n, std::vector<std::int32_t>(static_cast<std::size_t>(n) + 1), {}, {}};
    for (const auto& [place, value] : entries) {
        ++a.colptr[place.first + 1];
        a.rowind.push_back(place.second);
        a.values.push_back(value);
    }
    std::partial_sum(a.colptr.begin(), a.colptr.end(), a.colptr.begin());
    return a;
}

/// The infinity norm; NaN when an entry is.
double largest(const std::vector<double>& x) {
    double found = 0;
    for (const double entry : x)
        if (!std::isnan(found) && !(std::abs(entry) <= found)) found = std::abs(entry);
    return found;
}

} // namespace

std::uint64_t test_seed() {
    const char* text = std::getenv("VYR_TEST_SEED");
    const std::uint64_t seed = text != nullptr ? std::strtoull(text, nullptr, 10) : 20240229;
    std::cout << "seed " << seed << " (set VYR_TEST_SEED to change it)" << std::endl;
    return seed;
}

bool small_sizes() {
    return std::getenv("VYR_TEST_SMALL") != nullptr;
}

Edges random_edges(std::int32_t n, std::int64_t count, Rng& rng) {
    std::uniform_int_distribution<std::int32_t> vertex(0, n - 1);
    Edges edges(count);
    for (auto& edge : edges) edge = {vertex(rng), vertex(rng)};
    return edges;
}

Edges band_edges(std::int32_t n, std::int32_t half_width) {
    Edges edges;
    for (std::int32_t j = 0; j < n; ++j)
        for (std::int32_t i = j + 1; i <= std::min(n - 1, j + half_width); ++i) edges.emplace_back(i, j);
    return edges;
}

Edges arrow_edges(std::int32_t n, std::int32_t heads) {
    Edges edges;
    for (std::int32_t j = 0; j < heads; ++j)
        for (std::int32_t i = j + 1; i < n; ++i) edges.emplace_back(i, j);
    return edges;
}

Edges grid_edges(std::int32_t nx, std::int32_t ny, std::int32_t nz) {
    Edges edges;
    for (std::int32_t z = 0; z < nz; ++z)
        for (std::int32_t y = 0; y < ny; ++y)
            for (std::int32_t x = 0; x < nx; ++x) {
                const std::int32_t at = (z * ny + y) * nx + x;
                if (x + 1 < nx) edges.emplace_back(at, at + 1);
                if (y + 1 < ny) edges.emplace_back(at, at + nx);
                if (z + 1 < nz) edges.emplace_back(at, at + nx * ny);
            }
    return edges;
}

Edges disconnected_grid_edges(std::int32_t blocks, std::int32_t nx, std::int32_t ny) {
    Edges edges;
    for (std::int32_t block = 0; block < blocks; ++block)
        for (auto [i, j] : grid_edges(nx, ny)) edges.emplace_back(i + block * nx * ny, j + block * nx * ny);
    return edges;
}

Edges cliques_and_separator(std::int32_t count, std::int32_t size, std::int32_t separator) {
    Edges edges;
    const std::int32_t first = count * size;
    for (auto [i, j] : dense_edges(separator)) edges.emplace_back(first + i, first + j);
    for (std::int32_t c = 0; c < count; ++c) {
        for (auto [i, j] : dense_edges(size)) edges.emplace_back(c * size + i, c * size + j);
        for (std::int32_t k = 0; k < size * separator; ++k)
            if (k % separator % count != c)
                edges.emplace_back(c * size + k / separator, first + k % separator);
    }
    return edges;
}

Csc spd(std::int32_t n, const Edges& edges, std::uint64_t seed) {
    Entries entries;
    for (std::int32_t j = 0; j < n; ++j) entries[{j, j}] = 0;
    for (auto [i, j] : edges) entries[std::minmax(i, j)] = 0;
    Csc a = from_entries(n, entries);
    refill(a, seed);
    return a;
}

void refill(Csc& a, std::uint64_t seed) {
    const std::vector<double> values = random_vector(a.nnz(), seed);
    auto value = values.begin();
    std::vector<double> row_sum(a.n, 1.0);
    each_entry(a, [&](std::int32_t i, std::int32_t j, double& entry) {
        if (i == j) return;
        entry = *value++;
        row_sum[i] += std::abs(entry);
        row_sum[j] += std::abs(entry);
    });
    each_entry(a, [&](std::int32_t i, std::int32_t j, double& entry) {
        if (i == j) entry = row_sum[j];
    });
}

Csc chain(Rng& rng, bool definite) {
    Edges edges;
    std::vector<bool> weak;
    for (auto count = 3 + rng() % 8; count > 0; --count) {
        const auto first = static_cast<int>(weak.size()), size = static_cast<int>(1 + rng() % 40);
        for (auto [i, j] : dense_edges(size)) edges.emplace_back(first + i, first + j);
        for (int k = 1; k < size; ++k) weak.push_back(!definite && size > 4 && rng() % 2 == 0);
        weak.push_back(false);
        for (int k = 0; first > 0 && k < 3; ++k)
            if (const auto other = rng() % first; !weak[other]) edges.emplace_back(first + size - 1, other);
    }
    Csc a = spd(static_cast<std::int32_t>(weak.size()), edges, rng());
    for (std::int32_t j = 0; j < a.n; ++j)
        if (weak[j] || (!definite && rng() % 2 == 0)) a.values[a.colptr[j]] *= weak[j] ? 0 : -1;
    return a;
}

Csc diagonal(const std::vector<double>& values) {
    Csc a = spd(static_cast<std::int32_t>(values.size()), {});
    a.values = values;
    return a;
}

Csc shifted(Csc a, double shift) {
    for (std::int32_t j = 0; j < a.n; ++j) a.values[a.colptr[j]] -= shift;
    return a;
}

Csc both_triangles(const Csc& lower) {
    Entries entries;
    each_entry(lower, [&](std::int32_t i, std::int32_t j, double value) {
        entries[{i, j}] = entries[{j, i}] = value;
    });
    return from_entries(lower.n, entries);
}

Csc without_zeros(const Csc& a) {
    Entries entries;
    each_entry(a, [&](std::int32_t i, std::int32_t j, double value) {
        if (value != 0) entries[{j, i}] = value;
    });
    return from_entries(a.n, entries);
}

Csc shuffled(const Csc& a, Rng& rng) {
    Csc result = a;
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t k = a.colptr[j]; k + 1 < a.colptr[j + 1]; ++k) {
            const std::int32_t other = std::uniform_int_distribution(k, a.colptr[j + 1] - 1)(rng);
            std::swap(result.rowind[k], result.rowind[other]);
            std::swap(result.values[k], result.values[other]);
        }
    return result;
}

Dense dense(const Csc& lower) {
    Dense d(lower.n, std::vector<double>(lower.n));
    each_entry(lower, [&](std::int32_t i, std::int32_t j, double value) { d[i][j] = d[j][i] = value; });
    return d;
}

double norm(const Dense& a) {
    std::vector<double> sums;
    for (const auto& row : a) {
        sums.push_back(0);
        for (const double value : row) sums.back() += std::abs(value);
    }
    return largest(sums);
}

// Negative pivots of A - t I, by Bunch and Parlett's complete pivoting (1971): a pair has one of each sign.
int eigenvalues_below(Dense a, double t) {
    const int n = static_cast<int>(a.size());
    for (int i = 0; i < n; ++i) a[i][i] -= t;
    int count = 0;
    for (int k = 0, last = 0; k < n; k = last + 1) {
        int d = k, p = k, q = k; // the largest entry of the diagonal and the largest one below it
        for (int i = k; i < n; ++i) {
            if (std::abs(a[i][i]) > std::abs(a[d][d])) d = i;
            for (int j = k; j < i; ++j)
                if (p == q || std::abs(a[i][j]) > std::abs(a[p][q])) p = i, q = j;
        }
        const bool pair = p != q && std::abs(a[d][d]) < 0.64 * std::abs(a[p][q]);
        last = pair ? k + 1 : k;
        for (const auto& [to, from] : {std::pair{k, pair ? q : d}, std::pair{last, pair ? p : k}}) {
            std::swap(a[to], a[from]);
            for (auto& row : a) std::swap(row[to], row[from]);
        }
        const double x = a[k][k], y = pair ? a[k][last] : 0, z = pair ? a[last][last] : 1;
        const double determinant = x * z - y * y;
        if (determinant == 0) break; // so is all the rest
        count += pair || x < 0;
        for (int i = last + 1; i < n; ++i) {
            const double u = a[i][k], v = pair ? a[i][last] : 0;
            const double l = (z * u - y * v) / determinant, m = (x * v - y * u) / determinant;
            for (int j = last + 1; j < n; ++j) a[i][j] -= l * a[k][j] + m * a[last][j];
        }
    }
    return count;
}

std::vector<double> multiply(const Csc& lower, const std::vector<double>& x) {
    std::vector<double> y(lower.n, 0.0);
    each_entry(lower, [&](std::int32_t i, std::int32_t j, double value) {
        y[i] += value * x[j];
        if (i != j) y[j] += value * x[i];
    });
    return y;
}

std::vector<double> random_vector(std::int32_t n, std::uint64_t seed) {
    Rng rng(seed);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    std::vector<double> x(n);
    for (double& entry : x) entry = value(rng);
    return x;
}

double backward_error(const Csc& lower, const double* x, const double* b) {
    Csc magnitudes = lower;
    for (double& value : magnitudes.values) value = std::abs(value);
    const double norm_a = largest(multiply(magnitudes, std::vector<double>(lower.n, 1.0)));
    std::vector<double> residual = multiply(lower, {x, x + lower.n});
    for (std::int32_t i = 0; i < lower.n; ++i) residual[i] -= b[i];
    const double left = largest(residual);
    return left == 0 ? 0 : left / (norm_a * largest({x, x + lower.n}) + largest({b, b + lower.n}));
}

double worst_error(const Csc& lower, const std::vector<double>& x, const std::vector<double>& b) {
    std::vector<double> errors;
    for (std::size_t at = 0; at < b.size(); at += lower.n)
        errors.push_back(backward_error(lower, &x[at], &b[at]));
    return largest(errors);
}

std::vector<double> dense_cholesky(const Csc& lower, const std::vector<std::int32_t>& perm) {
    const std::size_t n = perm.size();
    std::vector<std::size_t> inverse(n);
    for (std::size_t k = 0; k < n; ++k) inverse[perm[k]] = k;
    std::vector<double> u(n * n, 0.0);
    each_entry(lower, [&](std::int32_t i, std::int32_t j, double value) {
        const auto [low, high] = std::minmax(inverse[i], inverse[j]);
        u[low + high * n] = value;
    });
    for (std::size_t j = 0; j < n; ++j)
        for (std::size_t i = 0; i <= j; ++i) {
            double sum = u[i + j * n];
            for (std::size_t k = 0; k < i; ++k) sum -= u[k + i * n] * u[k + j * n];
            u[i + j * n] = i == j ? std::sqrt(sum) : sum / u[i + i * n];
        }
    return u;
}

} // namespace vyr::test
