// Factors and solves: the second half of vyr/solver.h.
#include "api/common.h"

#include "engine/inspect.h"
#include "memory/file_calls.h"
#include "platform/blas_build.h"
#include "platform/files.h"
#include "platform/platform.h"

#include <algorithm>
#include <cstdio>
#include <new>

using namespace vyr;
using namespace vyr::api;

namespace {

constexpr int DEFAULT_REFINEMENTS = 10;       ///< for L D L^T
constexpr double DEFAULT_ERROR_LIMIT = 1e-10; ///< for L D L^T

/// Directory of the factor's own files. MEMORY, ARGUMENT or FILE when there cannot be one.
vyr_status make_directory(vyr_factor& factor) noexcept {
    if (factor.options.directory == nullptr || factor.directory[0] != '\0') return VYR_STATUS_OK;
    if (platform::make_directory(factor.options.directory, factor.directory, sizeof factor.directory))
        return VYR_STATUS_OK;
    factor.directory[0] = '\0';
    std::snprintf(factor.message, sizeof factor.message, "no directory can be made in %.200s",
                  factor.options.directory);
    return VYR_STATUS_FILE;
}

} // namespace

extern "C" vyr_status vyr_factor_create(const vyr_analysis* analysis, const vyr_options* options,
                                        vyr_factor** factor) {
    if (factor == nullptr) return VYR_STATUS_NULL;
    *factor = nullptr;
    if (analysis == nullptr) return VYR_STATUS_NULL;
    if (analysis->shared == nullptr) return analysis->status;
    vyr_options chosen = analysis->shared->options;
    char message[240] = "";
    if (options != nullptr)
        if (const vyr_status status = take_options(options, chosen, message); status != VYR_STATUS_OK)
            return status;
    *factor = new (std::nothrow) vyr_factor(*analysis->shared, chosen);
    if (*factor == nullptr) return VYR_STATUS_MEMORY;
    analysis->shared->references.fetch_add(1);
    vyr_factor& made = **factor;
    made.solver.keep_matrix = chosen.keep_matrix != 0;
    made.solver.process_limit_bytes = chosen.memory_limit;
    std::snprintf(made.kernels, sizeof made.kernels, "%s, own loops %s", blas::kernels_text(),
                  instructions_text(instruction_set()));
    return VYR_STATUS_OK;
}

extern "C" void vyr_factor_free(vyr_factor* factor) {
    if (factor == nullptr) return;
    SharedAnalysis* shared = &factor->shared;
    char directory[sizeof factor->directory];
    std::copy_n(factor->directory, sizeof directory, directory);
    delete factor;
    if (directory[0] != '\0') mf_remove_files(directory);
    release(shared);
}

extern "C" vyr_status vyr_factorise(vyr_factor* factor, const vyr_matrix* matrix) {
    if (factor == nullptr) return VYR_STATUS_NULL;
    const CallList::Entry entry(factor->calls, true);
    if (!entry.granted()) return VYR_STATUS_BUSY;
    factor->message[0] = '\0';
    factor->condition = -1;
    InputMatrix input;
    factor->status = take_matrix(matrix, input, factor->message);
    if (factor->status == VYR_STATUS_OK) factor->status = make_directory(*factor);
    if (factor->status != VYR_STATUS_OK) return factor->status;

    HostCall call(factor->solver.memory, factor->options);
    Context& context = call.context;
    context.settings.directory = factor->directory;
    context.settings.reserve_bytes = factor->shared.solver.work_bytes;
    if (context.settings.n_threads == 0) context.settings.n_threads = mf_host_threads();
    const Status status = mf_solver_factorise(context, input, factor->solver);
    factor->status = public_status(status);
    if (status == Status::OK) return VYR_STATUS_OK;
    if (factor->solver.failed_equation > 0)
        std::snprintf(factor->message, sizeof factor->message,
                      "equation %d: pivot %.3g is not positive; the matrix is not positive definite",
                      factor->solver.failed_equation, factor->solver.failed_pivot);
    else
        std::snprintf(factor->message, sizeof factor->message, "%s",
                      context.reason[0] != '\0' ? context.reason : vyr_status_text(factor->status));
    return factor->status;
}

