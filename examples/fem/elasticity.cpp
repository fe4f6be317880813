#include "elasticity.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace {

using Vector = std::array<double, 3>;
using Element = std::array<double, 12 * 12>; // three rows a corner

Vector difference(const Vector& a, const Vector& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

Vector cross(const Vector& a, const Vector& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

double dot(const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/// Gradients of the four linear functions, and the volume.
double gradients(const Mesh& mesh, const std::array<std::int32_t, 4>& corners, std::array<Vector, 4>& g) {
    const Vector& origin = mesh.nodes[corners[0]];
    const Vector a = difference(mesh.nodes[corners[1]], origin),
                 b = difference(mesh.nodes[corners[2]], origin),
                 c = difference(mesh.nodes[corners[3]], origin);
    const double six_volumes = dot(a, cross(b, c));
    if (six_volumes == 0) throw std::runtime_error("a tetrahedron has no volume");
    g = {Vector{}, cross(b, c), cross(c, a), cross(a, b)};
    for (int k = 1; k < 4; ++k)
        for (int d = 0; d < 3; ++d) {
            g[k][d] /= six_volumes;
            g[0][d] -= g[k][d];
        }
    return std::abs(six_volumes) / 6;
}

/// Strain energy of an isotropic material, and kinetic energy with a linear velocity.
void element_matrices(const std::array<Vector, 4>& g, double volume, const Material& material,
                      Element& stiffness, Element& mass) {
    const double nu = material.poisson, mu = material.young / (2 * (1 + nu)),
                 lambda = material.young * nu / ((1 + nu) * (1 - 2 * nu));
    for (int i = 0; i < 12; ++i)
        for (int j = 0; j < 12; ++j) {
            const Vector &p = g[i / 3], &q = g[j / 3];
            const int d = i % 3, e = j % 3;
            const double shear = p[e] * q[d] + (d == e ? dot(p, q) : 0);
            stiffness[12 * i + j] = volume * (lambda * p[d] * q[e] + mu * shear);
            mass[12 * i + j] = d == e ? material.density * volume * (i == j ? 2 : 1) / 20 : 0;
        }
}

std::array<std::int32_t, 12> equations_of(const Structure& s, const std::array<std::int32_t, 4>& corners) {
    std::array<std::int32_t, 12> equations{};
    for (int i = 0; i < 12; ++i)
        equations[i] = s.equation[3 * static_cast<std::size_t>(corners[i / 3]) + i % 3];
    return equations;
}

void number_equations(const Mesh& mesh, Structure& s) {
    std::int32_t next = 0;
    for (const Vector& p : mesh.nodes)
        for (int d = 0; d < 3; ++d) s.equation.push_back(p[0] < 1e-9 ? -1 : next++);
    s.ptr.assign(static_cast<std::size_t>(next) + 1, 0);
}

void make_pattern(const Mesh& mesh, Structure& s) {
    std::vector<std::vector<std::int32_t>> columns(static_cast<std::size_t>(s.n()));
    for (const auto& corners : mesh.tetrahedra) {
        const auto equations = equations_of(s, corners);
        for (const std::int32_t j : equations)
            for (const std::int32_t i : equations)
                if (j >= 0 && i >= j) columns[j].push_back(i);
    }
    for (std::size_t j = 0; j < columns.size(); ++j) {
        auto& rows = columns[j];
        std::sort(rows.begin(), rows.end());
        rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
        s.ind.insert(s.ind.end(), rows.begin(), rows.end());
        s.ptr[j + 1] = static_cast<std::int64_t>(s.ind.size());
    }
}

} // namespace

Structure assemble(const Mesh& mesh, const Material& material) {
    Structure s;
    number_equations(mesh, s);
    make_pattern(mesh, s);
    s.stiffness.assign(s.ind.size(), 0);
    s.mass.assign(s.ind.size(), 0);
    Element stiffness, mass;
    std::array<Vector, 4> g;
    for (const auto& corners : mesh.tetrahedra) {
        const double volume = gradients(mesh, corners, g);
        element_matrices(g, volume, material, stiffness, mass);
        const auto equations = equations_of(s, corners);
        for (int j = 0; j < 12; ++j)
            for (int i = 0; i < 12; ++i) {
                if (equations[j] < 0 || equations[i] < equations[j]) continue;
                const auto first = s.ind.begin() + s.ptr[equations[j]],
                           last = s.ind.begin() + s.ptr[equations[j] + 1];
                const auto k = std::lower_bound(first, last, equations[i]) - s.ind.begin();
                s.stiffness[k] += stiffness[12 * i + j];
                s.mass[k] += mass[12 * i + j];
            }
    }
    return s;
}

std::vector<double> Structure::product(const std::vector<double>& values,
                                       const std::vector<double>& x) const {
    std::vector<double> y(x.size(), 0);
    for (std::int32_t j = 0; j < n(); ++j)
        for (std::int64_t k = ptr[j]; k < ptr[j + 1]; ++k) {
            y[ind[k]] += values[k] * x[j];
            if (ind[k] != j) y[j] += values[k] * x[ind[k]];
        }
    return y;
}

std::vector<double> Structure::at_nodes(const std::vector<double>& x) const {
    std::vector<double> all(equation.size(), 0);
    for (std::size_t k = 0; k < all.size(); ++k)
        if (equation[k] >= 0) all[k] = x[equation[k]];
    return all;
}
