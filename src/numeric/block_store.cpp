#include "numeric/block_store.h"

#include "interface/process_state.h"
#include "memory/factor_files.h"
#include "memory/memory_plan.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace vyr {

namespace {

constexpr std::int64_t NO_LIMIT = INT64_MAX;

/// Holds the factorization lock, if there is one.
class Locked {
public:
    explicit Locked(omp_lock_t* lock) noexcept : lock_(lock) {
        if (lock_ != nullptr) omp_set_lock(lock_);
    }
    ~Locked() {
        if (lock_ != nullptr) omp_unset_lock(lock_);
    }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

private:
    omp_lock_t* lock_;
};

/// Node whose block holds position `position` of the factor.
std::int32_t node_at(const mf_solver& solver, std::int64_t position) noexcept {
    const mf_snode* begin = solver.snodes;
    const mf_snode* end = begin + solver.n_snodes;
    const mf_snode* above = std::upper_bound(
        begin, end, position, [](std::int64_t p, const mf_snode& node) noexcept { return p < node.start; });
    return static_cast<std::int32_t>(above - begin) - 1;
}

/// Counting sort of the input entries by node. It is stable, so that of repeated entries the last one wins.
bool sort_entries(const mf_solver& solver, BlockStore& store) noexcept {
    Buffer<std::int32_t> node_of(solver.n_input);
    store.entries = Buffer<std::int32_t>(solver.n_input);
    store.entry_offset = Buffer<std::int32_t>(std::int64_t{solver.n_snodes} + 2, 0);
    if (!node_of || !store.entries || !store.entry_offset) return false;
    std::int32_t* next = store.entry_offset.get() + 1; // next[s] ends up as the offset of node s + 1
    for (std::int32_t e = 0; e < solver.n_input; ++e) {
        node_of[e] = node_at(solver, solver.value_map[e]);
        ++next[node_of[e] + 1];
    }
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) next[s + 1] += next[s];
    for (std::int32_t e = 0; e < solver.n_input; ++e) store.entries[next[node_of[e]]++] = e;
    return true;
}

/// Bytes the blocks may take: what the host allows, or what the machine can give beside the reserve.
std::int64_t room(const mf_solver& solver) noexcept {
    if (solver.memory_limit_bytes > 0) return solver.memory_limit_bytes;
    platform::MemoryStatus status;
    if (!mf_memory_status(status)) return NO_LIMIT;
    const double free_bytes = static_cast<double>(status.available_physical) - mf_ctrl[CTRL_MEMORY_ESTIMATE];
    return static_cast<std::int64_t>(std::clamp(free_bytes, 0.0, 9e18));
}

/// Writes finished blocks to files of about `file_bytes`; false when nothing was written. A flush that has
/// written something counts as a success, however it ended: only the next one can tell whether the fault
/// stays.
bool make_room(mf_solver& solver, double file_bytes) noexcept {
    if (solver.finished_bytes == 0 || solver.file_count > LAST_FACTOR_FILE) return false;
    const std::int64_t written = solver.file_doubles;
    const Status status = mf_flush_factors(solver, static_cast<std::int64_t>(file_bytes), 1);
    const bool wrote = solver.file_doubles > written;
    solver.file_status = wrote ? VYR_OK : status;
    solver.block_store->unwritable =
        solver.file_status == VYR_ERR_FACTOR_FILE || solver.file_status == VYR_ERR_EMPTY_FILE;
    return wrote;
}

/// True when a file is worth its number now: the ones that are left must hold the rest of the factor.
bool worth_a_file(const mf_solver& solver) noexcept {
    const double rest = static_cast<double>(solver.factor_entries - solver.file_doubles) * sizeof(double);
    const double files_left = LAST_FACTOR_FILE + 1 - solver.file_count;
    return static_cast<double>(solver.finished_bytes) * files_left >= rest;
}

/// True when `cost` more bytes fit, if need be after giving up the read buffer and writing finished blocks.
bool find_room(mf_solver& solver, std::int64_t cost) noexcept {
    const auto fits = [&] {
        return solver.held_bytes + solver.file_buffer_bytes + cost <= solver.room_bytes;
    };
    const BlockStore& store = *solver.block_store;
    while (!fits()) {
        if (solver.file_buffer != nullptr)
            mf_release_read_buffer(solver);
        else if (store.unwritable || !(store.limit_is_hard || worth_a_file(solver)) ||
                 !make_room(solver, store.buffer_bytes))
            return false;
    }
    return true;
}

/// A block of pages or, for a small one, from the heap. While the system declines, the read buffer is given
/// up, then finished blocks are written.
void* allocate_block(mf_solver& solver, std::uint64_t bytes, std::uint32_t& flags) noexcept {
    for (;;) {
        void* block = mf_page_alloc(bytes, flags);
        if (block != nullptr) return block;
        if (solver.file_buffer != nullptr)
            mf_release_read_buffer(solver);
        else if (!make_room(solver, solver.block_store->buffer_bytes))
            return nullptr;
    }
}

