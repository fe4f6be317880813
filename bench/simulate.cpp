#include "bench/simulate.h"

#include "bench/bench_matrices.h"
#include "bench/factorization_units.h"
#include "bench/graph_units.h"
#include "bench/worker.h"
#include "core/workforce.h"
#include "engine/engine.h"
#include "symbolic/analyse.h"
#include "symbolic/steps.h"

#include <omp.h>

#include <cstdio>
#include <filesystem>
#include <stdexcept>

namespace vyr::bench {

namespace {

void require(const Context& context, Status status) {
    if (status != Status::OK)
        throw std::runtime_error(context.reason[0] != '\0' ? context.reason : status_text(status));
}

Costs costs_of(const SimulationPlan& plan) {
    if (!plan.costs.empty() && std::filesystem::exists(plan.costs)) return load_costs(plan.costs);
    Costs costs = measure_costs();
    if (!plan.costs.empty()) save_costs(costs, plan.costs);
    return costs;
}

/// One matrix, analysed once.
class Subject {
public:
    explicit Subject(const std::string& name) : matrix_(make_matrix(parse_matrix(name))) {
        double ordering_ms = 0;
        context_.settings.merge_nodes = context_.settings.tree_schedule = true;
        const Pattern pattern{matrix_.n, matrix_.col_ptr.data(), matrix_.row_ind.data()};
        require(context_, mf_analyse(context_, pattern, analysis_, ordering_ms));
    }

    /// The schedule for so many threads.
    const Analysis& cut(int n_threads) {
        context_.settings.n_threads = n_threads; // of the factorizations, too
        require(context_, mf_task_partition(context_, analysis_));
        return analysis_;
    }

    /// Median seconds of repeated factorizations by the schedule that was cut.
    double measured(int rounds) {
        Factor factor(memory_, analysis_);
        require(context_, mf_reserve(context_, factor));
        std::vector<double> samples;
        for (int round = 0; round <= rounds; ++round) {
            const double start = clock_seconds();
            require(context_, mf_factorise(context_, matrix_.values.data(), factor));
            if (round > 0) samples.push_back(clock_seconds() - start);
        }
        return median(std::move(samples));
    }

private:
    tool::SparseMatrix matrix_;
    Accounting memory_;
    Context context_{memory_};
    Analysis analysis_;
};

/// A machine of so many cores like this one's.
Cores machine(const Costs& costs, int n_cores, double bandwidth_share) {
    Cores cores{};
    cores.count = n_cores;
    cores.core_bandwidth = costs.bandwidth[0];
    cores.bandwidth = bandwidth_share * std::max(costs.bandwidth[0], 0.5 * n_cores * costs.bandwidth[1]);
    cores.company = costs.company[0];
    cores.task_seconds = costs.task[0];
    cores.queue_seconds = costs.task[0];
    cores.waking_seconds = costs.task[1];
    return cores;
}

} // namespace

void print_simulation(const SimulationPlan& plan) {
    const Costs costs = costs_of(plan);
    std::printf("one core reads and writes %.1f GB/s, two %.1f; a task costs %.2f us, waking %.1f us\n\n",
                1e-9 * costs.bandwidth[0], 1e-9 * costs.bandwidth[1], 1e6 * costs.task[0],
                1e6 * costs.task[1]);
    std::printf("| matrix | cores | seconds | measured | speed-up | efficiency | idle | half the bandwidth | "
                "efficiency |\n"
                "|---|---:|---:|---:|---:|---:|---:|---:|---:|\n");
    for (const std::string& name : plan.matrices) {
        Subject subject(name);
        double alone = 0, alone_half = 0;
        for (const int n_cores : plan.cores) {
            const Analysis& analysis = subject.cut(n_cores);
            const std::vector<Unit> units =
                plan.tasks ? factorization_units(analysis, costs) : graph_units(analysis, costs, n_cores);
            const Outcome whole = simulate(units, machine(costs, n_cores, 1));
            const Outcome half = simulate(units, machine(costs, n_cores, 0.5));
            if (alone == 0) {
                alone = whole.seconds * n_cores;
                alone_half = half.seconds * n_cores;
            }
            char measured[32] = "";
            if (plan.measure && n_cores <= omp_get_num_procs())
                std::snprintf(measured, sizeof measured, "%.4g", subject.measured(plan.rounds));
            std::printf("| `%s` | %d | %.4g | %s | %.2f | %.2f | %.2f | %.4g | %.2f |\n", name.c_str(),
                        n_cores, whole.seconds, measured, alone / whole.seconds,
                        alone / whole.seconds / n_cores, 1 - whole.busy / (whole.seconds * n_cores),
                        half.seconds, alone_half / half.seconds / n_cores);
            std::fflush(stdout);
        }
    }
}

} // namespace vyr::bench
