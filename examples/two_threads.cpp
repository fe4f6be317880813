// Two matrices in two threads: nothing is shared, nothing has to be locked.
#include "grid.h"

#include <cstdio>
#include <thread>
#include <vector>
#include <vyr/solver.hpp>

namespace {

void solve(std::int32_t side, double& error) {
    grid g = make_grid(side, 4.5);
    vyr_matrix a;
    vyr_matrix_lower(&a, sizeof a, g.n, g.ptr, g.ind, g.values);
    vyr::Options options;
    options.threads = 1; // one core for each
    vyr::Factor factor{vyr::Analysis(a, options)};
    factor.factorise(a);
    std::vector<double> x(static_cast<std::size_t>(g.n), 1.0);
    error = factor.solve(x, x).backward_error;
    free_grid(&g);
}

} // namespace

int main() {
    double first = 1, second = 1;
    std::thread other(solve, 90, std::ref(first));
    solve(110, second);
    other.join();
    std::printf("backward errors %.1e and %.1e\n", first, second);
    return first < 1e-14 && second < 1e-14 ? 0 : 1;
}
