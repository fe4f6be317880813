#include "numeric/spd_front.h"
#include "numeric/update_passing.h"
#include "platform/blas.h"
#include "platform/platform.h"

#include <algorithm>

namespace vyr {

namespace {

/// Adds the time it lives to a task's assembly time.
class AssemblyClock {
public:
    explicit AssemblyClock(SpdTask& task) noexcept : task_(task), start_ms_(platform::clock_ms()) {}
    ~AssemblyClock() {
        const double elapsed_ns = (platform::clock_ms() - start_ms_) * 1e6;
        task_.assembly_ns.fetch_add(static_cast<std::int64_t>(elapsed_ns), std::memory_order_relaxed);
    }
    AssemblyClock(const AssemblyClock&) = delete;
    AssemblyClock& operator=(const AssemblyClock&) = delete;

private:
    SpdTask& task_;
    double start_ms_;
};

} // namespace

Status mf_spd_update_blocked(Factor& factor, std::int32_t s, SpdTask& task) noexcept {
    const Analysis& analysis = *factor.analysis;
    const SpdFront front(factor, s, task);
    const mf_snode& node = front.node;
    mf_solve_coupling(task, front);

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
            const Hold hold(a >= task.limit ? task.lock : nullptr);
            mf_add_piece(ancestor, factor.block(a), piece, n_remaining, begin, end - begin, n_owned,
                         node.update_rows() + first, place + first + begin);
        };
        if (n_owned > 0) for_strips(n_remaining, tuning::STRIP_COLUMNS, front.shared, add_rows);
        first += n_owned;
        for (std::int32_t i = first; i < node.nupd; ++i) place[i] = ancestor.rel_index[place[i]];
    }
    return Status::OK;
}

} // namespace vyr
