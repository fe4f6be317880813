#include "tools/vyr/solve.h"

#include "engine/memory_share.h"
#include "engine/system.h"
#include "platform/platform.h"
#include "tools/vyr/norms.h"
#include "tools/vyr/ticker.h"

#include <algorithm>
#include <limits>
#include <vector>

#include <omp.h>

namespace vyr::tool {

namespace {

double median(std::vector<double> samples) {
    if (samples.empty()) return 0;
    std::sort(samples.begin(), samples.end());
    const std::size_t middle = samples.size() / 2;
    return samples.size() % 2 != 0 ? samples[middle] : 0.5 * (samples[middle - 1] + samples[middle]);
}

/// One run: the matrix, its place in the engine, and the result in the making.
class Run {
public:
    Run(const SparseMatrix& a, const DenseMatrix& b, DenseMatrix& x, const SolveOptions& options)
        : matrix_{{a.n, a.col_ptr.data(), a.row_ind.data()}, a.values.data()},
          b_(b),
          x_(x),
          options_(options),
          context_(memory_),
          system_(memory_) {
        context_.settings.type = options.indefinite ? TYPE_LDLT : TYPE_SPD;
        context_.settings.directory = options.directory.c_str();
        if (!options.directory.empty()) context_.settings.core_mode = CORE_OUT;
        result_.out_of_core = !options.directory.empty();
        result_.n = a.n;
        result_.nnz = a.nnz();
        result_.n_rhs = b.n_cols;
        result_.threads = omp_get_max_threads();
        result_.backward_error = std::numeric_limits<double>::quiet_NaN();
        context_.statistics.rows = context_.statistics.cols = a.n;
        context_.statistics.nnz = a.nnz();
        context_.statistics.symmetry = context_.statistics.symmetry_origin = 1;
    }

    /// True when x got the solutions.
    bool run() {
        result_.seconds_analyse = timed("order and analyse", [&] {
            result_.status = mf_analyse_system(context_, matrix_, options_.memory_limit_bytes, system_);
        });
        if (result_.status != Status::OK) return false;
        result_.nnz_factor = mf_factor_nnz(system_.analysis);
        std::vector<double> factorise, substitute;
        for (int round = 0; result_.status == Status::OK && round < options_.repeat; ++round)
            run_once(factorise, substitute);
        result_.seconds_factorise = median(factorise);
        result_.seconds_solve = median(substitute);
        return result_.status == Status::OK;
    }

    template <typename Work>
    double timed(const char* phase, Work work) const {
        const Ticker ticker(phase, options_.live);
        const double start = platform::clock_ms();
        work();
        return (platform::clock_ms() - start) * 1e-3;
    }

    /// The result, with what only the end of the run can tell.
    SolveResult finish() {
        Statistics& statistics = context_.statistics;
        statistics.status = code(result_.status);
        statistics.mem = static_cast<double>(memory_.current.load()) / MEGABYTE;
        statistics.peak = mf_mem_peak(memory_) / MEGABYTE;
        result_.settings = context_.settings;
        result_.settings.directory = "";
        result_.statistics = statistics;
        result_.peak_bytes = platform::peak_resident_bytes();
        if (result_.status != Status::OK) result_.bytes_needed = memory_.refused.load();
        return result_;
    }

    SolveResult& result() { return result_; }

private:
    void run_once(std::vector<double>& factorise, std::vector<double>& substitute) {
        context_.statistics.numeric_start = platform::clock_ms();
        factorise.push_back(
            timed("factorise", [&] { result_.status = mf_factorise_system(context_, matrix_, system_); }));
        context_.statistics.t_num = factorise.back();
        result_.flops = context_.statistics.flops;
        if (result_.out_of_core) report_files();
        if (result_.status != Status::OK) return find_failed_equations();
        substitute.push_back(timed("solve", [&] {
            result_.status = mf_solve_system(context_, system_, matrix_, b_.values.data(), x_.values.data(),
                                             b_.n_cols, result_.refinements);
        }));
    }

    void report_files() {
        const FactorFiles& files = system_.factor.files;
        result_.n_files = files.count;
        result_.file_bytes = static_cast<double>(files.doubles) * sizeof(double);
        result_.seconds_written = context_.statistics.t_file_write / 1000;
        if (result_.status != Status::FACTOR_STORAGE && result_.status != Status::MEMORY) return;
        result_.files_unwritable = files.status == Status::FACTOR_FILE || files.status == Status::EMPTY_FILE;
        if (!result_.files_unwritable && options_.memory_limit_bytes > 0)
            (void)mf_least_limit(context_, system_, result_.least_limit_bytes);
    }

    /// Which pivots were too small; the first equation is kept.
    void find_failed_equations() {
        if (result_.status != Status::SMALL_PIVOT) return;
        const Factor& factor = system_.factor;
        std::int32_t first = result_.n;
        for (std::int32_t k = 0; k < result_.n; ++k) {
            const double pivot = factor.diag_values[k];
            if (pivot == -std::numeric_limits<double>::max() || pivot > context_.settings.pivot_min) continue;
            ++result_.failed_equations;
            if (system_.analysis.perm[k] >= first) continue;
            first = system_.analysis.perm[k];
            result_.failed_pivot = pivot;
        }
        result_.failed_equation = first + 1;
    }

    const Matrix matrix_;
    const DenseMatrix& b_;
    DenseMatrix& x_;
    const SolveOptions& options_;
    Accounting memory_;
    Context context_;
    System system_;
    SolveResult result_;
};

} // namespace

SolveResult solve(const SparseMatrix& a, const DenseMatrix& b, DenseMatrix& x, const SolveOptions& options) {
    x = DenseMatrix{b.n_rows, b.n_cols, std::vector<double>(b.values.size())};
    Run run(a, b, x, options);
    if (run.run()) run.timed("check", [&] { run.result().backward_error = backward_error(a, x, b); });
    return run.finish();
}

} // namespace vyr::tool
