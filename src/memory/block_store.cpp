#include "memory/block_store.h"

#include "memory/entry_lists.h"
#include "memory/factor_files.h"
#include "memory/memory_plan.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace vyr {

namespace {

constexpr std::int64_t NO_LIMIT = INT64_MAX;

/// The host's choice of directory, kept for the solves.
Status keep_directory(Context& context, Factor& factor) noexcept {
    const std::size_t length = std::strlen(context.settings.directory);
    if (length == 0) return Status::OK;
    if (length + 1 + FILE_NAME_BYTES > FILE_PATH_BYTES)
        return fail(context, Status::FACTOR_FILE,
                    "the path of the directory for the factor files is longer than %d bytes",
                    static_cast<int>(FILE_PATH_BYTES - FILE_NAME_BYTES - 1));
    factor.files.directory = Buffer<char>(*factor.memory, static_cast<std::int64_t>(length) + 1);
    if (!factor.files.directory) return out_of_memory(context);
    std::memcpy(factor.files.directory.get(), context.settings.directory, length + 1);
    return Status::OK;
}

/// Bytes the blocks may take: what the host allows, or what the machine can give beside the reserve.
std::int64_t room(const Context& context) noexcept {
    const auto whole = [](double bytes) noexcept {
        return static_cast<std::int64_t>(std::clamp(bytes, 0.0, 9e18));
    };
    const Settings& settings = context.settings;
    if (settings.block_limit_bytes > 0) return whole(settings.block_limit_bytes);
    platform::MemoryStatus status;
    if (!mf_memory_status(context, status)) return NO_LIMIT;
    return whole(static_cast<double>(status.available_physical) - settings.reserve_bytes);
}

/// Writes finished blocks to files of about `file_bytes`; false when nothing was written. A flush that has
/// written something counts as a success, however it ended: only the next one can tell whether the fault
/// stays.
bool make_room(Context& context, Factor& factor, double file_bytes) noexcept {
    FactorFiles& files = factor.files;
    if (files.finished_bytes == 0 || files.count > LAST_FACTOR_FILE) return false;
    const std::int64_t written = files.doubles;
    const Status status = mf_flush_factors(context, factor, static_cast<std::int64_t>(file_bytes), 1);
    const bool wrote = files.doubles > written;
    files.status = wrote ? Status::OK : status;
    std::snprintf(files.trouble, sizeof files.trouble, "%.199s", wrote ? "" : context.reason);
    factor.block_store->unwritable =
        files.status == Status::FACTOR_FILE || files.status == Status::EMPTY_FILE;
    if (factor.block_store->unwritable) mf_message(context, "\r\nWARNING!!!\t%s.\r\n", files.trouble);
    return wrote;
}

/// True when a file is worth its number now: the ones that are left must hold the rest of the factor.
bool worth_a_file(const Factor& factor) noexcept {
    const FactorFiles& files = factor.files;
    const double rest = static_cast<double>(factor.analysis->factor_entries - files.doubles) * sizeof(double);
    const double files_left = LAST_FACTOR_FILE + 1 - files.count;
    return static_cast<double>(files.finished_bytes) * files_left >= rest;
}

/// True when `cost` more bytes fit, if need be after giving up the read buffer and writing finished blocks.
bool find_room(Context& context, Factor& factor, std::int64_t cost) noexcept {
    const auto fits = [&] {
        return factor.files.held_bytes + factor.read_buffer.bytes() + cost <= factor.files.room_bytes;
    };
    const BlockStore& store = *factor.block_store;
    while (!fits()) {
        if (factor.read_buffer.bytes() > 0)
            mf_release_read_buffer(factor);
        else if (store.unwritable || !(store.limit_is_hard || worth_a_file(factor)) ||
                 !make_room(context, factor, store.buffer_bytes))
            return false;
    }
    return true;
}

/// A block of pages or, for a small one, from the heap; null when it cannot be had. While the system
/// declines, the read buffer is given up, then finished blocks are written; the latter may bring a read
/// buffer back, which needs room of its own.
void* allocate_block(Context& context, Factor& factor, std::uint64_t bytes, std::uint32_t& flags) noexcept {
    for (;;) {
        if (!find_room(context, factor, mf_block_cost(bytes)) && factor.block_store->limit_is_hard)
            return nullptr;
        void* block = mf_page_alloc(*factor.memory, bytes, flags);
        if (block != nullptr) return block;
        if (factor.read_buffer.bytes() > 0)
            mf_release_read_buffer(factor);
        else if (!make_room(context, factor, factor.block_store->buffer_bytes))
            return nullptr;
    }
}

void scatter_entries(Factor& factor, std::int32_t s) noexcept {
    const BlockStore& store = *factor.block_store;
    const Analysis& analysis = *factor.analysis;
    FactorBlock& block = factor.blocks[s];
    for (std::int32_t k = store.entry_offset[s]; k < store.entry_offset[s + 1]; ++k) {
        const std::int32_t e = store.entries[k];
        block.values[analysis.value_map[e] - analysis.snodes[s].start] = store.values[e];
    }
    block.flags |= BLOCK_ASSEMBLED;
}

/// Why a block cannot be had.
Status no_block(Context& context, const Factor& factor) noexcept {
    const BlockStore& store = *factor.block_store;
    if (store.unwritable)
        return fail(context, Status::FACTOR_STORAGE,
                    "a factor file cannot be written, and memory is full: %s", factor.files.trouble);
    if (store.limit_is_hard)
        return fail(context, Status::FACTOR_STORAGE,
                    "the memory limit of %.1f MB is too small for the factor blocks in use at a time",
                    static_cast<double>(factor.files.room_bytes) / MEGABYTE);
    return out_of_memory(context, Status::FACTOR_STORAGE);
}

/// A block of `entries` zeros.
Status make_block(Context& context, Factor& factor, std::int32_t s, std::int64_t entries) noexcept {
    FactorBlock& block = factor.blocks[s];
    if ((block.flags & BLOCK_WRITTEN) != 0) return Status::FACTOR_STORAGE;
    const auto bytes = static_cast<std::uint64_t>(entries) * sizeof(double);
    void* memory = allocate_block(context, factor, bytes, block.flags);
    if (memory == nullptr) return no_block(context, factor);
    // Fresh pages are zero already. They are touched here all the same, by one thread: several that fault at
    // once slow each other down (p3d_80 under a memory limit, two threads: 19.4 s without, 12.8 s with).
    std::memset(memory, 0, bytes);
    block.values = static_cast<double*>(memory);
    block.bytes = bytes;
    factor.files.held_bytes += mf_block_cost(bytes);
    return Status::OK;
}

Status obtain_block(Context& context, Factor& factor, std::int32_t s) noexcept {
    if (factor.blocks[s].values != nullptr) return Status::OK;
    if (const Status status = make_block(context, factor, s, factor.analysis->snodes[s].n_entries());
        status != Status::OK)
        return status;
    scatter_entries(factor, s);
    return Status::OK;
}

} // namespace

