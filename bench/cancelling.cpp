#include "bench/cancelling.h"

#include "bench/bench_matrices.h"
#include "bench/worker.h"
#include "vyr/solver.hpp"

#include <algorithm>
#include <cfloat>
#include <cstdio>
#include <random>

namespace vyr::bench {

namespace {

constexpr std::int32_t N_RHS = 16;

/// Wants its call to end from a moment on.
struct Host {
    double wish = DBL_MAX;

    static std::int32_t asked(void* host, std::int32_t, double) {
        return clock_seconds() >= static_cast<Host*>(host)->wish ? 1 : 0;
    }
};

template <typename Call>
void time_phase(const char* name, Host& host, int moments, std::mt19937& random, const Call& call) {
    host.wish = DBL_MAX;
    const double start = clock_seconds();
    call();
    const double whole = clock_seconds() - start;
    std::vector<double> late{0};
    for (int k = 0; k < moments; ++k) {
        host.wish = clock_seconds() + std::uniform_real_distribution<>(0, whole)(random);
        if (call() == VYR_STATUS_CANCELLED) late.push_back(1e3 * (clock_seconds() - host.wish));
    }
    std::sort(late.begin(), late.end());
    std::printf("  %-10s %8.3f %10zu %8.1f %8.1f\n", name, whole, late.size() - 1, late[late.size() / 2],
                late.back());
}

} // namespace

void time_cancelling(const std::vector<std::string>& matrices, int n_threads, int moments) {
    std::mt19937 random(1);
    for (const std::string& name : matrices) {
        const tool::SparseMatrix a = make_matrix(parse_matrix(name));
        const Matrix matrix(std::span<const std::int32_t>(a.col_ptr), a.row_ind, a.values);
        Host host;
        Options options;
        options.threads = n_threads;
        options.progress = Host::asked;
        options.progress_user = &host;
        Factor factor{Analysis(matrix, options)};
        std::vector<double> b(static_cast<std::size_t>(a.n) * N_RHS, 1.0), x(b.size());
        std::printf("%-10s %10s %10s %8s %8s\n", name.c_str(), "seconds", "cancelled", "median", "largest");
        time_phase("analyse", host, moments, random, [&] {
            vyr_analysis* made = nullptr;
            const vyr_status status = vyr_analyse(&matrix, &options, &made);
            vyr_analysis_free(made);
            return status;
        });
        time_phase("factorise", host, moments, random, [&] { return vyr_factorise(factor.get(), &matrix); });
        host.wish = DBL_MAX;
        factor.factorise(matrix);
        time_phase("solve 16", host, moments, random,
                   [&] { return vyr_solve(factor.get(), N_RHS, b.data(), a.n, x.data(), a.n, nullptr); });
    }
}

} // namespace vyr::bench
