// vyr_bench_indefinite: indefinite systems through vyr/solver.h beside MUMPS, in one process and in turn, so
// that both see the same machine. One JSON object a matrix, for bench/indefinite.py.
#include "bench/bench_matrices.h"
#include "bench/json.h"
#include "tools/vyr/norms.h"
#include "vyr/solver.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include <omp.h>

namespace vyr::bench {

#ifdef BENCH_MUMPS
std::unique_ptr<DirectSolver> make_mumps(const Problem& problem);
#endif

namespace {

constexpr std::int32_t MANY_RHS = 16;
constexpr int MOST_REFINEMENTS = 2;

template <typename Work>
double seconds(Work work) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double median(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    return samples.empty() ? 0 : samples[samples.size() / 2];
}

/// Our solver with one setting of the matching.
struct Ours {
    Ours(const tool::SparseMatrix& a, std::int32_t matching) {
        vyr_matrix_lower(&matrix, sizeof matrix, a.n, a.col_ptr.data(), a.row_ind.data(), a.values.data());
        options.kind = VYR_KIND_INDEFINITE;
        options.matching = matching;
        options.refinements = MOST_REFINEMENTS;
        options.backward_error_limit = 0;
    }
    void analyse() { analysis.emplace(matrix, options); }

    vyr_matrix matrix;
    Options options;
    std::optional<Analysis> analysis;
};

/// Solves all right-hand sides without and with refinement.
void measure_solves(const Ours& ours, const tool::SparseMatrix& a, int repeats, Record& record) {
    const tool::DenseMatrix b = tool::known_right_hand_sides(a, MANY_RHS);
    tool::DenseMatrix x = b;
    for (const bool refined : {false, true}) {
        Options options = ours.options;
        options.refinements = refined ? MOST_REFINEMENTS : 0;
        Factor factor(*ours.analysis, options);
        factor.factorise(ours.matrix);
        // Without figures an unrefined solve looks at no residual.
        std::vector<double> samples;
        for (int k = 0; k < repeats; ++k)
            samples.push_back(seconds([&] {
                check(vyr_solve(factor.get(), MANY_RHS, b.values.data(), a.n, x.values.data(), a.n, nullptr));
            }));
        const std::string name = refined ? "refined" : "unrefined";
        record.set("solve_" + name, median(samples));
        record.set("error_" + name, tool::backward_error(a, x, b));
        if (refined) record.set("refinements", factor.solve(b.values, x.values, MANY_RHS).refinements);
    }
}

void measure_ours(const tool::SparseMatrix& a, int repeats, DirectSolver* peer, Record& record) {
    Ours ours(a, VYR_MATCHING_AUTOMATIC), plain(a, VYR_MATCHING_OFF);
    std::vector<double> with, without, factorise, peers;
    for (int k = 0; k < repeats; ++k) {
        with.push_back(seconds([&] { ours.analyse(); }));
        without.push_back(seconds([&] { plain.analyse(); }));
    }
    record.set("analyse", median(with)).set("analyse_plain", median(without));
    const vyr_analysis_info foreseen = ours.analysis->info();
    Factor factor(*ours.analysis);
    for (int k = 0; k < repeats + 1; ++k) {
        const double own = seconds([&] { factor.factorise(ours.matrix); });
        const double other = peer == nullptr ? 0 : seconds([&] { peer->factorise(); });
        if (k == 0) continue; // fresh memory
        factorise.push_back(own);
        peers.push_back(other);
    }
    record.set("factorise", median(factorise));
    if (peer != nullptr) record.set("peer_factorise", median(peers));
    const vyr_factor_info info = factor.info();
    record.set("memory", info.factor_bytes / foreseen.factor_bytes);
    record.set("operations", info.operations).set("foreseen", foreseen.operations);
    record.set("delayed", static_cast<double>(info.delayed))
        .set("pairs", static_cast<double>(foreseen.pairs));
    measure_solves(ours, a, repeats, record);
}

void measure_peer(const tool::SparseMatrix& a, int repeats, DirectSolver& peer, Record& record) {
    const tool::DenseMatrix b = tool::known_right_hand_sides(a, MANY_RHS);
    tool::DenseMatrix x;
    std::vector<double> samples;
    for (int k = 0; k < repeats; ++k) {
        x = b;
        samples.push_back(seconds([&] { peer.solve(x); }));
    }
    record.set("peer_solve", median(samples)).set("peer_error", tool::backward_error(a, x, b));
}

Record measure(const std::string& name, int repeats) {
    const BenchMatrix matrix = parse_matrix(name);
    const tool::SparseMatrix a = make_matrix(matrix);
    Record record;
    record.set("matrix", name).set("n", a.n).set("threads", omp_get_max_threads());
    std::unique_ptr<DirectSolver> peer;
    const Problem problem{a, matrix.kind};
    try {
#ifdef BENCH_MUMPS
        peer = make_mumps(problem);
        record.set("peer_analyse", seconds([&] { peer->analyse(); }));
        peer->factorise();
        record.set("peer", peer->version());
#endif
    } catch (const SolverError& error) {
        record.set("peer_status", error.what());
        peer.reset();
    }
    try {
        measure_ours(a, repeats, peer.get(), record);
        record.set("status", "ok");
    } catch (const Error& error) {
        record.set("status", error.what());
    }
    if (peer != nullptr) measure_peer(a, repeats, *peer, record);
    return record;
}

} // namespace
} // namespace vyr::bench

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: vyr_bench_indefinite REPEATS MATRIX...\n");
        return 2;
    }
    try {
        for (int k = 2; k < argc; ++k) {
            std::printf("%s\n", vyr::bench::measure(argv[k], std::max(std::atoi(argv[1]), 1)).text().c_str());
            std::fflush(stdout);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vyr_bench_indefinite: %s\n", error.what());
        return 1;
    }
    return 0;
}
