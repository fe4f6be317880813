#include "bench/cost_probes.h"

#include "bench/front_probe.h"
#include "bench/schedule_costs.h"
#include "bench/worker.h"
#include "core/lock.h"
#include "platform/blas.h"
#include "platform/blas_threads.h"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <numeric>

namespace vyr::bench {

namespace {

constexpr int ROUNDS = 3;

void measure_fronts(Costs& costs) {
    for (const std::int32_t n_pivots : PROBE_PIVOTS) {
        for (const std::int32_t n_rows : PROBE_ROWS) {
            FrontProbe probe(n_pivots, n_rows, 1, false);
            const FrontSeconds seconds = probe.seconds(ROUNDS);
            if (n_rows == PROBE_ROWS[0]) costs.cholesky.push_back(seconds.cholesky);
            costs.solve.push_back(seconds.solve);
            costs.node.push_back(seconds.whole);
            const std::int32_t n_ancestors = std::min(n_rows, PROBE_ANCESTORS);
            costs.node_ancestors.push_back(
                FrontProbe(n_pivots, n_rows, n_ancestors, false).seconds(ROUNDS).whole);
            costs.node_scattered.push_back(FrontProbe(n_pivots, n_rows, 1, true).seconds(ROUNDS).whole);
        }
    }
    constexpr std::int32_t PASSED = 1024;
    costs.pass = {FrontProbe(32, PASSED, PROBE_ANCESTORS, false).pass_seconds(ROUNDS) /
                  (0.5 * PASSED * PASSED)};
}

void measure_products(Costs& costs) {
    constexpr std::int32_t ORDER = 384;
    for (const std::int32_t depth : PRODUCT_DEPTHS) {
        const std::vector<double> a(static_cast<std::size_t>(depth) * ORDER, 1e-3);
        std::vector<double> c(static_cast<std::size_t>(ORDER) * ORDER);
        std::vector<double> samples;
        for (int round = 0; round < 5; ++round) {
            const double start = clock_seconds();
            blas::gemm('T', 'N', ORDER, ORDER, depth, -1.0, a.data(), depth, a.data(), depth, 1.0, c.data(),
                       ORDER);
            samples.push_back((clock_seconds() - start) / (2.0 * ORDER * ORDER * depth));
        }
        costs.product.push_back(median(samples));
    }
}

/// Seconds of a product on each of two cores over those of one on one.
double measure_company() {
    constexpr std::int32_t ORDER = 512;
    const auto seconds = [](int n_threads) {
        const double start = clock_seconds();
#pragma omp parallel num_threads(n_threads)
        {
            const std::vector<double> a(std::size_t{ORDER} * ORDER, 1e-3);
            std::vector<double> c(a);
            for (int k = 0; k < 20; ++k)
                blas::gemm('T', 'N', ORDER, ORDER, ORDER, -1.0, a.data(), ORDER, a.data(), ORDER, 1.0,
                           c.data(), ORDER);
        }
        return clock_seconds() - start;
    };
    double alone = seconds(1), together = seconds(2);
    for (int round = 0; round < 4; ++round) {
        alone = std::min(alone, seconds(1));
        together = std::min(together, seconds(2));
    }
    return std::max(1.0, together / alone);
}

/// Bytes a second of `n_threads` that add to memory: read and written.
double measure_bandwidth(int n_threads) {
    constexpr std::int64_t ENTRIES = 16'000'000;
    std::vector<double> memory(static_cast<std::size_t>(ENTRIES));
    std::vector<double> samples;
    for (int round = 0; round < 5; ++round) {
        const double start = clock_seconds();
#pragma omp parallel for simd schedule(static) num_threads(n_threads)
        for (std::int64_t k = 0; k < ENTRIES; ++k) memory[static_cast<std::size_t>(k)] += 1;
        if (round > 0) samples.push_back(16.0 * ENTRIES / (clock_seconds() - start));
    }
    return median(samples);
}

/// Seconds a task when a thread makes groups of empty ones, alone or with another one that takes from them.
double measure_tasks(int n_threads) {
    constexpr int GROUPS = 2000, TASKS = 16;
    std::atomic<int> n_run{0};
    const double start = clock_seconds();
#pragma omp parallel num_threads(n_threads)
#pragma omp master
    for (int group = 0; group < GROUPS; ++group) {
#pragma omp taskgroup
        for (int k = 0; k < TASKS; ++k) {
#pragma omp task shared(n_run)
            n_run.fetch_add(1, std::memory_order_relaxed);
        }
    }
    return (clock_seconds() - start) / (GROUPS * TASKS);
}

/// Seconds from a task's making to its beginning on a thread that has waited for a while.
double measure_waking() {
    constexpr int CALLS = 30;
    constexpr double PAUSE = 2e-3;
    std::vector<double> samples;
#pragma omp parallel num_threads(2)
#pragma omp master
    for (int call = 0; call < CALLS; ++call) {
        const double rest = clock_seconds() + PAUSE;
        while (clock_seconds() < rest) {
        }
        std::atomic<double> begun{0};
        const double start = clock_seconds();
#pragma omp task shared(begun)
        begun = clock_seconds();
        while (begun == 0) {
        }
        samples.push_back(begun - start);
#pragma omp taskwait
    }
    return median(samples);
}

double measure_lock() {
    constexpr int CALLS = 100'000;
    Lock lock;
    const double start = clock_seconds();
#pragma omp parallel num_threads(2)
    for (int call = 0; call < CALLS; ++call) const Hold hold(&lock);
    return (clock_seconds() - start) / (2 * CALLS);
}

/// Seconds of the steps of a run that look at every node, or store every input entry, for each of them.
std::vector<double> measure_passes() {
    constexpr std::int32_t N_NODES = 200'000, N_ENTRIES = 2'000'000, STRIDE = 11;
    const std::vector<mf_snode> nodes(N_NODES, mf_snode{0, 0, 0, 3, 17, 0, 2, nullptr, nullptr, nullptr});
    double flops = 0, start = clock_seconds();
    std::int64_t most = 0;
    for (const mf_snode& node : nodes) most = std::max(most, mf_packed_entries(node, 8));
    for (const mf_snode& node : nodes) flops += mf_node_cost(node);
    const double node_seconds =
        2 * (clock_seconds() - start) / N_NODES; // the records of blocks are gone through, too
    std::vector<std::int64_t> map(N_ENTRIES);
    for (std::int64_t k = 0; k < N_ENTRIES; ++k) map[static_cast<std::size_t>(k)] = k * STRIDE;
    std::vector<double> memory(std::size_t{N_ENTRIES} * STRIDE),
        values(N_ENTRIES, flops + static_cast<double>(most));
    start = clock_seconds();
    for (std::size_t k = 0; k < N_ENTRIES; ++k) memory[static_cast<std::size_t>(map[k])] = values[k];
    const double entry_seconds = (clock_seconds() - start) / N_ENTRIES;
    return {memory[STRIDE] > 0 ? node_seconds : 0, entry_seconds};
}

} // namespace

Costs measure_costs() {
    Costs costs;
    const int n_threads = std::min(2, omp_get_num_procs());
    costs.bandwidth = {measure_bandwidth(1), measure_bandwidth(n_threads)};
    costs.task = {measure_tasks(n_threads), measure_waking(), measure_lock()};
    const blas::ThreadLimit one(1);
    measure_fronts(costs);
    measure_products(costs);
    costs.serial = measure_passes();
    costs.company = {measure_company()};
    return costs;
}

} // namespace vyr::bench
