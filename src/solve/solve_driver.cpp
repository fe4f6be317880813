#include "core/workforce.h"
#include "platform/blas_threads.h"
#include "platform/platform.h"
#include "solve/solve.h"
#include "solve/substitution.h"

namespace vyr {

namespace {

Status solve(Context& context, const Factor& factor, const Matrix& matrix, double* b, std::int32_t nrhs,
             bool block) noexcept {
    const std::int32_t n = factor.analysis->n;
    if (matrix.n != n)
        return fail(context, Status::HANDLE, "the matrix has order %d, the factor has order %d", matrix.n, n);
    return context.settings.refinement_limit > 1 ? mf_refine(context, factor, matrix, b, block)
                                                 : mf_substitute(context, factor, b, nrhs, block);
}

} // namespace

Status mf_solve(Context& context, const Factor& factor, const Matrix& matrix, double* b, std::int32_t nrhs,
                bool block) noexcept {
    const double start_ms = platform::clock_ms();
    // A substitution is a long chain of short calls. With a team for the large products it is a quarter
    // faster on an idle machine, and four times slower as soon as another process takes one of the cores.
    const blas::ThreadLimit one_thread(1);
    const Workforce caller(context, 1);
    if (caller.status() != Status::OK) return caller.status();
    const Status status = solve(context, factor, matrix, b, nrhs, block);
    context.statistics.t_solve = (platform::clock_ms() - start_ms) / 1000;
    return status;
}

} // namespace vyr
