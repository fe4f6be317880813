#include "bench/driver.h"

#include "bench/bench_matrices.h"
#include "bench/blas_build.h"
#include "bench/compare.h"
#include "bench/direct_solver.h"
#include "bench/machine_watch.h"
#include "bench/process.h"
#include "bench/worker.h"
#include "tools/vyr/environment.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <thread>

#include <unistd.h>

namespace vyr::bench {

namespace {

constexpr double SHARE_OUT_OF_CORE = 0.4; ///< of our peak in memory that a run with files may take

/// One place of the table while it fills.
struct Cell {
    std::string matrix; ///< empty for dgemm
    std::string solver;
    int threads = 1;
    std::vector<Record> measured;  ///< those that count
    std::string problem;           ///< a status that ends the cell; no more rounds
    int disturbed = 0;             ///< rounds in which no try was clean
    bool in_files = false;         ///< where the factor goes
    std::int64_t memory_limit = 0; ///< bytes, of our solver with the factor in files
};

/// Keeps a processor busy while it lives.
class Spinner {
public:
    explicit Spinner(bool wanted) : pid_(wanted ? start_spinner() : 0) {}
    Spinner(const Spinner&) = delete;
    Spinner& operator=(const Spinner&) = delete;
    ~Spinner() {
        if (pid_ != 0) stop_spinner(pid_);
    }
    int pid() const { return pid_; }

private:
    int pid_;
};

Environment worker_environment(const Plan& plan, const Cell& cell) {
    Environment environment = clean_environment();
    std::string& libraries = environment["LD_LIBRARY_PATH"];
    libraries = BENCH_OPENBLAS_FOLDER + (libraries.empty() ? std::string() : ":" + libraries);
    environment["OPENBLAS_CORETYPE"] = plan.kernels;
    environment["OMP_NUM_THREADS"] = std::to_string(cell.threads);
    // Debian's CHOLMOD opens regions of four threads whatever OMP_NUM_THREADS says.
    if (cell.solver.starts_with("cholmod")) environment["OMP_THREAD_LIMIT"] = std::to_string(cell.threads);
    if (plan.wait == "active" || plan.wait == "passive")
        environment["OMP_WAIT_POLICY"] = plan.wait;
    else if (plan.wait != "default")
        environment["GOMP_SPINCOUNT"] = plan.wait;
    if (cell.solver != TUNED) return environment;
    for (std::size_t start = 0; start < plan.tuned.size();) {
        const std::size_t end = std::min(plan.tuned.find(' ', start), plan.tuned.size());
        const std::string setting = plan.tuned.substr(start, end - start);
        const std::size_t equals = setting.find('=');
        if (equals != std::string::npos) environment[setting.substr(0, equals)] = setting.substr(equals + 1);
        start = end + 1;
    }
    return environment;
}

/// A new folder in the current one, which has the room for a factor more likely than /tmp; gone at the end.
class ScratchFolder {
public:
    ScratchFolder() : path_(std::filesystem::current_path() / ("factor." + std::to_string(getpid()))) {
        std::filesystem::create_directory(path_);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    std::string path() const { return path_.string(); }

private:
    std::filesystem::path path_;
};

std::string solver_of(const Cell& cell) {
    if (cell.solver == TUNED) return "vyr";
    return cell.in_files ? cell.solver.substr(0, cell.solver.size() - std::strlen(IN_FILES)) : cell.solver;
}

/// Runs one worker; a failure of any kind becomes a status.
Record run_one(const Plan& plan, const Cell& cell, int spinner) {
    std::vector<std::string> arguments = {"--worker",  solver_of(cell),
                                          "--threads", std::to_string(cell.threads),
                                          "--repeats", std::to_string(plan.repeats)};
    if (!cell.matrix.empty()) arguments.insert(arguments.end(), {"--matrix", cell.matrix});
    std::optional<ScratchFolder> folder;
    if (cell.in_files)
        arguments.insert(arguments.end(), {"--folder", folder.emplace().path(), "--memory-limit",
                                           std::to_string(cell.memory_limit)});
    const MachineWatch watch(spinner);
    const ProcessResult process = run_self(arguments, worker_environment(plan, cell), plan.timeout);
    const double other_cores = watch.other_cores(process.cpu_seconds);
    Record record;
    if (!process.succeeded) {
        record.set("status", "failed: " + process.ending);
    } else {
        try {
            record = parse_record(process.output);
        } catch (const std::invalid_argument&) {
            return record.set("status", "failed: it printed something else than its result");
        }
        const std::string kernels = record.string_or_empty("kernels");
        if (kernels != plan.kernels)
            record.set("status", "failed: OpenBLAS runs the kernels " + kernels + ", not " + plan.kernels);
    }
    return record.set("other_cores", other_cores).set("process_seconds", process.seconds);
}

void tell(const Cell& cell, int round, const Record& record, const char* remark) {
    std::fprintf(stderr, "round %d  threads %d  %-10s %-10s %6.1f s  %6.1f GFLOP/s  others %.2f  %s%s\n",
                 round, cell.threads, cell.matrix.c_str(), cell.solver.c_str(),
                 record.number_or_nan("process_seconds"), record.number_or_nan("gflops"),
                 record.number_or_nan("other_cores"), record.string_or_empty("status").c_str(), remark);
}

/// Returns when others have left the machine alone for a second, or when the patience is over.
void wait_for_quiet(double patience, int spinner) {
    const double start = clock_seconds();
    while (clock_seconds() - start < patience) {
        const MachineWatch watch(spinner);
        std::this_thread::sleep_for(std::chrono::seconds(1));
        if (watch.other_cores(0) <= LARGEST_OTHER_LOAD) return;
    }
}

/// One round of one cell: tries until nothing else disturbs.
void measure(const Plan& plan, Cell& cell, int round, int spinner) {
    if (!cell.problem.empty()) return;
    for (int attempt = 0; attempt <= plan.retries; ++attempt) {
        const Record record = run_one(plan, cell, spinner);
        const std::string status = record.string_or_empty("status");
        if (status != "ok") {
            tell(cell, round, record, "");
            cell.problem = status;
            return;
        }
        const bool clean = record.number_or_nan("other_cores") <= LARGEST_OTHER_LOAD;
        const bool last = attempt == plan.retries || plan.allow_busy;
        tell(cell, round, record, clean ? "" : last ? "  busy" : "  busy, again");
        if (!clean && last) ++cell.disturbed;
        if (clean || (last && plan.allow_busy)) cell.measured.push_back(record);
        if (clean || last) return;
        wait_for_quiet(plan.patience, spinner);
    }
}

/// Medians over the rounds. A cell that was disturbed in more than half of them reports nothing.
Record summary(const Plan& plan, const Cell& cell) {
    Record result;
    result.set("matrix", cell.matrix).set("solver", cell.solver).set("threads", cell.threads);
    const int rounds = static_cast<int>(cell.measured.size());
    result.set("rounds", rounds);
    if (!cell.problem.empty()) return result.set("status", cell.problem);
    if (rounds == 0 || (!plan.allow_busy && cell.disturbed > rounds)) return result.set("status", "busy");
    result.set("status", cell.disturbed > 0 && plan.allow_busy ? "noisy" : "ok");
    for (const auto& [name, value] : cell.measured.front().members()) {
        if (name == "solver" || name == "status") continue;
        if (std::holds_alternative<std::string>(value)) {
            result.set(name, std::get<std::string>(value));
            continue;
        }
        std::vector<double> samples;
        for (const Record& record : cell.measured) samples.push_back(record.number_or_nan(name));
        const bool worst = name == "other_cores" || name == "backward_error";
        result.set(name, worst ? *std::max_element(samples.begin(), samples.end()) : median(samples));
    }
    return result;
}

std::string processor_name() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);)
        if (line.starts_with("model name")) return line.substr(std::min(line.size(), line.find(':') + 2));
    return "unknown";
}

