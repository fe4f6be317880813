// vyr_bench: compares our solver with its peers. The same program is the driver and, started by itself with
// --worker, each single measurement.
#include "bench/cancelling.h"
#include "bench/direct_solver.h"
#include "bench/doors.h"
#include "bench/driver.h"
#include "bench/kernel_rates.h"
#include "bench/simulate.h"
#include "bench/table.h"
#include "bench/worker.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <fstream>

namespace {

using namespace vyr::bench;

struct Options {
    Plan plan;
    WorkerTask task;
    std::string json, markdown;
    bool doors = false;
    bool kernels = false;
    bool simulate = false;
    SimulationPlan simulation;
    int cancelling = 0;
};

std::vector<std::string> peer_names() {
    std::vector<std::string> names;
    for (const SolverEntry& entry : solvers())
        if (std::string(entry.name) != "vyr") names.emplace_back(entry.name);
    return names;
}

void write_file(const std::string& name, const std::string& text) {
    if (name.empty()) return;
    std::ofstream file(name, std::ios::binary);
    file << text;
    file.close();
    if (!file) throw std::runtime_error("'" + name + "' cannot be written");
}

void save(const Findings& findings, void* context) {
    const Options& options = *static_cast<const Options*>(context);
    write_file(options.json, json(findings));
    write_file(options.markdown, markdown(findings));
}

void add_options(CLI::App& app, Options& options) {
    Plan& plan = options.plan;
    plan.matrices = {"p2d_1000", "p3d_40", "p3d_60", "ela_20", "ela_30", "plate_200", "p3d_10"};
    plan.peers = peer_names();
    std::erase(plan.peers, "eigen"); // takes minutes where the factor is large
    app.add_option("--matrices", plan.matrices,
                   "p2d_N, p3d_N, ela_N, plate_N, shift_N, kkt_N and more: see bench_matrices.h")
        ->delimiter(',')
        ->capture_default_str();
    app.add_option("--threads", plan.threads, "Numbers of threads")
        ->delimiter(',')
        ->check(CLI::Range(1, 4096))
        ->capture_default_str();
    app.add_option("--peers", plan.peers, "Solvers to compare with")
        ->delimiter(',')
        ->check(CLI::IsMember(peer_names()))
        ->capture_default_str();
    app.add_option("--rounds", plan.rounds, "Rounds; the figures are medians over them")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    app.add_option("--repeats", plan.repeats, "Factorizations in each process after the first one")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    app.add_option("--json", options.json, "File for everything measured, read by bench/figures.py");
    app.add_option("--markdown", options.markdown, "File for the tables");
    app.add_option(
        "--coretype", plan.kernels,
        "Kernels of OpenBLAS for every solver (OPENBLAS_CORETYPE); by default what OpenBLAS picks, "
        "or the newest it has when it does not know the processor");
    app.add_option("--omp-wait", plan.wait,
                   "How threads wait, for every solver: default, active, passive, or a number of spins")
        ->check([](const std::string& value) {
            const bool number = !value.empty() && value.find_first_not_of("0123456789") == std::string::npos;
            return number || value == "default" || value == "active" || value == "passive"
                       ? ""
                       : "'" + value + "' is neither default, active, passive nor a number";
        })
        ->capture_default_str();
    app.add_option("--tuned-env", plan.tuned,
                   "Environment of the row vyr-tuned (more than one thread only), NAME=VALUE separated by "
                   "blanks; empty for no such row")
        ->capture_default_str();
    app.add_flag("--busy-core", plan.busy_core, "Keep one processor busy with another process meanwhile");
    app.add_flag("--allow-busy", plan.allow_busy,
                 "Report, marked noisy, what was measured while other processes used more than a tenth of a "
                 "processor, instead of trying again and refusing");
    app.add_option("--retries", plan.retries, "New tries of a disturbed measurement")
        ->check(CLI::Range(0, 1000))
        ->capture_default_str();
    app.add_option("--patience", plan.patience,
                   "Longest wait in seconds for a quiet machine before a new try")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    app.add_option("--timeout", plan.timeout, "Seconds after which a process is given up")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_flag("--out-of-core", plan.out_of_core,
                 "Measure the factor in files as well, ours with 40 % of the memory it takes without");
    app.add_flag("--doors", options.doors,
                 "Compare the library interface with the nine functions instead, in this process");
    app.add_flag("--kernels", options.kernels,
                 "Tell how fast the update kernels are on one thread instead, beside those of BLAS");
    app.add_flag(
        "--simulate", options.simulate,
        "Tell instead what factorizations would take on more cores, from what their pieces cost here");
    app.add_option("--cores", options.simulation.cores, "Numbers of cores of --simulate")
        ->delimiter(',')
        ->check(CLI::Range(1, 4096))
        ->capture_default_str();
    app.add_option("--costs", options.simulation.costs,
                   "File of the costs of --simulate; measured and written when it is not there");
    app.add_flag("--tasks", options.simulation.tasks,
                 "Simulate the tasks that factors out of core are made by, as if they were in core");
    app.add_flag("--measure", options.simulation.measure,
                 "Factorise beside --simulate where there are as many processors");
    app.add_option("--cancel", options.cancelling,
                   "Cancel each phase at so many random moments instead, and tell how late it ends")
        ->check(CLI::Range(1, 1000));
    app.add_option("--worker", options.task.solver,
                   "Measure one solver (or dgemm) in this process and print one JSON object");
    app.add_option("--matrix", options.task.matrix, "Matrix of --worker");
    app.add_option("--folder", options.task.folder, "Folder of --worker for the factor's files");
    app.add_option("--memory-limit", options.task.memory_limit_bytes, "Bytes that --worker may take");
}

int run(int argc, char** argv) {
    CLI::App app("Compares the solver with its peers on generated matrices", "vyr_bench");
    Options options;
    add_options(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    }
    if (!options.task.solver.empty()) {
        options.task.threads = options.plan.threads.front();
        options.task.repeats = options.plan.repeats;
        std::printf("%s\n", run_worker(options.task).text().c_str());
        return 0;
    }
    if (options.kernels) {
        print_kernel_rates(options.plan.rounds);
        return 0;
    }
    if (options.simulate) {
        options.simulation.matrices = options.plan.matrices;
        options.simulation.rounds = options.plan.rounds;
        print_simulation(options.simulation);
        return 0;
    }
    if (options.doors) {
        compare_doors(options.plan.matrices, options.plan.rounds);
        return 0;
    }
    if (options.cancelling > 0) {
        time_cancelling(options.plan.matrices, options.plan.threads.front(), options.cancelling);
        return 0;
    }
    const Findings findings = run_plan(options.plan, save, &options);
    std::printf("%s", markdown(findings).c_str());
    const bool all_right =
        std::all_of(findings.results.begin(), findings.results.end(), [](const Record& result) {
            const std::string status = result.string_or_empty("status");
            return status != "wrong" &&
                   (result.string_or_empty("solver") != "vyr" || !status.starts_with("failed"));
        });
    return all_right ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vyr_bench: %s\n", error.what());
        return 2;
    }
}
