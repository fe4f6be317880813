#include "core/tuning.h"
#include "numeric/dense_cholesky.h"
#include "numeric/spd.h"
#include "numeric/strips.h"
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

/// A node with its block.
struct Front {
    const mf_snode& node;
    double* block;

    /// Column `j` of the coupling block.
    double* coupling_column(std::int32_t j) const noexcept {
        return node.coupling(block) + static_cast<std::int64_t>(j) * node.npiv;
    }
};

void solve_coupling(const SpdTask& task, const Front& front, bool shared) noexcept {
    const mf_snode& node = front.node;
    for_strips(node.nupd, strip_width(node.nupd, shared), shared,
               [&](std::int32_t begin, std::int32_t end) noexcept {
                   if (mf_stop(*task.context)) return; // the node ends CANCELLED
                   mf_dense_solve(*task.loops, node.npiv, front.block, node.npiv, end - begin,
                                  front.coupling_column(begin), node.npiv);
               });
}

/// Columns [begin, end) of the update, rows 0 .. end - 1, into `strip` with leading dimension `ld`.
void form_strip(const Front& front, std::int32_t begin, std::int32_t end, double* strip,
                std::int32_t ld) noexcept {
    const mf_snode& node = front.node;
    const double* columns = front.coupling_column(begin);
    if (begin > 0)
        blas::gemm('T', 'N', begin, end - begin, node.npiv, -1.0, front.coupling_column(0), node.npiv,
                   columns, node.npiv, 0.0, strip, ld);
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
Status update_small(Factor& factor, std::int32_t s, SpdTask& task) noexcept {
    const mf_snode& node = factor.analysis->snodes[s];
    task.loops->update(node.npiv, node.nupd, node.coupling(factor.block(s)), node.npiv, task.work, node.nupd);
    // So short that a clock on each would cost several per cent: one in eight stands for all.
    const AssemblyClock clock(task, s % 8 == 0 ? 8 : 0);
    return mf_pass_columns(factor, s, task.work, node.nupd, 0, node.nupd, task.scratch, task.shared);
}

} // namespace

Status mf_spd_update(Factor& factor, std::int32_t s, SpdTask& task) noexcept {
    const mf_snode& node = factor.analysis->snodes[s];
    const Front front{node, factor.block(s)};
    const bool shared = worth_sharing(node);
    solve_coupling(task, front, shared);
    if (node.npiv <= tuning::BASE_PIVOTS && node.nupd <= tuning::SMALL_UPDATE_ROWS)
        return update_small(factor, s, task);

    const StripPlaces places(node, shared);
    std::atomic<bool> blocks_missing{false};
    for_strips(node.nupd, tuning::STRIP_COLUMNS, shared, [&](std::int32_t begin, std::int32_t end) noexcept {
        if (mf_stop(*task.context)) return; // the node ends CANCELLED
        double* strip = task.work + static_cast<std::int64_t>(places.of(begin)) * node.nupd;
        form_strip(front, begin, end, strip, node.nupd);
        const AssemblyClock clock(task);
        if (mf_pass_columns(factor, s, strip, node.nupd, begin, end, task.scratch + begin, task.shared) !=
            Status::OK)
            blocks_missing = true;
    });
    return blocks_missing ? Status::FACTOR_STORAGE : Status::OK;
}

Status mf_spd_update_blocked(Factor& factor, std::int32_t s, SpdTask& task) noexcept {
    const Analysis& analysis = *factor.analysis;
    const mf_snode& node = analysis.snodes[s];
    const Front front{node, factor.block(s)};
    const bool shared = worth_sharing(node);
    solve_coupling(task, front, shared);

    std::int32_t* place = task.scratch; // place[i]: position of update row i in the ancestor's row list
    std::copy_n(node.rel_index + node.npiv, node.nupd, place);
    std::int32_t first = 0;
    std::int32_t a = analysis.snode_parent[s];
    for (std::int32_t k = 0; k < node.anc_count; ++k, a = analysis.snode_parent[a]) {
        const mf_snode& ancestor = analysis.snodes[a];
        const std::int32_t n_owned = node.anc_rows[k];
        const std::int32_t n_remaining = node.nupd - first;
        if (n_owned > 0 && factor.block(a) == nullptr) return Status::FACTOR_STORAGE;
        const auto add_rows = [&](std::int32_t begin, std::int32_t end) noexcept {
            if (mf_stop(*task.context)) return; // the node ends CANCELLED
            double* piece = task.work + begin;
            blas::gemm('T', 'N', end - begin, n_owned, node.npiv, -1.0, front.coupling_column(first + begin),
                       node.npiv, front.coupling_column(first), node.npiv, 0.0, piece, n_remaining);
            const AssemblyClock clock(task);
            const Hold hold(a >= task.shared.first_shared ? task.shared.lock : nullptr);
            mf_add_piece(ancestor, factor.block(a), piece, n_remaining, begin, end - begin, n_owned,
                         node.update_rows() + first, place + first + begin);
        };
        if (n_owned > 0) for_strips(n_remaining, tuning::STRIP_COLUMNS, shared, add_rows);
        first += n_owned;
        for (std::int32_t i = first; i < node.nupd; ++i) place[i] = ancestor.rel_index[place[i]];
    }
    return Status::OK;
}

} // namespace vyr
