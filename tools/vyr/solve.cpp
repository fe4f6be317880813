#include "tools/vyr/solve.h"

#include "interface/handle.h"
#include "interface/process_state.h"
#include "platform/platform.h"
#include "tools/vyr/norms.h"
#include "tools/vyr/scoped_handle.h"
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

/// Runs `work`, shows its name meanwhile, and returns the seconds it took.
template <typename Work>
double timed(const char* phase, bool live, Work work) {
    const Ticker ticker(phase, live);
    const double start = platform::clock_ms();
    work();
    return (platform::clock_ms() - start) * 1e-3;
}

/// Entries of L: the supernodes' blocks without the unused half of their pivot blocks.
std::int64_t factor_nnz(const mf_solver& solver) {
    std::int64_t entries = solver.factor_entries;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        const std::int64_t npiv = solver.snodes[s].npiv;
        entries -= npiv * (npiv - 1) / 2;
    }
    return entries;
}

/// Asks the library which equations stopped it and keeps the first.
void find_failed_equation(VYR_handle h, SolveResult& result) {
    std::vector<double> pivots(static_cast<std::size_t>(result.n));
    std::vector<int> marks(static_cast<std::size_t>(result.n));
    VYR_pivot_ld(h, pivots.data(), marks.data());
    for (std::size_t i = marks.size(); i-- > 0;) {
        if (marks[i] != 1) continue;
        result.failed_equation = static_cast<std::int32_t>(i + 1);
        result.failed_pivot = pivots[i];
        ++result.failed_equations;
    }
}

/// Factorises and solves once; false when the library failed.
bool run_once(const SparseMatrix& a, VYR_handle h, DenseMatrix& x, bool live, const OutOfCoreRun& out_of_core,
              SolveResult& result, std::vector<double>& factorise, std::vector<double>& substitute) {
    const int* col_ptr = a.col_ptr.data();
    const int* row_ind = a.row_ind.data();
    const double* values = a.values.data();
    factorise.push_back(timed("factorise", live, [&] {
        result.status = VYR_numeric_ld(nullptr, a.n, col_ptr, row_ind, values, h);
    }));
    result.flops = mf_info[INFO_FLOPS];
    result.files = out_of_core.use(*from_handle(h), result.status);
    if (result.status != VYR_OK) {
        find_failed_equation(h, result);
        return false;
    }
    substitute.push_back(timed("solve", live, [&] {
        if (x.n_cols == 1 ||
            out_of_core.active()) // out of core the library takes one right-hand side at a time
            for (std::int64_t k = 0; k < x.n_cols; ++k)
                VYR_solve_ld(h, nullptr, a.n, col_ptr, row_ind, values, x.values.data() + k * a.n);
        else
            VYR_solve_N_ld(h, nullptr, a.n, col_ptr, row_ind, values, x.values.data(), x.n_cols);
    }));
    result.status = info_status();
    return result.status == VYR_OK;
}

void solve_phases(const SparseMatrix& a, const DenseMatrix& b, DenseMatrix& x, int repeat, bool live,
                  const OutOfCore& out_of_core, SolveResult& result) {
    double param[VYR_PARAM_COUNT] = {};
    const int* col_ptr = a.col_ptr.data();
    const int* row_ind = a.row_ind.data();
    result.status = VYR_init_ld(a.n, a.n, col_ptr, row_ind, a.values.data(), VYR_TYPE_SPD, param);
    if (result.status != VYR_OK) return;

    OutOfCoreRun run(out_of_core);
    ScopedHandle handle;
    result.seconds_analyse =
        timed("order and analyse", live, [&] { handle.h = run.analyse(a.n, col_ptr, row_ind); });
    if (handle.h == nullptr) {
        result.status = failed_analysis_status(param[VYR_PARAM_STATUS]);
        return;
    }
    result.nnz_factor = factor_nnz(*from_handle(handle.h));

    std::vector<double> factorise, substitute;
    bool solved = true;
    for (int round = 0; solved && round < repeat; ++round) {
        x.values = b.values; // the solve overwrites the right-hand sides with the solutions
        solved = run_once(a, handle.h, x, live, run, result, factorise, substitute);
    }
    result.seconds_factorise = median(factorise);
    result.seconds_solve = median(substitute);
    if (solved) timed("check", live, [&] { result.backward_error = backward_error(a, x, b); });
}

} // namespace

SolveResult solve(const SparseMatrix& a, const DenseMatrix& b, DenseMatrix& x, int repeat, bool live,
                  const OutOfCore& out_of_core) {
    SolveResult result;
    result.n = a.n;
    result.nnz = a.nnz();
    result.n_rhs = b.n_cols;
    result.threads = omp_get_max_threads();
    result.backward_error = std::numeric_limits<double>::quiet_NaN();
    x = DenseMatrix{b.n_rows, b.n_cols, {}};
    solve_phases(a, b, x, repeat, live, out_of_core, result);
    result.peak_bytes = platform::peak_resident_bytes();
    if (result.status != VYR_OK) result.bytes_needed = mem_refused.load();
    return result;
}

} // namespace vyr::tool
