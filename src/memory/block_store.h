// Factor blocks of a factorization whose storage is not in core: each is obtained when it is first needed,
// and moved into a factor file some time after it is finished.
#pragma once

#include "core/context.h"
#include "core/factor.h"
#include "core/lock.h"

#include <cstdint>

namespace vyr {

/// What one factorization needs beside the factor; lives as long as that factorization.
struct BlockStore {
    const double* values = nullptr;    ///< the caller's matrix values
    Buffer<std::int32_t> entries;      ///< n_input: numbers of the input entries, bucketed by node
    Buffer<std::int32_t> entry_offset; ///< n_snodes + 1 positions in `entries`
    double buffer_bytes = 0;           ///< size a file is filled to
    bool flush_at_buffer = false;      ///< write as soon as that much is finished
    bool limit_is_hard = false;        ///< rather fail than hold more than files.room_bytes
    bool unwritable = false;           ///< a file could not be written
    Lock* lock = nullptr;              ///< the factorization lock, when several threads run
};

/// Makes a store for one factorization: asks the memory plan for the buffer size, sorts the input entries by
/// node, sets the room that blocks may take and the directory of the files.
///
/// values   n_input doubles in the order of the analysed pattern; must stay valid while the store is used
///
/// Returns OK, BUFFER when the memory plan refuses, MEMORY, or FACTOR_FILE when the path of the directory is
/// too long. The caller sets factor.block_store, and clears it when the store ends.
Status mf_open_store(Context& context, Factor& factor, const double* values, BlockStore& store) noexcept;

/// Makes sure that a node has its block, with its input entries in place; or that every ancestor has one that
/// the node's update goes to. Finished blocks are written to files when there is no room.
///
/// Returns OK, or FACTOR_STORAGE when a block cannot be had, also when that is because files cannot be
/// written. Threads: takes the factorization lock.
Status mf_store_obtain(Context& context, Factor& factor, std::int32_t node) noexcept;
Status mf_store_obtain_targets(Context& context, Factor& factor, std::int32_t node) noexcept;

/// Makes a block of `entries` zeros for a node that has none. Returns and threads as above.
Status mf_store_make(Context& context, Factor& factor, std::int32_t node, std::int64_t entries) noexcept;

/// Marks a node finished: its update has been passed on. Writes files when enough has come together. A
/// failure to write is none of the factorization as long as memory lasts. Threads: takes the factorization
/// lock.
void mf_store_finish(Context& context, Factor& factor, std::int32_t node) noexcept;

/// After the factorization: the read buffer of the solves, for which nodes still in memory make room.
///
/// Returns OK, also when nothing was written, or MEMORY.
Status mf_store_close(Context& context, Factor& factor) noexcept;

} // namespace vyr
