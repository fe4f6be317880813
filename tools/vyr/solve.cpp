#include "tools/vyr/solve.h"

#include "interface/handle.h"
#include "interface/process_state.h"
#include "platform/platform.h"
#include "tools/vyr/norms.h"
#include "tools/vyr/pivot_pairs.h"
#include "tools/vyr/refinement.h"
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

/// Puts L D L^T in force on the analysed matrix. The library starts its statistics anew with every
/// VYR_init_ld; those of the analysis are kept for the report. The core mode stays.
int choose_indefinite(const SparseMatrix& a, double* param) {
    double analysis[INFO_COUNT];
    std::copy_n(mf_info, INFO_COUNT, analysis);
    const double peak = mem_peak;
    const double core_mode = mf_ctrl[CTRL_CORE_MODE], estimate = mf_ctrl[CTRL_MEMORY_ESTIMATE];
    const int status = VYR_init_ld(a.n, a.n, a.col_ptr.data(), a.row_ind.data(), a.values.data(),
                                   VYR_TYPE_INDEFINITE, param);
    for (const InfoSlot slot : {INFO_MEM_SYM, INFO_PEAK_SYM, INFO_T_SYM, INFO_T_SYMFAC, INFO_NODES,
                                INFO_MAX_WIDTH, INFO_NZLU_SYM, INFO_NZLU})
        mf_info[slot] = analysis[slot];
    mem_peak = peak;
    mf_ctrl[CTRL_CORE_MODE] = core_mode;
    mf_ctrl[CTRL_MEMORY_ESTIMATE] = estimate;
    return status;
}

/// Seconds of each repetition.
struct Samples {
    std::vector<double> factorise, substitute;
};

/// Replaces the right-hand sides in `x` by the solutions of the factorised system.
void substitute(const SparseMatrix& a, VYR_handle h, const DenseMatrix& b, DenseMatrix& x,
                SolveResult& result) {
    const int* col_ptr = a.col_ptr.data();
    const int* row_ind = a.row_ind.data();
    const double* values = a.values.data();
    const bool indefinite = ctrl_int(CTRL_TYPE) == TYPE_LDLT;
    const bool in_core = ctrl_int(CTRL_CORE_MODE) == CORE_IN;
    if (x.n_cols > 1 && !indefinite && in_core) {
        VYR_solve_N_ld(h, nullptr, a.n, col_ptr, row_ind, values, x.values.data(), x.n_cols);
        return;
    }
    // By L D L^T and out of core the library takes one right-hand side at a time.
    for (std::int32_t k = 0; k < x.n_cols; ++k)
        VYR_solve_ld(h, nullptr, a.n, col_ptr, row_ind, values, x.column(k));
    // Its pivots, confined to the nodes, may let entries grow and so cost digits.
    if (indefinite && info_status() == VYR_OK) result.refinements = refine(a, h, b, x);
}

/// Factorises and solves once; false when the library failed.
bool run_once(const SparseMatrix& a, VYR_handle h, const DenseMatrix& b, DenseMatrix& x, bool live,
              const OutOfCoreRun& out_of_core, Samples& samples, SolveResult& result) {
    samples.factorise.push_back(timed("factorise", live, [&] {
        result.status = VYR_numeric_ld(nullptr, a.n, a.col_ptr.data(), a.row_ind.data(), a.values.data(), h);
    }));
    result.flops = mf_info[INFO_FLOPS];
    result.files = out_of_core.use(*from_handle(h), result.status);
    if (result.status != VYR_OK) {
        find_failed_equation(h, result);
        return false;
    }
    x.values = b.values;
    samples.substitute.push_back(timed("solve", live, [&] { substitute(a, h, b, x, result); }));
    result.status = info_status();
    return result.status == VYR_OK;
}