Status mf_open_store(Context& context, Factor& factor, const double* values, BlockStore& store) noexcept {
    const Settings& settings = context.settings;
    const double factor_bytes = static_cast<double>(factor.analysis->factor_entries) * sizeof(double);
    if (const Status status =
            mf_ooc_buffer(context, factor_bytes, settings.reserve_bytes, store.buffer_bytes);
        status != Status::OK)
        return status;
    if (const Status status = mf_list_entries(context, *factor.analysis, store.entries, store.entry_offset);
        status != Status::OK)
        return status;
    if (const Status status = keep_directory(context, factor); status != Status::OK) return status;
    store.values = values;
    store.flush_at_buffer = settings.core_mode == CORE_OUT;
    store.limit_is_hard = settings.block_limit_bytes > 0;
    factor.files.room_bytes = room(context);
    // A file must fit the memory it is read back into.
    if (store.limit_is_hard)
        store.buffer_bytes = std::min(store.buffer_bytes, 0.5 * static_cast<double>(factor.files.room_bytes));
    return Status::OK;
}

Status mf_store_obtain(Context& context, Factor& factor, std::int32_t node) noexcept {
    const Hold hold(factor.block_store->lock);
    return obtain_block(context, factor, node);
}

Status mf_store_make(Context& context, Factor& factor, std::int32_t node, std::int64_t entries) noexcept {
    const Hold hold(factor.block_store->lock);
    return make_block(context, factor, node, entries);
}

Status mf_store_obtain_targets(Context& context, Factor& factor, std::int32_t node) noexcept {
    const Hold hold(factor.block_store->lock);
    const Analysis& analysis = *factor.analysis;
    const mf_snode& sender = analysis.snodes[node];
    std::int32_t a = analysis.snode_parent[node];
    for (std::int32_t k = 0; k < sender.anc_count; ++k, a = analysis.snode_parent[a]) {
        if (sender.anc_rows[k] <= 0) continue;
        if (const Status status = obtain_block(context, factor, a); status != Status::OK) return status;
    }
    return Status::OK;
}

void mf_store_finish(Context& context, Factor& factor, std::int32_t node) noexcept {
    BlockStore& store = *factor.block_store;
    const Hold hold(store.lock);
    FactorBlock& block = factor.blocks[node];
    block.flags |= BLOCK_FINISHED;
    factor.files.finished_bytes += mf_block_cost(block.bytes);
    if (store.flush_at_buffer && !store.unwritable &&
        static_cast<double>(factor.files.finished_bytes) >= store.buffer_bytes)
        (void)make_room(context, factor, store.buffer_bytes);
}

Status mf_store_close(Context& context, Factor& factor) noexcept {
    const FactorFiles& files = factor.files;
    if (files.count == 0) return Status::OK;
    mf_heap_compact(context);
    while (mf_obtain_read_buffer(factor, 0) != Status::OK &&
           make_room(context, factor, static_cast<double>(files.max_bytes))) {
    }
    const BlockStore& store = *factor.block_store;
    if (!store.limit_is_hard) factor.files.room_bytes = NO_LIMIT;
    if (mf_obtain_read_buffer(factor, 0) == Status::OK) return Status::OK;
    char text[128];
    std::snprintf(text, sizeof text, "LU=%g(M),thresh=%g,reserve=%g",
                  static_cast<double>(factor.analysis->factor_entries) * sizeof(double) / MEGABYTE,
                  store.buffer_bytes / MEGABYTE, context.settings.reserve_bytes / MEGABYTE);
    mf_alloc_failed(context, static_cast<double>(files.max_bytes), text);
    return fail(context, Status::MEMORY, "out of memory: reading the factor files needs a buffer of %.1f MB",
                static_cast<double>(files.max_bytes) / MEGABYTE);
}

} // namespace vyr
