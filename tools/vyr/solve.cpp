#include "tools/vyr/solve.h"

#include "tools/vyr/library.h"
#include "tools/vyr/process_facts.h"
#include "tools/vyr/ticker.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

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
    const double start = seconds_now();
    work();
    return seconds_now() - start;
}

vyr_options library_options(const SolveOptions& options) {
    vyr_options chosen;
    vyr_options_default(&chosen, sizeof chosen);
    chosen.kind = options.kind;
    chosen.ordering = options.ordering;
    chosen.threads = options.threads;
    chosen.pivot_min = options.pivot_min;
    chosen.backward_error_limit = LARGEST_BACKWARD_ERROR;
    if (!options.directory.empty()) chosen.directory = options.directory.c_str();
    chosen.memory_limit = options.memory_limit;
    chosen.matching = options.matching;
    chosen.scaling = options.scaling;
    chosen.pivoting = options.pivoting;
    chosen.zero_pivots = options.zero_pivots ? 1 : 0;
    if (options.pivot_share > 0) chosen.pivot_share = options.pivot_share;
    return chosen;
}

/// Keeps the library's last line in a string.
void keep_line(void* line, std::int32_t /*level*/, const char* text) {
    *static_cast<std::string*>(line) = text;
}

/// Factorises and solves once; the status tells how far it came.
vyr_status run_once(const vyr_matrix& matrix, Factor& factor, const DenseMatrix& b, DenseMatrix& x, bool live,
                    SolveResult& result, std::vector<double>& factorise, std::vector<double>& substitute) {
    vyr_status status = VYR_STATUS_OK;
    factorise.push_back(timed("factorise", live, [&] { status = vyr_factorise(factor.get(), &matrix); }));
    result.factor = factor.info();
    result.message = vyr_factor_message(factor.get());
    if (status != VYR_STATUS_OK) return status;
    vyr_solve_info info{};
    info.size = sizeof info;
    timed("solve", live, [&] {
        status =
            vyr_solve(factor.get(), b.n_cols, b.values.data(), b.n_rows, x.values.data(), x.n_rows, &info);
    });
    if (status != VYR_STATUS_OK) result.message = result.line;
    substitute.push_back(info.seconds);
    result.refinements = info.refinements;
    result.backward_error = info.backward_error;
    return status;
}

/// True when the pivots look like those of a matrix that may be singular.
bool doubtful(const vyr_factor_info& factor) {
    const double ratio = factor.pivot_largest / factor.pivot_smallest;
    return !((factor.kind == VYR_KIND_POSITIVE ? ratio * ratio : ratio) <= DOUBTFUL_PIVOT_RATIO);
}

} // namespace

SolveResult solve(const SparseMatrix& a, const DenseMatrix& b, DenseMatrix& x, const SolveOptions& options) {
    SolveResult result;
    result.n = a.n;
    result.nnz = a.nnz();
    result.n_rhs = b.n_cols;
    result.backward_error = result.condition = std::numeric_limits<double>::quiet_NaN();
    result.out_of_core = !options.directory.empty();
    result.memory_limit = options.memory_limit;
    result.value_min = std::numeric_limits<double>::max();
    for (const double value : a.values) {
        result.value_max = std::max(result.value_max, std::fabs(value));
        if (value != 0) result.value_min = std::min(result.value_min, std::fabs(value));
    }
    x = DenseMatrix{b.n_rows, b.n_cols, std::vector<double>(b.values.size())};

    vyr_options chosen = library_options(options);
    chosen.log = keep_line;
    chosen.log_user = &result.line;
    const vyr_matrix matrix = library_matrix(a);
    Analysis analysis;
    timed("order and analyse", options.live, [&] { result.status = analysis.make(matrix, chosen); });
    result.message = analysis.message();
    if (result.status == VYR_STATUS_OK) {
        result.analysis = analysis.info();
        Factor factor;
        result.status = factor.make(analysis, chosen);
        std::vector<double> factorise, substitute;
        for (int round = 0; result.status == VYR_STATUS_OK && round < options.repeat; ++round)
            result.status = run_once(matrix, factor, b, x, options.live, result, factorise, substitute);
        result.seconds_factorise = median(factorise);
        result.seconds_solve = median(substitute);
        const bool solved = result.status == VYR_STATUS_OK || result.status == VYR_STATUS_INACCURATE;
        if (solved && (options.condition || (!options.zero_pivots && doubtful(result.factor))))
            timed("check", options.live, [&] { (void)vyr_condition(factor.get(), 1, &result.condition); });
    }
    result.peak_bytes = peak_resident_bytes();
    return result;
}

} // namespace vyr::tool
