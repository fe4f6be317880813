// Factor files: finished factor blocks out of memory, into "VYR_ 0.mmf" .. "VYR_100.mmf" of the current
// directory, and back one file at a time.
//
// A file is a sequence of records without header or trailer, little-endian:
//     int32     key: first pivot column of the node
//     int32     count: (npiv + nupd) * npiv
//     double[]  the node's factor block as it lies in memory, count of them
//
// Nodes stand in ascending order within a file, and no file holds a node before a descendant of it. Blocks
// are released only when the file that holds them has been closed without a fault; a file that could not be
// written in full is not counted, its nodes stay in memory, and its number is used again.
#pragma once

#include "symbolic/solver.h"

#include <cstdint>
#include <cstdio>

namespace vyr {

/// Largest number of a factor file.
inline constexpr std::int32_t LAST_FACTOR_FILE = 100;

enum FileOperation { FILE_OPEN = 1, FILE_APPEND = 4, FILE_CLOSE = 5 };

/// One step of writing a factor file.
///
/// file      in and out: set by FILE_OPEN, null when it could not be opened; null after FILE_CLOSE
/// number    of the file
/// key, count, block   the record of FILE_APPEND
/// percent   of the columns written so far, shown by the progress line of FILE_OPEN and FILE_CLOSE
///
/// FILE_CLOSE gives unused heap memory back to the system. Returns 0, or -5 when the file does not open,
/// cannot take the whole record or cannot be closed, and for any step on a null file.
[[nodiscard]] int mf_lu_file(std::FILE*& file, std::int32_t number, std::int32_t key, std::int32_t count,
                             const double* block, double percent, int operation) noexcept;

/// Writes finished, unwritten nodes in ascending order, releases their blocks and marks them NODE_WRITTEN.
///
/// file_limit_bytes   a file ends with the record that takes it past this size
/// mode               1: write on, file after file, until the read buffer for the largest file can be had
///                    (it is then in solver.file_buffer), which the memory of a file just closed may make
///                    possible; any other: one file
///
/// Returns 0; -34 when there is nothing to write or all file numbers are used; -1000 when the last file is
/// empty, which is also the answer to a file that does not open; -5 when the last file could not be written
/// in full. Whatever it returns, solver.file_doubles tells whether something was written. The time goes to
/// INFO_T_FILE_WRITE. Threads: the caller holds the factorization lock.
[[nodiscard]] int mf_flush_factors(mf_solver& solver, std::int64_t file_limit_bytes, int mode) noexcept;

/// Reads one file into solver.file_buffer and points its nodes' blocks into it.
///
/// node_of_column   n: node of each first pivot column, negative elsewhere
/// node_list        n_snodes, out: the file's nodes in record order
/// buffer_out       out, in every case: solver.file_buffer
///
/// Returns the number of records, or -5 with no block touched when the file cannot be opened or read, is
/// larger than the buffer, or is not one that this factorization wrote: a record that runs past the end,
/// a key that is not the one of a node in this file, a count that is not the node's, nodes that do not
/// ascend.
[[nodiscard]] int mf_load_factor_file(mf_solver& solver, std::int32_t number,
                                      const std::int32_t* node_of_column, std::int32_t* node_list,
                                      void*& buffer_out) noexcept;

/// Makes solver.file_buffer hold the largest file written so far: keeps one that does, and releases a smaller
/// one first.
///
/// pending_bytes   of solver.held_bytes that are about to be released
///
/// False when the memory cannot be had, or not within solver.room_bytes.
[[nodiscard]] bool mf_obtain_read_buffer(mf_solver& solver, std::int64_t pending_bytes) noexcept;

void mf_release_read_buffer(mf_solver& solver) noexcept;

/// Releases a node's separately allocated block, if it has one.
void mf_release_block(mf_solver& solver, mf_snode& node) noexcept;

/// What a separately allocated block of `bytes` bytes costs: whole pages, when it comes in pages.
[[nodiscard]] std::int64_t mf_block_cost(std::uint64_t bytes) noexcept;

/// Forgets everything an earlier factorization out of core left: blocks, read buffer, file counts and the
/// nodes' state. Files stay on disk, to be overwritten.
void mf_reset_factor_files(mf_solver& solver) noexcept;

} // namespace vyr
