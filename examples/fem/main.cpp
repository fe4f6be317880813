// A bracket, clamped at one end: bent by its own weight, then let go. Each step of the vibration has a length
// of its own, so each factorises other values of one pattern.
//
//     example_fem bracket.msh bracket.vtu [steps]
#include "elasticity.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <numeric>

namespace {

constexpr double GRAVITY = 9.81; // m/s^2

double seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double inner(const std::vector<double>& a, const std::vector<double>& b) {
    return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

/// Displacements under the structure's own weight.
std::vector<double> sag(const Structure& s, vyr::Factor& factor) {
    std::vector<double> down(s.equation.size(), 0), acceleration(static_cast<std::size_t>(s.n())),
        u(acceleration);
    for (std::size_t k = 2; k < s.equation.size(); k += 3)
        if (s.equation[k] >= 0) acceleration[s.equation[k]] = -GRAVITY;
    factor.factorise(s.matrix(s.stiffness));
    factor.solve(s.product(s.mass, acceleration), u);
    return u;
}

double energy(const Structure& s, const std::vector<double>& u, const std::vector<double>& v) {
    return (inner(u, s.product(s.stiffness, u)) + inner(v, s.product(s.mass, v))) / 2;
}

/// One step of the trapezoidal rule, which keeps the energy: (M + dt^2/4 K) v' = M v - dt K u - dt^2/4 K v.
void step(const Structure& s, double dt, vyr::Factor& factor, std::vector<double>& u,
          std::vector<double>& v) {
    const double quarter = dt * dt / 4;
    std::vector<double> values(s.mass.size()), between(u.size());
    for (std::size_t k = 0; k < values.size(); ++k) values[k] = s.mass[k] + quarter * s.stiffness[k];
    factor.factorise(s.matrix(values));
    for (std::size_t k = 0; k < u.size(); ++k) between[k] = dt * u[k] + quarter * v[k];
    const std::vector<double> pull = s.product(s.stiffness, between);
    std::vector<double> next = s.product(s.mass, v);
    for (std::size_t k = 0; k < next.size(); ++k) next[k] -= pull[k];
    factor.solve(next, next);
    for (std::size_t k = 0; k < u.size(); ++k) {
        u[k] += dt / 2 * (v[k] + next[k]);
        v[k] = next[k];
    }
}

int run(const char* mesh_path, const char* result_path, int steps) {
    const Mesh mesh = read_mesh(mesh_path);
    const Structure s = assemble(mesh, Material());
    const double start = seconds();
    const vyr::Analysis analysis(s.matrix(s.stiffness));
    vyr::Factor factor(analysis);
    std::vector<double> u = sag(s, factor), v(u.size(), 0);
    std::printf("%zu nodes, %zu tetrahedra, %d equations, %.3g operations: solved in %.3f s\n",
                mesh.nodes.size(), mesh.tetrahedra.size(), s.n(), analysis.info().operations,
                seconds() - start);
    double lowest = 0;
    for (const double w : u) lowest = std::min(lowest, w);
    std::printf("largest sag %.3e m\n", -lowest);
    write_vtu(result_path, mesh, "displacement", s.at_nodes(u));

    const double before = energy(s, u, v), begin = seconds();
    for (int k = 0; k < steps; ++k) step(s, 1e-4 * (1 + 0.5 * std::sin(k)), factor, u, v);
    const double change = std::abs(energy(s, u, v) / before - 1);
    std::printf("%d steps, each with a factorization of its own: %.3f s a step; energy kept to %.1e\n", steps,
                (seconds() - begin) / std::max(steps, 1), change);
    return lowest < 0 && change < 1e-8 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: example_fem MESH.msh RESULT.vtu [STEPS]\n");
        return 2;
    }
    try {
        return run(argv[1], argv[2], argc > 3 ? std::atoi(argv[3]) : 20);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "example_fem: %s\n", error.what());
        return 1;
    }
}
