#include "core/workforce.h"
#include "platform/blas_threads.h"
#include "platform/platform.h"
#include "solve/solve.h"
#include "solve/substitution.h"

namespace vyr {

namespace {

/// Threads for one of its solves: the settings' number, or the one the schedule was made for.
std::int32_t threads_of(const Context& context, const Factor& factor) noexcept {
    if (factor.analysis->solve_cut.n_subtrees == 0) return 1;
    const std::int32_t wanted = context.settings.n_threads;
    return wanted > 0 ? wanted : factor.analysis->schedule.n_threads;
}

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
    // Threads share the work among themselves; every BLAS call stays on the thread that makes it.
    const blas::ThreadLimit one_thread(1);
    const Workforce team(context, threads_of(context, factor));
    if (team.status() != Status::OK) return team.status();
    context.settings.n_threads = team.n_threads();
    const Status status = solve(context, factor, matrix, b, nrhs, block);
    context.statistics.t_solve = (platform::clock_ms() - start_ms) / 1000;
    return status;
}

} // namespace vyr