void scatter_entries(const mf_solver& solver, mf_snode& node, std::int32_t s) noexcept {
    const BlockStore& store = *solver.block_store;
    for (std::int32_t k = store.entry_offset[s]; k < store.entry_offset[s + 1]; ++k) {
        const std::int32_t e = store.entries[k];
        node.factor_block[solver.value_map[e] - node.start] = store.values[e];
    }
    node.flags |= NODE_ASSEMBLED;
}

bool obtain_block(mf_solver& solver, std::int32_t s) noexcept {
    mf_snode& node = solver.snodes[s];
    if (node.factor_block != nullptr) return true;
    if ((node.flags & NODE_WRITTEN) != 0) return false;
    const BlockStore& store = *solver.block_store;
    const std::uint64_t bytes = static_cast<std::uint64_t>(node.n_entries()) * sizeof(double);
    if (!find_room(solver, mf_block_cost(bytes)) && store.limit_is_hard) return false;
    void* block = allocate_block(solver, bytes, node.flags);
    if (block == nullptr) return false;
    // Fresh pages are zero already. They are touched here all the same, by one thread: several that fault at
    // once slow each other down (p3d_80 under a memory limit, two threads: 19.4 s without, 12.8 s with).
    std::memset(block, 0, bytes);
    node.factor_block = static_cast<double*>(block);
    node.block_bytes = bytes;
    solver.held_bytes += mf_block_cost(bytes);
    scatter_entries(solver, node, s);
    return true;
}

} // namespace

Status mf_open_store(mf_solver& solver, const double* values, BlockStore& store) noexcept {
    const double factor_bytes = static_cast<double>(solver.factor_entries) * sizeof(double);
    if (mf_ooc_buffer(factor_bytes, mf_ctrl[CTRL_MEMORY_ESTIMATE], store.buffer_bytes) != 0)
        return VYR_ERR_BUFFER;
    if (!sort_entries(solver, store)) return VYR_ERR_MEMORY;
    store.values = values;
    store.flush_at_buffer = ctrl_int(CTRL_CORE_MODE) == CORE_OUT;
    store.limit_is_hard = solver.memory_limit_bytes > 0;
    solver.room_bytes = room(solver);
    // A file must fit the memory it is read back into.
    if (store.limit_is_hard)
        store.buffer_bytes = std::min(store.buffer_bytes, 0.5 * static_cast<double>(solver.room_bytes));
    return VYR_OK;
}

Status mf_store_obtain(mf_solver& solver, std::int32_t node) noexcept {
    const Locked locked(solver.block_store->lock);
    return obtain_block(solver, node) ? VYR_OK : VYR_ERR_FACTOR_STORAGE;
}

Status mf_store_obtain_targets(mf_solver& solver, std::int32_t node) noexcept {
    const Locked locked(solver.block_store->lock);
    const mf_snode& sender = solver.snodes[node];
    std::int32_t a = solver.snode_parent[node];
    for (std::int32_t k = 0; k < sender.anc_count; ++k, a = solver.snode_parent[a])
        if (sender.anc_rows[k] > 0 && !obtain_block(solver, a)) return VYR_ERR_FACTOR_STORAGE;
    return VYR_OK;
}

void mf_store_finish(mf_solver& solver, std::int32_t node) noexcept {
    BlockStore& store = *solver.block_store;
    const Locked locked(store.lock);
    mf_snode& snode = solver.snodes[node];
    snode.flags |= NODE_FINISHED;
    solver.finished_bytes += mf_block_cost(snode.block_bytes);
    if (store.flush_at_buffer && !store.unwritable &&
        static_cast<double>(solver.finished_bytes) >= store.buffer_bytes)
        (void)make_room(solver, store.buffer_bytes);
}

Status mf_store_close(mf_solver& solver) noexcept {
    if (solver.file_count == 0) return VYR_OK;
    mf_heap_compact();
    while (!mf_obtain_read_buffer(solver, 0) &&
           make_room(solver, static_cast<double>(solver.file_max_bytes))) {
    }
    if (!solver.block_store->limit_is_hard) solver.room_bytes = NO_LIMIT;
    if (mf_obtain_read_buffer(solver, 0)) return VYR_OK;
    char context[128];
    std::snprintf(context, sizeof context, "LU=%g(M),thresh=%g,reserve=%g",
                  static_cast<double>(solver.factor_entries) * sizeof(double) / MEGABYTE,
                  solver.block_store->buffer_bytes / MEGABYTE, mf_ctrl[CTRL_MEMORY_ESTIMATE] / MEGABYTE);
    mf_alloc_failed(static_cast<double>(solver.file_max_bytes), context);
    return VYR_ERR_MEMORY;
}

} // namespace vyr
