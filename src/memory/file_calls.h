// The factor files' calls to the C library, in one place so that the test build can make any of them fail.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace vyr {

/// Length of a factor file's name with its terminator, for any 32-bit number.
inline constexpr std::size_t FILE_NAME_BYTES = 24;

/// The name of a factor file in the current directory: "VYR_ 7.mmf", "VYR_12.mmf".
void mf_file_name(std::int32_t number, char (&name)[FILE_NAME_BYTES]) noexcept;

/// Null when the file cannot be opened.
[[nodiscard]] std::FILE* mf_file_open(std::int32_t number, const char* mode) noexcept;

/// False when not all bytes arrived; some of them may have.
[[nodiscard]] bool mf_file_write(std::FILE* file, const void* data, std::size_t bytes) noexcept;
[[nodiscard]] bool mf_file_read(std::FILE* file, void* data, std::size_t bytes) noexcept;

[[nodiscard]] bool mf_file_seek(std::FILE* file, std::int64_t offset, int whence) noexcept;

/// Position in bytes, negative when it cannot be told.
[[nodiscard]] std::int64_t mf_file_tell(std::FILE* file) noexcept;

/// Closes in any case; false when buffered data could not be written.
[[nodiscard]] bool mf_file_close(std::FILE* file) noexcept;

} // namespace vyr
