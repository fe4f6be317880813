// The factor files' calls to the C library, in one place so that tests can make any of them fail.
//
// faults   of the accounting in use; null in production
#pragma once

#include "core/faults.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace vyr {

/// Length of a factor file's name with its terminator, for any 32-bit number.
inline constexpr std::size_t FILE_NAME_BYTES = 24;

/// Length of the longest path of a factor file with its terminator.
inline constexpr std::size_t FILE_PATH_BYTES = 4096;

/// The name of a factor file in its directory: "VYR_ 7.mmf", "VYR_12.mmf".
void mf_file_name(std::int32_t number, char (&name)[FILE_NAME_BYTES]) noexcept;

/// Opens a factor file of a directory; null: the current one. Null when the file cannot be opened or its path
/// is too long.
[[nodiscard]] std::FILE* mf_file_open(Faults* faults, const char* directory, std::int32_t number,
                                      const char* mode) noexcept;

/// False when not all bytes arrived; some of them may have.
[[nodiscard]] bool mf_file_write(Faults* faults, std::FILE* file, const void* data,
                                 std::size_t bytes) noexcept;
[[nodiscard]] bool mf_file_read(Faults* faults, std::FILE* file, void* data, std::size_t bytes) noexcept;

[[nodiscard]] bool mf_file_seek(Faults* faults, std::FILE* file, std::int64_t offset, int whence) noexcept;

/// Position in bytes, negative when it cannot be told.
[[nodiscard]] std::int64_t mf_file_tell(Faults* faults, std::FILE* file) noexcept;

/// Removes every factor file of a directory, and the directory when nothing else is in it.
void mf_remove_files(const char* directory) noexcept;

/// Closes in any case; false when buffered data could not be written.
[[nodiscard]] bool mf_file_close(Faults* faults, std::FILE* file) noexcept;

} // namespace vyr
