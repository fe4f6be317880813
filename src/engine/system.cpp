#include "engine/system.h"

#include "engine/engine.h"
#include "engine/memory_share.h"
#include "engine/refine.h"
#include "memory/memory_plan.h"

#include <omp.h>

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace vyr {

namespace {

/// The matrix that is analysed and factorised: the given one, or the paired one with its values.
Matrix factorised_matrix(const Matrix& a, const System& system) noexcept {
    if (!system.pairing.ties) return a;
    return {{a.n, system.pairing.col_ptr.get(), system.pairing.row_ind.get()}, system.paired_values.get()};
}

Status pair(Context& context, const Matrix& a, System& system) noexcept {
    if (const Status status = mf_pair_weak_diagonals(context, a, system.pairing); status != Status::OK)
        return status;
    if (!system.pairing.ties) return Status::OK;
    system.paired_values = Buffer<double>(context.memory, system.pairing.row_ind.count());
    return system.paired_values ? Status::OK : out_of_memory(context);
}

/// Extremes of the values; NAN_VALUE, and where, when one is not finite.
Status scan_values(Context& context, const Matrix& a) noexcept {
    double largest = 0, smallest = DBL_MAX;
    for (std::int32_t j = 0; j < a.n; ++j) {
        for (std::int32_t e = a.col_ptr[j]; e < a.col_ptr[j + 1]; ++e) {
            const double magnitude = std::fabs(a.values[e]);
            if (!std::isfinite(magnitude))
                return fail(context, Status::NAN_VALUE,
                            "the value in row %d of column %d is not a finite number", a.row_ind[e] + 1,
                            j + 1);
            largest = std::max(largest, magnitude);
            if (magnitude > 0) smallest = std::min(smallest, magnitude);
        }
    }
    context.statistics.value_max = context.statistics.diagonal_min = largest;
    context.statistics.value_min = smallest;
    return Status::OK;
}

/// Solves for columns in the numbering of the factorised matrix, in place of the right-hand sides `b`.
Status substitute(Context& context, const System& system, const Matrix& a, const double* b, double* x,
                  std::int32_t nrhs, int& refinements) noexcept {
    const std::int64_t entries = std::int64_t{a.n} * nrhs;
    std::copy_n(b, entries, x);
    // By L D L^T and out of core one right-hand side is taken at a time.
    const bool block = nrhs > 1 && system.type == TYPE_SPD && system.factor.lu_values;
    const std::int32_t width = block ? nrhs : 1;
    for (std::int32_t k = 0; k < nrhs; k += width)
        if (const Status status =
                mf_solve_system(context, system.factor, a, x + std::int64_t{k} * a.n, width, block);
            status != Status::OK)
            return status;
    // Pivots confined to the nodes may let entries grow and so cost digits.
    if (system.type == TYPE_SPD) return Status::OK;
    return mf_refine_columns(context, system.factor, a, b, x, nrhs, refinements);
}

} // namespace

Status mf_analyse_system(Context& context, const Matrix& a, double process_limit_bytes,
                         System& system) noexcept {
    Settings& settings = context.settings;
    system.type = settings.type;
    const std::int32_t n_threads = settings.n_threads > 0 ? settings.n_threads : omp_get_max_threads();
    system.n_threads = std::max(n_threads, 1);
    if (system.type == TYPE_LDLT) {
        settings.blocked = true; // the ordering of whole groups of equations, which tied ones need
        if (const Status status = pair(context, a, system); status != Status::OK) return status;
    }
    settings.n_threads = process_limit_bytes > 0 ? 1 : system.n_threads;
    const Status status = mf_symbol(context, factorised_matrix(a, system), system.analysis, system.factor);
    settings.n_threads = n_threads;
    system.reserve_bytes = context.statistics.memory_estimate;
    if (status != Status::OK || process_limit_bytes <= 0) return status;

    // More than one subtree are trees of their own: two at a time would hold the blocks of two paths.
    if (system.type == TYPE_SPD && system.analysis.schedule.n_tasks > 2) system.n_threads = 1;
    mf_heap_compact(context); // what the analysis no longer needs must not count
    system.process_limit_bytes = process_limit_bytes;
    system.bytes_beside_blocks = mf_bytes_beside_blocks(system.analysis, system.type, system.n_threads);
    return Status::OK;
}

Status mf_factorise_system(Context& context, const Matrix& a, System& system) noexcept {
    Settings& settings = context.settings;
    settings.type = system.type;
    settings.n_threads = system.n_threads;
    settings.reserve_bytes = system.reserve_bytes;
    settings.block_limit_bytes = system.process_limit_bytes > 0
                                     ? std::max(system.process_limit_bytes - system.bytes_beside_blocks, 1.0)
                                     : 0;
    if (const Status status = scan_values(context, a); status != Status::OK) return status;
    if (system.pairing.ties)
        mf_paired_values(system.pairing, a.values, a.col_ptr[a.n], system.paired_values.get());
    return mf_factorise(context, factorised_matrix(a, system).values, system.factor);
}

Status mf_solve_system(Context& context, const System& system, const Matrix& a, const double* b, double* x,
                       std::int32_t nrhs, int& refinements) noexcept {
    context.settings.type = system.type;
    refinements = 0;
    const Matrix factorised = factorised_matrix(a, system);
    if (!system.pairing.ties) return substitute(context, system, factorised, b, x, nrhs, refinements);

    const std::int64_t n = a.n;
    const std::int32_t* order = system.pairing.order.get();
    Buffer<double> paired_b(context.memory, n * nrhs), paired_x(context.memory, n * nrhs);
    if (!paired_b || !paired_x) return out_of_memory(context);
    for (std::int32_t j = 0; j < nrhs; ++j)
        for (std::int64_t k = 0; k < n; ++k) paired_b[j * n + k] = b[j * n + order[k]];
    const Status status =
        substitute(context, system, factorised, paired_b.get(), paired_x.get(), nrhs, refinements);
    for (std::int32_t j = 0; j < nrhs; ++j)
        for (std::int64_t k = 0; k < n; ++k) x[j * n + order[k]] = paired_x[j * n + k];
    return status;
}

Status mf_least_limit(Context& context, const System& system, double& bytes) noexcept {
    double path_bytes = 0;
    if (const Status status = mf_path_bytes(context, system.analysis, path_bytes); status != Status::OK)
        return status;
    // Some room for finished blocks, or the files would be too many and too small.
    const double spare = 0.05 * static_cast<double>(system.analysis.factor_entries) * sizeof(double);
    bytes = system.bytes_beside_blocks + path_bytes + spare;
    return Status::OK;
}

} // namespace vyr
