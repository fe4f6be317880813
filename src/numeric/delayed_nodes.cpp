#include "core/tuning.h"
#include "memory/block_store.h"
#include "memory/factor_files.h"
#include "numeric/delayed.h"
#include "platform/platform.h"

#include <algorithm>

namespace vyr {

namespace {

/// Operations from which idle threads are asked to help with a front.
bool worth_sharing(const Front& front) noexcept {
    return mf_flop_count(front.n_columns, front.n_update(), front.n_update()) >= tuning::SHARED_FRONT_FLOPS;
}

/// A buffer of at least `count` elements; what is in it is lost when it grows.
template <typename T>
bool grow(Context& context, Buffer<T>& buffer, std::int64_t count) noexcept {
    if (buffer && buffer.count() >= count) return true;
    buffer.reset();
    buffer = Buffer<T>(context.memory, count);
    return static_cast<bool>(buffer);
}

class NodeElimination {
public:
    NodeElimination(DelayedRun& run, DelayedTask& task, std::int32_t s) noexcept
        : run_(run), task_(task), s_(s), node_(run.factor.analysis->snodes[s]) {}

    Status run() noexcept;

private:
    Status obtain_columns() noexcept;
    Status obtain_block() noexcept;
    Status obtain_update() noexcept;
    Status obtain_work() noexcept;
    void assemble() noexcept;
    void eliminate() noexcept;
    void keep_zero_pivots() noexcept;
    Status pass_on() noexcept;
    void keep_block() noexcept;

