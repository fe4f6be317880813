// Eigen's direct solver classes beside one another: vyr_bench_eigen [matrix...]
#include "bench/bench_matrices.h"

#include <vyr/eigen.hpp>

#include <Eigen/SparseCholesky>
#ifdef BENCH_CHOLMOD
#include <Eigen/CholmodSupport>
#endif

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <exception>

namespace {

using Sparse = Eigen::SparseMatrix<double>;
constexpr int ROUNDS = 3;

double seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Analysis, factorization and a solve, one after the other.
template <typename Solver>
std::array<double, 3> times_of(const Sparse& a, const Eigen::VectorXd& b) {
    Solver solver;
    const double start = seconds();
    solver.analyzePattern(a);
    const double analysed = seconds();
    solver.factorize(a);
    const double factorised = seconds();
    const Eigen::VectorXd x = solver.solve(b);
    const double solved = seconds();
    const double error = (a.selfadjointView<Eigen::Lower>() * x - b).norm() / b.norm();
    if (solver.info() != Eigen::Success || !(error < 1e-8)) std::printf("wrong: %g\n", error);
    return {analysed - start, factorised - analysed, solved - factorised};
}

void print_row(const char* matrix, const char* solver, std::array<std::array<double, 3>, ROUNDS> rounds) {
    std::printf("| `%s` | %s |", matrix, solver);
    for (int phase = 0; phase < 3; ++phase) {
        std::array<double, ROUNDS> one{};
        for (int k = 0; k < ROUNDS; ++k) one[k] = rounds[k][phase];
        std::sort(one.begin(), one.end());
        std::printf(" %.4f |", one[ROUNDS / 2]);
    }
    std::printf("\n");
}

void compare(const char* name) {
    const vyr::tool::SparseMatrix m = vyr::bench::make_matrix(vyr::bench::parse_matrix(name));
    const Sparse a = Eigen::Map<const Sparse>(m.n, m.n, static_cast<int>(m.row_ind.size()), m.col_ptr.data(),
                                              m.row_ind.data(), m.values.data());
    const Eigen::VectorXd b = Eigen::VectorXd::Ones(m.n);
    std::array<std::array<double, 3>, ROUNDS> vyr{}, simplicial{}, supernodal{};
    for (int k = 0; k < ROUNDS; ++k) { // interleaved
        vyr[k] = times_of<Eigen::VyrLLT<Sparse>>(a, b);
        simplicial[k] = times_of<Eigen::SimplicialLLT<Sparse>>(a, b);
#ifdef BENCH_CHOLMOD
        supernodal[k] = times_of<Eigen::CholmodSupernodalLLT<Sparse>>(a, b);
#endif
    }
    print_row(name, "VyrLLT", vyr);
    print_row(name, "SimplicialLLT", simplicial);
#ifdef BENCH_CHOLMOD
    print_row(name, "CholmodSupernodalLLT", supernodal);
#endif
}

} // namespace

int main(int argc, char** argv) {
    std::printf("| matrix | class | analyzePattern | factorize | solve |\n|---|---|---:|---:|---:|\n");
    const std::array<const char*, 3> usual = {"p2d_200", "p3d_24", "ela_14"};
    try {
        if (argc < 2)
            for (const char* name : usual) compare(name);
        for (int k = 1; k < argc; ++k) compare(argv[k]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vyr_bench_eigen: %s\n", error.what());
        return 1;
    }
    return 0;
}