extern "C" const char* vyr_factor_message(const vyr_factor* factor) {
    return factor == nullptr ? "" : factor->message;
}

extern "C" vyr_status vyr_factor_get_info(const vyr_factor* factor, vyr_factor_info* info) {
    if (factor == nullptr || info == nullptr) return VYR_STATUS_NULL;
    const CallList::Entry entry(factor->calls, false);
    if (!entry.granted()) return VYR_STATUS_BUSY;
    const SolverFactor& solver = factor->solver;
    vyr_factor_info figures{};
    figures.status = factor->status;
    figures.kind = solver.type == TYPE_SPD ? VYR_KIND_POSITIVE : VYR_KIND_INDEFINITE;
    figures.threads = solver.n_threads;
    figures.kernels = factor->kernels;
    figures.seconds_factorise = solver.seconds;
    figures.seconds_files = solver.seconds_files;
    figures.operations = solver.flops;
    figures.structural_rank = solver.structural_rank;
    figures.rank = -1;
    figures.failed_equation = solver.failed_equation;
    figures.failed_pivot = solver.failed_pivot;
    const Factor& inner = solver.factor;
    figures.files = inner.files.count;
    figures.file_bytes = static_cast<double>(inner.files.doubles) * sizeof(double);
    figures.factor_bytes = inner.held_bytes();
    const bool complete = factor->status == VYR_STATUS_OK || factor->status == VYR_STATUS_SINGULAR;
    if (complete && solver.rank >= 0) {
        Accounting memory;
        Context context(memory);
        context.settings.type = solver.type;
        PivotSummary summary;
        if (const Status status = mf_pivot_summary(context, inner, summary); status != Status::OK)
            return public_status(status);
        figures.pivot_smallest = summary.smallest;
        figures.pivot_largest = summary.largest;
        figures.two_by_two = summary.two_by_two;
        figures.positive = summary.positive;
        figures.negative = summary.negative;
        figures.zero = summary.zero;
        figures.rank = solver.rank;
        figures.perturbed = inner.pivoted.n_perturbed;
        figures.delayed = inner.pivoted.n_delayed;
    }
    return give_info(figures, info);
}

extern "C" vyr_status vyr_solve(const vyr_factor* factor, int32_t nrhs, const double* b, int64_t ldb,
                                double* x, int64_t ldx, vyr_solve_info* info) {
    if (factor == nullptr || b == nullptr || x == nullptr) return VYR_STATUS_NULL;
    const double start_ms = platform::clock_ms();
    SolveGrant grant(factor);
    if (grant.status() != VYR_STATUS_OK) return grant.status();
    if (bad_columns(*factor, nrhs, ldb) || bad_columns(*factor, nrhs, ldx) || (b == x && ldb != ldx))
        return VYR_STATUS_ARGUMENT;
    const vyr_options& options = factor->options;
    const bool indefinite = factor->solver.type != TYPE_SPD;
    SolveCall call;
    call.refinements = options.refinements >= 0 ? options.refinements : indefinite ? DEFAULT_REFINEMENTS : 0;
    call.error_limit = options.backward_error_limit >= 0 ? options.backward_error_limit
                       : indefinite                      ? DEFAULT_ERROR_LIMIT
                                                         : 0;
    call.wants_error = info != nullptr;
    const Status status = mf_solver_solve(grant.context(), factor->solver, nrhs, b, ldb, x, ldx, call);
    if (info == nullptr) return grant.answer(status);
    vyr_solve_info figures{};
    figures.backward_error = call.backward_error;
    const double condition = factor->condition.load();
    figures.forward_error = condition < 0 || call.backward_error < 0 ? -1 : condition * call.backward_error;
    figures.refinements = call.refinements;
    figures.seconds = (platform::clock_ms() - start_ms) / 1000;
    if (const vyr_status given = give_info(figures, info); given != VYR_STATUS_OK) return given;
    return grant.answer(status);
}
