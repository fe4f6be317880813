#include "core/tuning.h"
#include "engine/engine.h"
#include "engine/memory_share.h"
#include "engine/residual.h"
#include "engine/solver.h"
#include "memory/factor_storage.h"
#include "memory/memory_plan.h"
#include "platform/platform.h"
#include "symbolic/analyse.h"

#include <algorithm>

namespace vyr {

namespace {

bool failed_pivot(Status status) noexcept {
    return status == Status::NOT_SPD || status == Status::SMALL_PIVOT;
}

/// The pattern and values that a structure factorises; spreads the values over partners.
Status structured_matrix(Context& context, const Structure& structure, const Matrix& canonical,
                         Buffer<double>& paired_values, Matrix& matrix) noexcept {
    const Pairing& pairing = structure.pairing;
    matrix = canonical;
    if (!pairing.ties) return Status::OK;
    if (paired_values.count() != pairing.row_ind.count()) {
        paired_values.reset();
        paired_values = Buffer<double>(context.memory, pairing.row_ind.count());
        if (!paired_values) return out_of_memory(context);
    }
    mf_paired_values(pairing, canonical.values, canonical.col_ptr[canonical.n], paired_values.get());
    matrix = {{canonical.n, pairing.col_ptr.get(), pairing.row_ind.get()}, paired_values.get()};
    return Status::OK;
}

/// Divides a limit on the process between the blocks of the factor and all the rest.
void share_limit(Context& context, const SolverFactor& factor, const Analysis& analysis) noexcept {
    Settings& settings = context.settings;
    settings.block_limit_bytes = 0;
    if (factor.process_limit_bytes <= 0) return;
    // Several subtrees at a time would hold the blocks of as many paths.
    if (analysis.schedule.n_tasks > 2) settings.n_threads = 1;
    mf_heap_compact(context); // what nobody needs any more must not count
    const double beside = mf_bytes_beside_blocks(analysis, settings.type, settings.n_threads);
    settings.block_limit_bytes = std::max(factor.process_limit_bytes - beside, 1.0);
}

Status run(Context& context, int type, const Structure& structure, const Matrix& canonical,
           SolverFactor& solver, Factor& factor) noexcept {
    solver.type = context.settings.type = type;
    context.settings.delay_pivots = type == TYPE_LDLT;
    Matrix matrix;
    if (const Status status = structured_matrix(context, structure, canonical, solver.paired_values, matrix);
        status != Status::OK)
        return status;
    if (!factor.blocks)
        if (const Status status = mf_reserve(context, factor); status != Status::OK) return status;
    share_limit(context, solver, structure.analysis);
    context.reason[0] = '\0';
    return mf_factorise(context, matrix.values, factor);
}

/// A structure of its own for values that the analysis's structure does not serve.
Status make_other_structure(Context& context, const Matrix& canonical, SolverFactor& solver) noexcept {
    solver.other.release();
    solver.other_structure = Structure();
    Structure& structure = solver.other_structure;
    if (const Status status = mf_pair_weak_diagonals(context, canonical, structure.pairing);
        status != Status::OK)
        return status;
    const Pairing& pairing = structure.pairing;
    const Pattern pattern = pairing.ties ? Pattern{canonical.n, pairing.col_ptr.get(), pairing.row_ind.get()}
                                         : solver.analysis.canonical.pattern();
    const Settings& wanted = solver.analysis.settings;
    context.settings.ordering = wanted.ordering;
    context.settings.compress_when_it_pays = wanted.compress_when_it_pays;
    context.settings.compress = pairing.ties;
    double ordering_ms = 0;
    return mf_analyse(context, pattern, structure.analysis, ordering_ms);
}

Status factorise_indefinite(Context& context, const Matrix& canonical, SolverFactor& solver) noexcept {
    if (solver.analysis.type == TYPE_LDLT || !solver.analysis.pairs) {
        solver.other_in_force = false;
        return run(context, TYPE_LDLT, solver.analysis.structure, canonical, solver, solver.main);
    }
    // The analysis, made for L L^T, has not looked for weak diagonals.
    solver.main.release();
    solver.other_in_force = true;
    if (const Status status = make_other_structure(context, canonical, solver); status != Status::OK)
        return status;
    return run(context, TYPE_LDLT, solver.other_structure, canonical, solver, solver.other);
}

Status factorise(Context& context, const Matrix& canonical, SolverFactor& solver) noexcept {
    const SolverAnalysis& analysis = solver.analysis;
    if (analysis.type == TYPE_LDLT) return factorise_indefinite(context, canonical, solver);
    solver.other_in_force = false;
    const Status status = run(context, TYPE_SPD, analysis.structure, canonical, solver, solver.main);
    if (analysis.kind != Kind::AUTOMATIC || !failed_pivot(status)) return status;
    return factorise_indefinite(context, canonical, solver);
}

/// The equation, in the caller's numbering, whose pivot was the first in the order of elimination to fail.
void find_failed_equation(const Context& context, SolverFactor& solver) noexcept {
    const Factor& factor = solver.factor();
    const auto column = static_cast<std::int32_t>(context.statistics.failed_column);
    solver.failed_equation = factor.analysis->perm[column] + 1;
    solver.failed_pivot = factor.diag_values[column];
}

/// Says which limit would do.
Status explain_limit(Context& context, const SolverFactor& solver, Status status) noexcept {
    MemoryNeed need;
    if (mf_solver_memory(context, solver.analysis, need) != Status::OK) return status;
    const double bytes = need.least + static_cast<double>(platform::resident_bytes());
    return fail(context, status, "out of core this matrix needs about %.0f MB", bytes / MEGABYTE);
}

} // namespace

Status mf_solver_factorise(Context& context, const InputMatrix& input, SolverFactor& solver) noexcept {
    const double start_ms = platform::clock_ms();
    const CanonicalPattern& pattern = solver.analysis.canonical;
    solver.failed_equation = 0;
    solver.failed_pivot = 0;
    if (!solver.values) solver.values = Buffer<double>(context.memory, pattern.col_ptr[pattern.n]);
    if (!solver.values) return out_of_memory(context);
    Status status = mf_canonical_values(context, input, pattern, solver.values.get());
    if (status != Status::OK) return status;
    if (solver.keep_matrix) status = mf_norm_inf(context, solver.matrix(), solver.norm);
    if (status == Status::OK) status = factorise(context, solver.matrix(), solver);
    if (failed_pivot(status)) find_failed_equation(context, solver);
    const bool refused = status == Status::FACTOR_STORAGE || status == Status::MEMORY;
    const FactorFiles& files = solver.factor().files;
    if (refused && (files.status == Status::FACTOR_FILE || files.status == Status::EMPTY_FILE))
        status = fail(context, Status::FACTOR_FILE, "a factor file cannot be written, and memory is full: %s",
                      files.trouble);
    else if (refused && solver.process_limit_bytes > 0)
        status = explain_limit(context, solver, status);
    if (!solver.keep_matrix) solver.values.reset();
    solver.n_threads = context.settings.n_threads;
    solver.flops = context.statistics.flops;
    solver.seconds_files = context.statistics.t_file_write / 1000;
    solver.seconds = (platform::clock_ms() - start_ms) / 1000;
    return status;
}

} // namespace vyr
