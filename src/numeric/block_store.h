// Factor blocks of a factorization whose storage is not in core: each is obtained when it is first needed,
// and moved into a factor file some time after it is finished.
#pragma once

#include "interface/status.h"
#include "memory/buffer.h"
#include "symbolic/solver.h"

#include <omp.h>

#include <cstdint>

namespace vyr {

/// What one factorization needs beside the object; lives as long as that factorization.
struct BlockStore {
    const double* values = nullptr;    ///< the caller's matrix values
    Buffer<std::int32_t> entries;      ///< n_input: numbers of the input entries, bucketed by node
    Buffer<std::int32_t> entry_offset; ///< n_snodes + 1 positions in `entries`
    double buffer_bytes = 0;           ///< size a file is filled to
    bool flush_at_buffer = false;      ///< write as soon as that much is finished
    bool limit_is_hard = false;        ///< rather fail than hold more than solver.room_bytes
    bool unwritable = false;           ///< a file could not be written
    omp_lock_t* lock = nullptr;        ///< the factorization lock, when several threads run
};

/// Connects a store to the object for one factorization: asks the memory plan for the buffer size, sorts the
/// input entries by node and sets the room that blocks may take.
///
/// values   n_input doubles in the order of the analysed pattern; must stay valid while the store is used
///
/// Returns 0, -33 when the memory plan refuses, -29 without memory. The caller sets solver.block_store.
[[nodiscard]] Status mf_open_store(mf_solver& solver, const double* values, BlockStore& store) noexcept;

/// Makes sure that a node has its block, with its input entries in place; or that every ancestor has one that
/// the node's update goes to. Finished blocks are written to files when there is no room.
///
/// Returns 0, or -10 when a block cannot be had, also when that is because files cannot be written. Threads:
/// takes the factorization lock.
[[nodiscard]] Status mf_store_obtain(mf_solver& solver, std::int32_t node) noexcept;
[[nodiscard]] Status mf_store_obtain_targets(mf_solver& solver, std::int32_t node) noexcept;

/// Marks a node finished: its update has been passed on. Writes files when enough has come together. A
/// failure to write is none of the factorization as long as memory lasts. Threads: takes the factorization
/// lock.
void mf_store_finish(mf_solver& solver, std::int32_t node) noexcept;

/// After the factorization: the read buffer of the solves, for which nodes still in memory make room.
///
/// Returns 0, also when nothing was written, or -29.
[[nodiscard]] Status mf_store_close(mf_solver& solver) noexcept;

} // namespace vyr