Record setting_of(const Plan& plan) {
    Record setting;
    setting.set("processor", processor_name()).set("processors", std::thread::hardware_concurrency());
    setting.set("memory_bytes",
                static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE)));
    setting.set("compiler", __VERSION__).set("kernels", plan.kernels).set("blas", BENCH_OPENBLAS_FOLDER);
    setting.set("omp_wait", plan.wait).set("tuned", plan.tuned).set("rounds", plan.rounds);
    setting.set("repeats", plan.repeats).set("busy_core", plan.busy_core ? "yes" : "no");
    return setting;
}

std::vector<std::string> rows_of(const Plan& plan, int threads) {
    std::vector<std::string> rows = {"vyr"};
    if (threads > 1 && !plan.tuned.empty()) rows.emplace_back(TUNED);
    rows.insert(rows.end(), plan.peers.begin(), plan.peers.end());
    if (plan.out_of_core)
        for (const SolverEntry& entry : solvers())
            if (entry.serves_files && std::find(rows.begin(), rows.end(), entry.name) != rows.end())
                rows.push_back(std::string(entry.name) + IN_FILES);
    return rows;
}

/// The cells by matrix and number of threads; within such a group every round starts with another solver,
/// since the first one may pay for pages that the machine had given away. Files come after memory.
std::vector<std::size_t> order_of_round(const std::vector<Cell>& cells, int round) {
    std::vector<std::size_t> order(cells.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    for (auto begin = order.begin(); begin != order.end();) {
        const Cell& first = cells[*begin];
        const auto end = std::find_if(begin, order.end(), [&](std::size_t i) {
            return cells[i].matrix != first.matrix || cells[i].threads != first.threads ||
                   cells[i].in_files != first.in_files;
        });
        std::rotate(begin, begin + (round - 1) % (end - begin), end);
        begin = end;
    }
    return order;
}

/// Our peak in memory is known before the first run with files.
void limit_memory(const std::vector<Cell>& cells, Cell& cell) {
    if (!cell.in_files) return;
    for (const Cell& other : cells)
        if (other.solver == "vyr" && other.matrix == cell.matrix && other.threads == cell.threads &&
            !other.measured.empty())
            cell.memory_limit = static_cast<std::int64_t>(SHARE_OUT_OF_CORE *
                                                          other.measured.front().number_or_nan("peak_bytes"));
    if (cell.memory_limit == 0 && cell.problem.empty())
        cell.problem = "failed: no figure in memory to start from";
}

Findings findings_of(const Plan& plan, const std::vector<Cell>& cells) {
    Findings findings{setting_of(plan), {}};
    for (const Cell& cell : cells) {
        if (cell.solver == "dgemm") continue;
        Record result = summary(plan, cell);
        for (const Cell& other : cells)
            if (other.solver == "dgemm" && other.threads == cell.threads)
                result.set("dgemm_gflops", summary(plan, other).number_or_nan("gflops"));
        if (const std::string version = result.string_or_empty("version"); !version.empty())
            findings.setting.set(cell.solver, version);
        findings.results.push_back(std::move(result));
    }
    add_ratios(findings.results);
    return findings;
}

} // namespace

Findings run_plan(const Plan& wanted, void (*save)(const Findings&, void*), void* context) {
    Plan plan = wanted;
    if (plan.kernels.empty()) plan.kernels = better_kernels(blas_kernels());
    std::fprintf(stderr, "OpenBLAS: this process got the kernels %s; every worker uses %s\n",
                 blas_kernels().c_str(), plan.kernels.c_str());
    std::vector<Cell> cells;
    for (const int threads : plan.threads) {
        cells.push_back({"", "dgemm", threads, {}, "", 0});
        for (const std::string& matrix : plan.matrices) {
            parse_matrix(matrix);
            for (const std::string& solver : rows_of(plan, threads))
                cells.push_back({matrix, solver, threads, {}, "", 0, solver.ends_with(IN_FILES)});
        }
    }
    const Spinner spinner(plan.busy_core);
    Findings findings;
    for (int round = 1; round <= plan.rounds; ++round) {
        for (const std::size_t i : order_of_round(cells, round)) {
            limit_memory(cells, cells[i]);
            measure(plan, cells[i], round, spinner.pid());
        }
        findings = findings_of(plan, cells);
        save(findings, context);
    }
    return findings;
}

} // namespace vyr::bench
