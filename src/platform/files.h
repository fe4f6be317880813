// Files as a host's directory bears them: created anew, never through a link, never waited for.
//
// One implementation for Linux and one for Windows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace vyr::platform {

/// Length of the longest path with its terminator.
inline constexpr std::size_t PATH_BYTES = 4096;

/// Most bytes that an OutputFile adds to its name until commit().
inline constexpr std::size_t UNFINISHED_BYTES = 28;

/// While it lives, a write past the limit on the size of files is an error of the calling thread's write
/// (EFBIG) and not the end of the process by SIGXFSZ. The host's handler is not touched.
class FileSizeSignalOff {
public:
    FileSizeSignalOff() noexcept;
    ~FileSizeSignalOff();
    FileSizeSignalOff(const FileSizeSignalOff&) = delete;
    FileSizeSignalOff& operator=(const FileSizeSignalOff&) = delete;

private:
    bool was_blocked_ = false, was_pending_ = false;
};

/// A regular file that appears under its name whole or not at all: written under a new name beside it, and
/// renamed by commit(). A link of that name is replaced and its target left alone; whatever else is no
/// regular file is refused. A process that ends in the middle leaves the old file, and at most the unfinished
/// one under its other name.
class OutputFile {
public:
    OutputFile() noexcept = default;
    ~OutputFile() { abandon(); }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// mode: "wb", or "w" for the line ends of the system. False when it cannot be created; last_error()
    /// tells why.
    [[nodiscard]] bool open(const char* path, const char* mode) noexcept;
    /// For formatted output, which needs a FileSizeSignalOff; null when closed.
    std::FILE* stream() const noexcept { return stream_; }
    /// False when not all bytes were taken.
    [[nodiscard]] bool write(const void* data, std::size_t bytes) noexcept;
    /// False when not everything written has arrived, or the name cannot be had; then nothing is left.
    [[nodiscard]] bool commit() noexcept;
    /// Closes and removes what was written. Keeps last_error().
    void abandon() noexcept;

private:
    std::FILE* stream_ = nullptr;
    char path_[PATH_BYTES];
    char written_[PATH_BYTES]; ///< the name until commit()
};

/// Opens a regular file for reading; null for anything else, also for a link.
[[nodiscard]] std::FILE* open_regular_file(const char* path) noexcept;

/// 64-bit positions in a file. seek returns 0 on success, tell -1 on failure.
[[nodiscard]] int file_seek(std::FILE* file, std::int64_t offset, int whence) noexcept;
[[nodiscard]] std::int64_t file_tell(std::FILE* file) noexcept;

/// Makes a new directory in `parent` under a name of its own and writes its path; false when it cannot be
/// made or the path does not fit.
[[nodiscard]] bool make_directory(const char* parent, char* path, std::size_t path_bytes) noexcept;
/// Removes an empty directory; one that is not empty stays.
void remove_directory(const char* path) noexcept;

/// One run's claim on the fixed file names of a directory. It ends with the process at the latest.
class DirectoryLock {
public:
    DirectoryLock() noexcept = default;
    ~DirectoryLock() { release(); }
    DirectoryLock(DirectoryLock&& other) noexcept : handle_(std::exchange(other.handle_, NONE)) {}
    DirectoryLock& operator=(DirectoryLock&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }

    /// False when another run has it, of this process or of another. Where the file system knows no locks,
    /// everybody gets it. Taking it again changes nothing.
    [[nodiscard]] bool take(const char* directory) noexcept;
    void release() noexcept;

private:
    static constexpr std::intptr_t NONE = -1;
    std::intptr_t handle_ = NONE;
};

} // namespace vyr::platform