/// True when `x` got the solution.
bool solve_phases(const SparseMatrix& a, const DenseMatrix& b, DenseMatrix& x, int type, int repeat,
                  bool live, const OutOfCore& out_of_core, SolveResult& result) {
    double param[VYR_PARAM_COUNT] = {};
    // The ordering of whole groups of equations, which tied ones need.
    if (type == VYR_TYPE_INDEFINITE) param[VYR_PARAM_BLOCKED] = 1;
    const int* col_ptr = a.col_ptr.data();
    const int* row_ind = a.row_ind.data();
    result.status = VYR_init_ld(a.n, a.n, col_ptr, row_ind, a.values.data(), VYR_TYPE_SPD, param);
    if (result.status != VYR_OK) return false;

    OutOfCoreRun run(out_of_core);
    ScopedHandle handle;
    result.seconds_analyse +=
        timed("order and analyse", live, [&] { handle.h = run.analyse(a.n, col_ptr, row_ind, type); });
    if (handle.h == nullptr) {
        result.status = failed_analysis_status(param[VYR_PARAM_STATUS]);
        return false;
    }
    result.nnz_factor = factor_nnz(*from_handle(handle.h));
    if (type == VYR_TYPE_INDEFINITE) result.status = choose_indefinite(a, param);
    if (result.status != VYR_OK) return false;

    Samples samples;
    bool solved = true;
    for (int round = 0; solved && round < repeat; ++round)
        solved = run_once(a, handle.h, b, x, live, run, samples, result);
    result.seconds_factorise = median(samples.factorise);
    result.seconds_solve = median(samples.substitute);
    return solved;
}

SolveResult empty_result(const SparseMatrix& a, const DenseMatrix& b) {
    SolveResult result;
    result.n = a.n;
    result.nnz = a.nnz();
    result.n_rhs = b.n_cols;
    result.threads = omp_get_max_threads();
    result.backward_error = std::numeric_limits<double>::quiet_NaN();
    return result;
}

/// Judges the solution, when there is one, against the given matrix.
void finish(const SparseMatrix& a, const DenseMatrix& b, const DenseMatrix& x, bool solved, bool live,
            SolveResult& result) {
    if (solved) timed("check", live, [&] { result.backward_error = backward_error(a, x, b); });
    result.peak_bytes = platform::peak_resident_bytes();
    if (result.status != VYR_OK) result.bytes_needed = mem_refused.load();
}

} // namespace

SolveResult solve(const SparseMatrix& a, const DenseMatrix& b, DenseMatrix& x, int repeat, bool live,
                  const OutOfCore& out_of_core) {
    SolveResult result = empty_result(a, b);
    x = DenseMatrix{b.n_rows, b.n_cols, {}};
    const bool solved = solve_phases(a, b, x, VYR_TYPE_SPD, repeat, live, out_of_core, result);
    finish(a, b, x, solved, live, result);
    return result;
}

SolveResult solve_indefinite(const SparseMatrix& a, const DenseMatrix& b, DenseMatrix& x, int repeat,
                             bool live, const OutOfCore& out_of_core) {
    SolveResult result = empty_result(a, b);
    PairedMatrix paired;
    result.seconds_analyse = timed("pair", live, [&] { paired = pair_weak_diagonals(a); });
    x = DenseMatrix{b.n_rows, b.n_cols, std::vector<double>(b.values.size())};
    DenseMatrix paired_x{b.n_rows, b.n_cols, {}}, paired_b = b;
    for (std::int32_t j = 0; j < b.n_cols; ++j)
        for (std::int32_t k = 0; k < a.n; ++k) paired_b.column(j)[k] = b.column(j)[paired.order[k]];
    const bool solved = solve_phases(paired.matrix, paired_b, paired_x, VYR_TYPE_INDEFINITE, repeat, live,
                                     out_of_core, result);
    for (std::int32_t j = 0; solved && j < b.n_cols; ++j)
        for (std::int32_t k = 0; k < a.n; ++k) x.column(j)[paired.order[k]] = paired_x.column(j)[k];
    finish(a, b, x, solved, live, result);
    return result;
}

} // namespace vyr::tool