    DelayedRun& run_;
    DelayedTask& task_;
    std::int32_t s_;
    const mf_snode& node_;
    Front front_;
};

/// The list of the front's columns: its own ones; those passed on follow in the assembly.
Status NodeElimination::obtain_columns() noexcept {
    PivotedNode& pivoted = run_.factor.pivoted.nodes[s_];
    const std::int32_t n_passed_on = run_.n_passed_on(s_);
    pivoted = PivotedNode();
    pivoted.n_columns = node_.npiv + n_passed_on;
    pivoted.columns = run_.factor.pivoted.columns.get() + node_.first();
    if (n_passed_on > 0) {
        const auto bytes = static_cast<std::size_t>(pivoted.n_columns) * sizeof(std::int32_t);
        pivoted.columns = static_cast<std::int32_t*>(mf_malloc(*run_.factor.memory, bytes));
        if (pivoted.columns == nullptr) return Status::MEMORY;
        pivoted.owns_columns = true;
    }
    for (std::int32_t k = 0; k < node_.npiv; ++k) pivoted.columns[k] = node_.first() + k;
    front_.n_columns = pivoted.n_columns;
    front_.n_rows = pivoted.n_columns + node_.nupd;
    front_.columns = pivoted.columns;
    front_.diagonal = run_.factor.diag_values.get();
    front_.beside = run_.factor.pivoted.beside.get();
    return Status::OK;
}

Status NodeElimination::obtain_block() noexcept {
    Factor& factor = run_.factor;
    FactorBlock& block = factor.blocks[s_];
    const std::int64_t entries = std::int64_t{front_.n_rows} * front_.n_columns;
    if (!factor.lu_values) {
        if (const Status status = mf_store_make(run_.context, factor, s_, entries); status != Status::OK)
            return status;
    } else if (entries <= task_.capacity - task_.used) {
        block.values = task_.storage + task_.used;
    } else {
        const auto bytes = static_cast<std::uint64_t>(entries) * sizeof(double);
        block.values = static_cast<double*>(mf_page_alloc(*factor.memory, bytes, block.flags));
        if (block.values == nullptr) return Status::FACTOR_STORAGE;
        block.bytes = bytes;
        const Hold hold(&run_.lock);
        factor.files.held_bytes += mf_block_cost(bytes);
    }
    front_.l = block.values;
    return Status::OK;
}

Status NodeElimination::obtain_update() noexcept {
    if (node_.nupd == 0) return Status::OK;
    const std::size_t order = static_cast<std::size_t>(node_.nupd);
    run_.updates[s_] = static_cast<double*>(mf_malloc(run_.context.memory, order * order * sizeof(double)));
    front_.update = run_.updates[s_];
    return front_.update == nullptr ? Status::MEMORY : Status::OK;
}

Status NodeElimination::obtain_work() noexcept {
    const std::int64_t width = std::min(front_.n_columns, BLOCK_PIVOTS + 1);
    const bool enough = grow(run_.context, task_.w, front_.n_rows * width) &&
                        grow(run_.context, task_.row, front_.n_columns) &&
                        grow(run_.context, task_.order, front_.n_columns);
    return enough ? Status::OK : Status::MEMORY;
}

void NodeElimination::assemble() noexcept {
    const double start_ms = platform::clock_ms();
    mf_assemble_front(run_, s_, front_, worth_sharing(front_));
    run_.for_children(s_, [&](std::int32_t child) noexcept { run_.release_passed_on(child); });
    task_.assembly_ms += platform::clock_ms() - start_ms;
}

void NodeElimination::eliminate() noexcept {
    PivotedNode& pivoted = run_.factor.pivoted.nodes[s_];
    FrontWork work{task_.w.get(), task_.row.get(), task_.order.get()};
    pivoted.n_eliminated = mf_eliminate_front(run_.rules, front_, work, worth_sharing(front_));
    task_.n_perturbed += work.n_perturbed;
    const double rest = front_.n_rows - pivoted.n_eliminated;
    task_.flops += 0.5 * mf_flop_count(pivoted.n_eliminated, rest, rest);
    for (std::int32_t k = 0; k < pivoted.n_eliminated; ++k)
        if (front_.beside[pivoted.columns[k]] != 0) ++task_.n_two_by_two;
    if (run_.factor.analysis->snode_parent[s_] < 0) keep_zero_pivots();
    task_.n_delayed += pivoted.n_delayed();
}

/// What is left at a root is zero: pivots of D that are zero, with columns of L that are, too.
void NodeElimination::keep_zero_pivots() noexcept {
    PivotedNode& pivoted = run_.factor.pivoted.nodes[s_];
    for (std::int32_t k = pivoted.n_eliminated; k < pivoted.n_columns; ++k) {
        front_.diagonal[pivoted.columns[k]] = 0;
        front_.beside[pivoted.columns[k]] = 0;
        std::fill(front_.at(k, k), front_.at(front_.n_rows, k), 0.0);
        ++task_.n_zero;
    }
    pivoted.n_eliminated = pivoted.n_columns;
}

/// Copies the columns without a pivot, which the block does not keep.
Status NodeElimination::pass_on() noexcept {
    const PivotedNode& pivoted = run_.factor.pivoted.nodes[s_];
    const std::int32_t n_passed = pivoted.n_delayed(), first = pivoted.n_eliminated;
    if (n_passed == 0) return Status::OK;
    const std::size_t n_rows = static_cast<std::size_t>(front_.n_rows - first);
    const std::size_t bytes = n_rows * static_cast<std::size_t>(n_passed) * sizeof(double);
    auto* to = static_cast<double*>(mf_malloc(run_.context.memory, bytes));
    if (to == nullptr) return Status::MEMORY;
    run_.passed[s_] = to;
    for (std::int32_t k = first; k < pivoted.n_columns; ++k, to += n_rows)
        std::copy_n(front_.at(first, k), n_rows, to);
    return Status::OK;
}

/// The block is what was eliminated. Room behind it is for the next node.
void NodeElimination::keep_block() noexcept {
    Factor& factor = run_.factor;
    if (factor.blocks[s_].bytes == 0) task_.used += factor.block_entries(s_);
    if (factor.block_store != nullptr) mf_store_finish(run_.context, factor, s_);
}

Status NodeElimination::run() noexcept {
    if (mf_stop(run_.context)) return Status::CANCELLED;
    if (const Status status = obtain_columns(); status != Status::OK) return status;
    if (const Status status = obtain_block(); status != Status::OK) return status;
    if (const Status status = obtain_update(); status != Status::OK) return status;
    if (const Status status = obtain_work(); status != Status::OK) return status;
    assemble();
    eliminate();
    if (mf_stop(run_.context)) return Status::CANCELLED;
    if (const Status status = pass_on(); status != Status::OK) return status;
    keep_block();
    mf_add_work(run_.context, mf_node_cost(node_));
    return Status::OK;
}

} // namespace

void mf_delayed_nodes(DelayedRun& run, DelayedTask& task) noexcept {
    for (std::int32_t k = 0; k < task.n_nodes && task.status == Status::OK; ++k)
        task.status = NodeElimination(run, task, task.nodes[k]).run();
}

} // namespace vyr
