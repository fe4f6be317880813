#include "bench/doors.h"

#include "bench/bench_matrices.h"
#include "bench/worker.h"
#include "tools/vyr/norms.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace vyr::bench {

namespace {

constexpr std::int32_t MANY_RHS = 16;
constexpr double SHORT_SECONDS = 0.02; ///< shorter calls are repeated until they add up to this

/// Seconds of one call; a short one is repeated.
template <typename Work>
double timed(Work work) {
    const double start = clock_seconds();
    double now = start;
    int calls = 0;
    do {
        work();
        ++calls;
        now = clock_seconds();
    } while (now - start < SHORT_SECONDS);
    return (now - start) / calls;
}

/// Median over the rounds of seconds(other) / seconds(nine), first the one and then the other being first.
template <typename Seconds>
double ratio(int rounds, DirectSolver& nine, DirectSolver& other, Seconds seconds) {
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        DirectSolver& first = round % 2 == 0 ? nine : other;
        DirectSolver& second = round % 2 == 0 ? other : nine;
        const double a = seconds(first);
        const double b = seconds(second);
        ratios.push_back(round % 2 == 0 ? b / a : a / b);
    }
    return median(std::move(ratios));
}

double solve_ratio(int rounds, DirectSolver& nine, DirectSolver& other, const tool::DenseMatrix& b) {
    tool::DenseMatrix x;
    return ratio(rounds, nine, other, [&](DirectSolver& solver) {
        return timed([&] {
            x = b;
            solver.solve(x);
        });
    });
}

/// Analyse, factorise, solve, with a fresh object.
double first_solution(std::unique_ptr<DirectSolver> solver, const tool::DenseMatrix& b) {
    tool::DenseMatrix x = b;
    const double start = clock_seconds();
    solver->analyse();
    solver->factorise();
    solver->solve(x);
    return clock_seconds() - start;
}

} // namespace

void compare_doors(const std::vector<std::string>& matrices, int rounds) {
    constexpr int WAYS[] = {VYR_ORDERING_METIS, VYR_ORDERING_AUTOMATIC, VYR_ORDERING_METIS, VYR_ORDERING_AMD};
    std::printf("%-10s %9s %7s %8s %15s %19s\n", "matrix", "factorise", "solve 1", "solve 16",
                "automatic/nine", "automatic/better");
    for (const std::string& name : matrices) {
        const tool::SparseMatrix a = make_matrix(parse_matrix(name));
        const Problem problem{a};
        const tool::DenseMatrix b1 = tool::known_right_hand_sides(a, 1);
        const tool::DenseMatrix b16 = tool::known_right_hand_sides(a, MANY_RHS);
        std::vector<double> over_nine, over_better;
        for (int round = 0; round < rounds; ++round) {
            // The nine functions, automatic, METIS, AMD. What a contestant gives back to the system the next
            // one pays for, so each follows each.
            double seconds[4];
            for (int k = 0; k < 4; ++k) {
                const int way = (round + (round % 2 == 0 ? k : 4 - k)) % 4;
                seconds[way] = first_solution(
                    way == 0 ? make_nine_functions(problem) : make_library(problem, WAYS[way]), b1);
            }
            over_nine.push_back(seconds[1] / seconds[0]);
            over_better.push_back(seconds[1] / std::min(seconds[2], seconds[3]));
        }
        const std::unique_ptr<DirectSolver> nine = make_nine_functions(problem);
        const std::unique_ptr<DirectSolver> other = make_library(problem, VYR_ORDERING_METIS);
        for (DirectSolver* solver : {nine.get(), other.get()}) {
            solver->analyse();
            solver->factorise();
        }
        const double factorise = ratio(
            rounds, *nine, *other, [](DirectSolver& solver) { return timed([&] { solver.factorise(); }); });
        std::printf("%-10s %9.3f %7.3f %8.3f %15.3f %19.3f\n", name.c_str(), factorise,
                    solve_ratio(rounds, *nine, *other, b1), solve_ratio(rounds, *nine, *other, b16),
                    median(over_nine), median(over_better));
        std::fflush(stdout);
    }
}

} // namespace vyr::bench
