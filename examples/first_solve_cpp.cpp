// The same in C++: objects that clean up after themselves, failures that throw.
#include "grid.h"

#include <cstdio>
#include <vector>
#include <vyr/solver.hpp>

int main() {
    grid g = make_grid(100, 4);
    const auto n = static_cast<std::size_t>(g.n), nnz = static_cast<std::size_t>(g.ptr[g.n]);
    const std::vector<std::int32_t> ptr(g.ptr, g.ptr + n + 1), ind(g.ind, g.ind + nnz);
    const std::vector<double> values(g.values, g.values + nnz), b(n, 1.0);
    free_grid(&g);
    try {
        const vyr::Matrix a(std::span<const std::int32_t>(ptr), ind, values);
        vyr::Factor factor{vyr::Analysis(a)};
        factor.factorise(a);
        std::vector<double> x(n);
        const vyr_solve_info info = factor.solve(b, x);
        std::printf("x[0] = %.6f, backward error %.1e, condition %.1e\n", x[0], info.backward_error,
                    factor.condition());
        return info.backward_error < 1e-14 ? 0 : 1;
    } catch (const vyr::Error& error) {
        std::printf("status %d: %s\n", error.status(), error.what());
        return 1;
    }
}
