#include "numeric/spd_update.h"

#include "numeric/dense_cholesky.h"
#include "numeric/strips.h"
#include "numeric/tuning.h"
#include "numeric/vector_loops.h"
#include "platform/blas.h"
#include "platform/platform.h"

#include <algorithm>
#include <atomic>

namespace vyr {

namespace {

/// Adds the time it lives to a task's assembly time, `weight` times.
class AssemblyClock {
public:
    explicit AssemblyClock(SpdTask& task, int weight = 1) noexcept
        : task_(task), weight_(weight), start_ms_(weight > 0 ? platform::clock_ms() : 0) {}
    ~AssemblyClock() {
        if (weight_ == 0) return;
        const double elapsed_ns = weight_ * (platform::clock_ms() - start_ms_) * 1e6;
        task_.assembly_ns.fetch_add(static_cast<std::int64_t>(elapsed_ns), std::memory_order_relaxed);
    }
    AssemblyClock(const AssemblyClock&) = delete;
    AssemblyClock& operator=(const AssemblyClock&) = delete;

private:
    SpdTask& task_;
    int weight_;
    double start_ms_;
};

/// True when other threads should be offered a part of a front's work.
bool worth_sharing(const mf_snode& node) noexcept {
    return static_cast<double>(node.npiv) * node.nupd * (node.npiv + node.nupd) >= tuning::SHARED_FRONT_FLOPS;
}

/// Column `j` of a node's coupling block.
double* coupling_column(const mf_snode& node, std::int32_t j) noexcept {
    return node.coupling() + static_cast<std::int64_t>(j) * node.npiv;
}

void solve_coupling(const mf_snode& node, bool shared) noexcept {
    for_strips(node.nupd, strip_width(node.nupd, shared), shared,
               [&](std::int32_t begin, std::int32_t end) noexcept {
                   mf_dense_solve(node.npiv, node.factor_block, node.npiv, end - begin,
                                  coupling_column(node, begin), node.npiv);
               });
}

/// Columns [begin, end) of the update, rows 0 .. end - 1, into `strip` with leading dimension `ld`.
void form_strip(const mf_snode& node, std::int32_t begin, std::int32_t end, double* strip,
                std::int32_t ld) noexcept {
    const double* columns = coupling_column(node, begin);
    if (begin > 0)
        blas::gemm('T', 'N', begin, end - begin, node.npiv, -1.0, node.coupling(), node.npiv, columns,
                   node.npiv, 0.0, strip, ld);
    blas::syrk('U', 'T', end - begin, node.npiv, -1.0, columns, node.npiv, 0.0, strip + begin, ld);
}

/// Where in the work block, in columns, a strip is formed. A thread forms its strips one after the other in
/// one place, which stays in its cache and keeps the rest of the work block untouched; only when there are
/// more threads than places does every strip use its own columns.
class StripPlaces {
public:
    StripPlaces(const mf_snode& node, bool shared) noexcept
        : one_a_thread_(std::int64_t{omp_get_num_threads()} * tuning::STRIP_COLUMNS <= node.nupd),
          shared_(shared) {}
    std::int32_t of(std::int32_t begin) const noexcept {
        if (!shared_) return 0;
        return one_a_thread_ ? omp_get_thread_num() * tuning::STRIP_COLUMNS : begin;
    }

private:
    bool one_a_thread_;
    bool shared_;
};

/// A front small enough for our own loops: the whole update at once.
Status update_small(mf_solver& solver, std::int32_t s, SpdTask& task) noexcept {
    const mf_snode& node = solver.snodes[s];
    mf_vector_loops().update(node.npiv, node.nupd, node.coupling(), node.npiv, task.work, node.nupd);
    // So short that a clock on each would cost several per cent: one in eight stands for all.
    const AssemblyClock clock(task, s % 8 == 0 ? 8 : 0);
    return mf_pass_columns(solver, s, task.work, node.nupd, 0, node.nupd, task.scratch, task.shared);
}

} // namespace

Status mf_spd_update(mf_solver& solver, std::int32_t s, SpdTask& task) noexcept {
    const mf_snode& node = solver.snodes[s];
    const bool shared = worth_sharing(node);
    solve_coupling(node, shared);
    if (node.npiv <= tuning::BASE_PIVOTS && node.nupd <= tuning::SMALL_UPDATE_ROWS)
        return update_small(solver, s, task);

    const StripPlaces places(node, shared);
    std::atomic<Status> result{VYR_OK};
    for_strips(node.nupd, tuning::STRIP_COLUMNS, shared, [&](std::int32_t begin, std::int32_t end) noexcept {
        double* strip = task.work + static_cast<std::int64_t>(places.of(begin)) * node.nupd;
        form_strip(node, begin, end, strip, node.nupd);
        const AssemblyClock clock(task);
        const Status status =
            mf_pass_columns(solver, s, strip, node.nupd, begin, end, task.scratch + begin, task.shared);
        if (status != VYR_OK) result = status;
    });
    return result;
}

Status mf_spd_update_blocked(mf_solver& solver, std::int32_t s, SpdTask& task) noexcept {
    const mf_snode& node = solver.snodes[s];
    const bool shared = worth_sharing(node);
    solve_coupling(node, shared);

    std::int32_t* place = task.scratch; // place[i]: position of update row i in the ancestor's row list
    std::copy_n(node.rel_index + node.npiv, node.nupd, place);
    std::int32_t first = 0;
    std::int32_t a = solver.snode_parent[s];
    for (std::int32_t k = 0; k < node.anc_count; ++k, a = solver.snode_parent[a]) {
        const mf_snode& ancestor = solver.snodes[a];
        const std::int32_t n_owned = node.anc_rows[k];
        const std::int32_t n_remaining = node.nupd - first;
        if (n_owned > 0 && ancestor.factor_block == nullptr) return VYR_ERR_FACTOR_STORAGE;
        const auto add_rows = [&](std::int32_t begin, std::int32_t end) noexcept {
            double* piece = task.work + begin;
            blas::gemm('T', 'N', end - begin, n_owned, node.npiv, -1.0, coupling_column(node, first + begin),
                       node.npiv, coupling_column(node, first), node.npiv, 0.0, piece, n_remaining);
            const AssemblyClock clock(task);
            const bool locked = a >= task.shared.first_shared;
            if (locked) omp_set_lock(task.shared.lock);
            mf_add_piece(ancestor, piece, n_remaining, begin, end - begin, n_owned,
                         node.update_rows() + first, place + first + begin);
            if (locked) omp_unset_lock(task.shared.lock);
        };
        if (n_owned > 0) for_strips(n_remaining, tuning::STRIP_COLUMNS, shared, add_rows);
        first += n_owned;
        for (std::int32_t i = first; i < node.nupd; ++i) place[i] = ancestor.rel_index[place[i]];
    }
    return VYR_OK;
}

} // namespace vyr
