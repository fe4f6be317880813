#include "support/matrices.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>

namespace vyr::test {

std::uint64_t test_seed() {
    const char* text = std::getenv("VYR_TEST_SEED");
    const std::uint64_t seed = text != nullptr ? std::strtoull(text, nullptr, 10) : 20240229;
    std::cout << "seed " << seed << " (set VYR_TEST_SEED to change it)" << std::endl;
    return seed;
}

Edges random_edges(std::int32_t n, std::int64_t count, Rng& rng) {
    std::uniform_int_distribution<std::int32_t> vertex(0, n - 1);
    Edges edges;
    for (std::int64_t k = 0; k < count; ++k) {
        const std::int32_t i = vertex(rng);
        edges.emplace_back(i, vertex(rng));
    }
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

Edges dense_edges(std::int32_t n) {
    return band_edges(n, n - 1);
}

Edges disconnected_grid_edges(std::int32_t blocks, std::int32_t nx, std::int32_t ny) {
    Edges edges;
    for (std::int32_t block = 0; block < blocks; ++block)
        for (auto [i, j] : grid_edges(nx, ny)) edges.emplace_back(i + block * nx * ny, j + block * nx * ny);
    return edges;
}

Csc spd(std::int32_t n, const Edges& edges, std::uint64_t seed) {
    Edges lower; // (column, row)
    for (auto [i, j] : edges) lower.emplace_back(std::min(i, j), std::max(i, j));
    for (std::int32_t j = 0; j < n; ++j) lower.emplace_back(j, j);
    std::sort(lower.begin(), lower.end());
    lower.erase(std::unique(lower.begin(), lower.end()), lower.end());
    Csc a;
    a.n = n;
    a.colptr.assign(static_cast<std::size_t>(n) + 1, 0);
    for (auto [column, row] : lower) {
        ++a.colptr[column + 1];
        a.rowind.push_back(row);
    }
    for (std::int32_t j = 0; j < n; ++j) a.colptr[j + 1] += a.colptr[j];
    refill(a, seed);
    return a;
}

void refill(Csc& a, std::uint64_t seed) {
    Rng rng(seed);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    a.values.assign(a.rowind.size(), 0.0);
    std::vector<double> row_sum(a.n, 1.0);
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t k = a.colptr[j]; k < a.colptr[j + 1]; ++k) {
            if (a.rowind[k] == j) continue;
            a.values[k] = value(rng);
            row_sum[j] += std::abs(a.values[k]);
            row_sum[a.rowind[k]] += std::abs(a.values[k]);
        }
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t k = a.colptr[j]; k < a.colptr[j + 1]; ++k)
            if (a.rowind[k] == j) a.values[k] = row_sum[j];
}

Csc diagonal(const std::vector<double>& values) {
    Csc a = spd(static_cast<std::int32_t>(values.size()), {});
    a.values = values;
    return a;
}

Csc both_triangles(const Csc& lower) {
    std::vector<std::vector<std::pair<std::int32_t, double>>> columns(lower.n);
    for (std::int32_t j = 0; j < lower.n; ++j)
        for (std::int32_t k = lower.colptr[j]; k < lower.colptr[j + 1]; ++k) {
            const std::int32_t i = lower.rowind[k];
            columns[j].emplace_back(i, lower.values[k]);
            if (i != j) columns[i].emplace_back(j, lower.values[k]);
        }
    Csc full;
    full.n = lower.n;
    for (auto& column : columns) {
        std::sort(column.begin(), column.end());
        for (auto [row, value] : column) {
            full.rowind.push_back(row);
            full.values.push_back(value);
        }
        full.colptr.push_back(static_cast<std::int32_t>(full.rowind.size()));
    }
    return full;
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

std::vector<double> multiply(const Csc& lower, const std::vector<double>& x) {
    std::vector<double> y(lower.n, 0.0);
    for (std::int32_t j = 0; j < lower.n; ++j)
        for (std::int32_t k = lower.colptr[j]; k < lower.colptr[j + 1]; ++k) {
            const std::int32_t i = lower.rowind[k];
            y[i] += lower.values[k] * x[j];
            if (i != j) y[j] += lower.values[k] * x[i];
        }
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
    const auto n = static_cast<std::size_t>(lower.n);
    Csc magnitudes = lower;
    for (double& value : magnitudes.values) value = std::abs(value);
    const std::vector<double> row_sums = multiply(magnitudes, std::vector<double>(n, 1.0));
    const std::vector<double> product = multiply(lower, std::vector<double>(x, x + n));
    double residual = 0, norm_a = 0, norm_x = 0, norm_b = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const double r = std::abs(b[i] - product[i]);
        if (!(r <= residual)) residual = r; // a NaN stays
        norm_a = std::max(norm_a, row_sums[i]);
        norm_x = std::max(norm_x, std::abs(x[i]));
        norm_b = std::max(norm_b, std::abs(b[i]));
    }
    return residual == 0 ? 0 : residual / (norm_a * norm_x + norm_b);
}

double worst_error(const Csc& lower, const std::vector<double>& x, const std::vector<double>& b) {
    double worst = 0;
    for (std::size_t at = 0; at < b.size(); at += lower.n)
        worst = std::max(worst, backward_error(lower, &x[at], &b[at]));
    return worst;
}

std::vector<double> dense_cholesky(const Csc& lower, const std::vector<std::int32_t>& perm) {
    const std::size_t n = perm.size();
    std::vector<std::size_t> inverse(n);
    for (std::size_t k = 0; k < n; ++k) inverse[perm[k]] = k;
    std::vector<double> u(n * n, 0.0);
    for (std::int32_t j = 0; j < lower.n; ++j)
        for (std::int32_t k = lower.colptr[j]; k < lower.colptr[j + 1]; ++k) {
            const auto [low, high] = std::minmax(inverse[j], inverse[lower.rowind[k]]);
            u[low + high * n] = lower.values[k];
        }
    for (std::size_t j = 0; j < n; ++j)
        for (std::size_t i = 0; i <= j; ++i) {
            double sum = u[i + j * n];
            for (std::size_t k = 0; k < i; ++k) sum -= u[k + i * n] * u[k + j * n];
            u[i + j * n] = i == j ? std::sqrt(sum) : sum / u[i + i * n];
        }
    return u;
}

} // namespace vyr::test
