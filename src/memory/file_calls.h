// The factor files' calls to the C library, in one place so that tests can make any of them fail.
//
// faults   of the accounting in use; null in production
#pragma once

#include "core/faults.h"
#include "platform/files.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace vyr {

/// Largest number of a factor file.
inline constexpr std::int32_t LAST_FACTOR_FILE = 100;

/// Length of a factor file's name with its terminator, for any 32-bit number.
inline constexpr std::size_t FILE_NAME_BYTES = 24;

/// Length of the longest path of a factor file with its terminator: room is left for a file in the making.
inline constexpr std::size_t FILE_PATH_BYTES = platform::PATH_BYTES - platform::UNFINISHED_BYTES;

/// The name of a factor file in its directory: "VYR_ 7.mmf", "VYR_12.mmf".
void mf_file_name(std::int32_t number, char (&name)[FILE_NAME_BYTES]) noexcept;

/// The path of a factor file in a directory; null: the current one. False when it is too long.
[[nodiscard]] bool mf_file_path(const char* directory, std::int32_t number,
                                char (&path)[FILE_PATH_BYTES]) noexcept;

/// Begins a new factor file. False when it cannot be created; platform::last_error() tells why.
[[nodiscard]] bool mf_file_create(Faults* faults, const char* directory, std::int32_t number,
                                  platform::OutputFile& file) noexcept;

/// Adds to a file in the making. False when not all bytes were taken; then the file is abandoned.
[[nodiscard]] bool mf_file_write(Faults* faults, platform::OutputFile& file, const void* data,
                                 std::size_t bytes) noexcept;

/// Gives a file in the making its name. False when not all of it arrived; then it is abandoned.
[[nodiscard]] bool mf_file_commit(Faults* faults, platform::OutputFile& file) noexcept;

/// Opens a factor file for reading; null when it cannot be, or is no regular file.
[[nodiscard]] std::FILE* mf_file_open(Faults* faults, const char* directory, std::int32_t number) noexcept;

/// False when not all bytes arrived; some of them may have.
[[nodiscard]] bool mf_file_read(Faults* faults, std::FILE* file, void* data, std::size_t bytes) noexcept;

[[nodiscard]] bool mf_file_seek(Faults* faults, std::FILE* file, std::int64_t offset, int whence) noexcept;

/// Position in bytes, negative when it cannot be told.
[[nodiscard]] std::int64_t mf_file_tell(Faults* faults, std::FILE* file) noexcept;

/// Removes every factor file of a directory, and the directory when nothing else is in it.
void mf_remove_files(const char* directory) noexcept;

} // namespace vyr
