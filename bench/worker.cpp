#include "bench/worker.h"

#include "bench/bench_matrices.h"
#include "bench/blas_build.h"
#include "bench/direct_solver.h"
#include "platform/platform.h"
#include "tools/vyr/norms.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <stdexcept>

#include <malloc.h>
#include <omp.h>

namespace vyr::bench {

namespace {

constexpr std::int32_t MANY_RHS = 16;
constexpr double LARGEST_BACKWARD_ERROR = 1e-10; ///< a solution with a larger one is reported as wrong
constexpr double SHORT_SECONDS = 0.3;            ///< short phases are repeated until they add up to this ...
constexpr int MOST_REPEATS = 1000;               ///< ... but not more often than this
constexpr std::int32_t SMALL_ORDER = 10000;      ///< up to here the whole road is repeated with fresh objects

template <typename Work>
double timed(Work work) {
    const double start = clock_seconds();
    work();
    return clock_seconds() - start;
}

/// Median of at least `repeats` calls; short ones are repeated more often. once() returns its seconds.
template <typename Once>
double repeated(int repeats, Once once) {
    std::vector<double> samples;
    double total = 0;
    while (static_cast<int>(samples.size()) < repeats ||
           (total < SHORT_SECONDS && static_cast<int>(samples.size()) < MOST_REPEATS)) {
        samples.push_back(once());
        total += samples.back();
    }
    return median(std::move(samples));
}

/// Forgets the largest resident size so far, so that making the matrix does not count. Where the kernel does
/// not allow that, the figure includes it, for all solvers alike.
void restart_peak() {
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << 5;
}

/// A line of /proc/self/status, bytes. The figure of getrusage would include this program's parent.
double resident_bytes(const std::string& label) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        double kilobytes = 0;
        if (word == label + ":" && status >> kilobytes) return 1024 * kilobytes;
    }
    return std::nan("");
}

/// Solves with fresh copies of b; x receives the last solution.
double timed_solve(DirectSolver& solver, const tool::DenseMatrix& b, tool::DenseMatrix& x) {
    x = b;
    const double seconds = timed([&] { solver.solve(x); });
    solver.collect(x);
    return seconds;
}

/// Analyse, factorise and solve, once or, when short, often with fresh objects.
double whole_road(const SolverEntry& entry, const Problem& problem, const tool::DenseMatrix& b) {
    tool::DenseMatrix x;
    return repeated(3, [&] {
        const std::unique_ptr<DirectSolver> solver = entry.make(problem);
        x = b;
        return timed([&] {
            solver->analyse();
            solver->factorise();
            solver->solve(x);
        });
    });
}

void measure(const SolverEntry& entry, const WorkerTask& task, Record& record) {
    const BenchMatrix matrix = parse_matrix(task.matrix);
    if (matrix.kind == Definiteness::INDEFINITE && !entry.serves_indefinite)
        throw SolverError("does not serve indefinite matrices");
    const bool in_memory = task.folder.empty();
    if (!in_memory && !entry.serves_files) throw SolverError("keeps no factor in files");
    const tool::SparseMatrix a = make_matrix(matrix);
    const Problem problem{a, matrix.kind, task.folder, task.memory_limit_bytes};
    const tool::DenseMatrix b1 = tool::known_right_hand_sides(a, 1);
    tool::DenseMatrix x1 = b1;
    restart_peak();
    record.set("n", a.n).set("nnz", a.nnz()).set("start_bytes", resident_bytes("VmRSS"));

    std::unique_ptr<DirectSolver> solver = entry.make(problem);
    const double analyse = timed([&] { solver->analyse(); });
    const double first = timed([&] { solver->factorise(); });
    const double solve_first = timed_solve(*solver, b1, x1);
    const double factorise = repeated(task.repeats, [&] { return timed([&] { solver->factorise(); }); });
    const double solve1 = repeated(3, [&] { return timed_solve(*solver, b1, x1); });
    record.set("peak_bytes", resident_bytes("VmHWM"));
    record.set("seconds_analyse", analyse).set("seconds_first", first).set("seconds_factorise", factorise);
    record.set("seconds_files", solver->file_seconds()).set("seconds_solve1", solve1);
    double error = tool::backward_error(a, x1, b1);
    if (in_memory) {
        const tool::DenseMatrix b16 = tool::known_right_hand_sides(a, MANY_RHS);
        tool::DenseMatrix x16 = b16;
        record.set("seconds_solve16", repeated(3, [&] { return timed_solve(*solver, b16, x16); }));
        record.set("peak_bytes_solve16", resident_bytes("VmHWM"));
        const double error16 = tool::backward_error(a, x16, b16);
        error = std::isnan(error16) || error16 > error ? error16 : error; // not-a-number stays
    }
    record.set("flops", solver->flops()).set("factor_entries", solver->factor_entries());
    record.set("gflops", solver->flops() / factorise * 1e-9).set("version", solver->version());

    record.set("backward_error", error);
    solver.reset();
    record.set("seconds_total",
               a.n <= SMALL_ORDER ? whole_road(entry, problem, b1) : analyse + first + solve_first);
    record.set("status", error <= LARGEST_BACKWARD_ERROR ? "ok" : "wrong");
}

} // namespace

double clock_seconds() {
    return platform::clock_ms() * 1e-3;
}

double median(std::vector<double> samples) {
    std::erase_if(samples, [](double sample) { return std::isnan(sample); }); // has no place in an order
    if (samples.empty()) return std::nan("");
    std::sort(samples.begin(), samples.end());
    const std::size_t middle = samples.size() / 2;
    return samples.size() % 2 != 0 ? samples[middle] : 0.5 * (samples[middle - 1] + samples[middle]);
}

Record run_worker(const WorkerTask& task) {
    if (omp_get_max_threads() != task.threads)
        throw std::invalid_argument("set OMP_NUM_THREADS to the number of threads before starting a worker");
    Record record;
    record.set("solver", task.solver).set("matrix", task.matrix).set("threads", task.threads);
    record.set("kernels", blas_kernels()).set("storage", task.folder.empty() ? "memory" : "files");
    if (const std::string problem = blas_problem(); !problem.empty())
        return record.set("status", "failed: " + problem);
    if (task.solver == "dgemm") return record.set("gflops", dgemm_rate()).set("status", "ok");
    const SolverEntry* const entry = find_solver(task.solver);
    if (entry == nullptr) throw std::invalid_argument("this build has no solver '" + task.solver + "'");
    try {
        measure(*entry, task, record);
    } catch (const SolverError& error) {
        record.set("status", "failed: " + std::string(error.what()));
    } catch (const std::bad_alloc&) {
        record.set("status", "failed: out of memory");
    }
    return record;
}

} // namespace vyr::bench
