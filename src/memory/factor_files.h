// Factor files: finished factor blocks out of memory, into "VYR_ 0.mmf" .. "VYR_100.mmf" of one directory,
// and back one file at a time.
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

#include "core/context.h"
#include "core/factor.h"
#include "memory/file_calls.h"

#include <cstdint>
#include <cstdio>

namespace vyr {

/// Key and count in front of a record's block.
inline constexpr std::int64_t RECORD_HEADER_BYTES = 8;

enum FileOperation { FILE_OPEN = 1, FILE_APPEND = 4, FILE_CLOSE = 5 };

// Writing: factor_files.cpp.

/// One step of writing a factor file.
///
/// file      open after FILE_OPEN, closed by FILE_CLOSE and by whatever fails
/// number    of the file
/// key, count, block   the record of FILE_APPEND
/// percent   of the columns written so far, shown by the progress line of FILE_OPEN and FILE_CLOSE
///
/// The file has its name from FILE_CLOSE on, which also gives unused heap memory back to the system. Returns
/// OK, or FACTOR_FILE when the file cannot be created, cannot take the whole record or cannot be finished,
/// and for any step on a closed file.
Status mf_lu_file(Context& context, const Factor& factor, platform::OutputFile& file, std::int32_t number,
                  std::int32_t key, std::int32_t count, const double* block, double percent,
                  int operation) noexcept;

/// Writes finished, unwritten nodes in ascending order, releases their blocks and marks them BLOCK_WRITTEN.
///
/// file_limit_bytes   a file ends with the record that takes it past this size
/// mode               1: write on, file after file, until the read buffer for the largest file can be had
///                    (it is then in factor.read_buffer), which the memory of a file just closed may make
///                    possible; any other: one file
///
/// Returns OK; NOTHING_TO_FLUSH when there is nothing to write or all file numbers are used; EMPTY_FILE when
/// the last file is empty, which is also the answer to a file that does not open; FACTOR_FILE when the last
/// file could not be written in full. Whatever it returns, files.doubles tells whether something was written.
/// The time goes to statistics.t_file_write. Threads: the caller holds the factorization lock.
Status mf_flush_factors(Context& context, Factor& factor, std::int64_t file_limit_bytes, int mode) noexcept;

/// Releases a node's separately allocated block, if it has one.
void mf_release_block(Factor& factor, std::int32_t node) noexcept;

/// What a separately allocated block of `bytes` bytes costs: whole pages, when it comes in pages.
[[nodiscard]] std::int64_t mf_block_cost(std::uint64_t bytes) noexcept;

/// Forgets everything an earlier factorization out of core left: blocks, read buffer, directory, file counts
/// and the nodes' state. Files stay on disk, to be overwritten.
void mf_reset_factor_files(Context& context, Factor& factor) noexcept;

// Reading: factor_reader.cpp.

/// Makes factor.read_buffer hold the largest file written so far: keeps one that does, and releases a smaller
/// one first.
///
/// pending_bytes   of files.held_bytes that are about to be released
///
/// Returns OK, or MEMORY when it cannot be had, or not within files.room_bytes.
Status mf_obtain_read_buffer(Factor& factor, std::int64_t pending_bytes) noexcept;

void mf_release_read_buffer(Factor& factor) noexcept;

/// A read buffer of at least files.max_bytes bytes for one solve: the factor's own, or a new one of the
/// factor's accounting while another solve has that. Empty without memory, with the reason in the context.
/// Threads: any number with one factor at a time.
[[nodiscard]] Buffer<char> mf_borrow_read_buffer(Context& context, const Factor& factor) noexcept;

/// Leaves a borrowed buffer to the next solve. An empty one is allowed.
void mf_return_read_buffer(const Factor& factor, Buffer<char> buffer) noexcept;

/// Reads one file.
///
/// node_of_column   n: node of each first pivot column, negative elsewhere
/// buffer           buffer_bytes bytes, aligned as a double: the file's bytes
/// node_list        n_snodes, out: the file's nodes in record order
/// block_of         n_snodes, out: of these nodes, the block inside `buffer`
///
/// Returns the number of records, or the code of FACTOR_FILE with block_of untouched when the file cannot be
/// opened or read, is larger than the buffer, or is not what this factorization wrote: a record that runs
/// past the end, a key that is not the one of a node in this file, a count that is not the node's, a block
/// that has another hash, nodes that do not ascend, a node without a record. Threads: any number with one
/// factor at a time.
[[nodiscard]] int mf_load_factor_file(const Factor& factor, std::int32_t number,
                                      const std::int32_t* node_of_column, char* buffer,
                                      std::int64_t buffer_bytes, std::int32_t* node_list,
                                      const double** block_of) noexcept;

} // namespace vyr
