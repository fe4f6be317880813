#include "platform/files.h"

#include <cerrno>

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace vyr::platform {

namespace {

constexpr unsigned MOST_ATTEMPTS = 10000;

/// A file of the directory that only its holder can open, and that goes with it.
constexpr const char* LOCK_NAME = "VYR.lock";

/// Nothing, a regular file, or a link, which a rename replaces.
bool replaceable(const char* path) noexcept {
    const DWORD found = GetFileAttributesA(path);
    if (found == INVALID_FILE_ATTRIBUTES) return true;
    if ((found & FILE_ATTRIBUTE_REPARSE_POINT) != 0) return true;
    return (found & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)) == 0;
}

} // namespace

// There is no such signal.
FileSizeSignalOff::FileSizeSignalOff() noexcept {}
FileSizeSignalOff::~FileSizeSignalOff() {
    (void)was_blocked_, (void)was_pending_;
}

bool OutputFile::open(const char* path, const char* mode) noexcept {
    if (!replaceable(path)) return false;
    std::snprintf(path_, sizeof path_, "%s", path);
    const int flags = _O_WRONLY | _O_CREAT | _O_EXCL | _O_NOINHERIT | (mode[1] == 'b' ? _O_BINARY : _O_TEXT);
    int descriptor = -1;
    for (unsigned attempt = 0; descriptor < 0 && attempt < MOST_ATTEMPTS; ++attempt) {
        const int length =
            std::snprintf(written_, sizeof written_, "%s.%lx-%x", path, GetCurrentProcessId(), attempt);
        if (length < 0 || static_cast<std::size_t>(length) >= sizeof written_) return false;
        descriptor = _open(written_, flags, _S_IREAD | _S_IWRITE);
        if (descriptor < 0 && errno != EEXIST) return false;
    }
    if (descriptor < 0) return false;
    stream_ = _fdopen(descriptor, mode);
    if (stream_ != nullptr) return true;
    _close(descriptor);
    DeleteFileA(written_);
    return false;
}

bool OutputFile::write(const void* data, std::size_t bytes) noexcept {
    return std::fwrite(data, 1, bytes, stream_) == bytes;
}

bool OutputFile::commit() noexcept {
    bool whole = std::fflush(stream_) == 0 && std::ferror(stream_) == 0;
    if (!whole) {
        abandon();
        return false;
    }
    whole = std::fclose(stream_) == 0; // an open file cannot be renamed
    stream_ = nullptr;
    if (whole && MoveFileExA(written_, path_, MOVEFILE_REPLACE_EXISTING) != 0) return true;
    const DWORD error = GetLastError();
    DeleteFileA(written_);
    SetLastError(error);
    return false;
}

void OutputFile::abandon() noexcept {
    if (stream_ == nullptr) return;
    const DWORD error = GetLastError();
    std::fclose(stream_);
    stream_ = nullptr;
    DeleteFileA(written_);
    SetLastError(error);
}

std::FILE* open_regular_file(const char* path) noexcept {
    const HANDLE handle =
        CreateFileA(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return nullptr;
    BY_HANDLE_FILE_INFORMATION found{};
    const bool regular =
        GetFileType(handle) == FILE_TYPE_DISK && GetFileInformationByHandle(handle, &found) != 0 &&
        (found.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == 0;
    const int descriptor =
        regular ? _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), _O_RDONLY | _O_BINARY) : -1;
    if (descriptor < 0) {
        CloseHandle(handle);
        return nullptr;
    }
    std::FILE* stream = _fdopen(descriptor, "rb");
    if (stream == nullptr) _close(descriptor);
    return stream;
}

int file_seek(std::FILE* file, std::int64_t offset, int whence) noexcept {
    return _fseeki64(file, offset, whence);
}

std::int64_t file_tell(std::FILE* file) noexcept {
    return _ftelli64(file);
}

bool make_directory(const char* parent, char* path, std::size_t path_bytes) noexcept {
    for (unsigned attempt = 0; attempt < MOST_ATTEMPTS; ++attempt) {
        const int length =
            std::snprintf(path, path_bytes, "%s/vyr-%lx-%x", parent, GetCurrentProcessId(), attempt);
        if (length < 0 || static_cast<std::size_t>(length) >= path_bytes) return false;
        if (CreateDirectoryA(path, nullptr) != 0) return true;
        if (GetLastError() != ERROR_ALREADY_EXISTS) return false;
    }
    return false;
}

void remove_directory(const char* path) noexcept {
    RemoveDirectoryA(path);
}

bool DirectoryLock::take(const char* directory) noexcept {
    if (handle_ != NONE) return true;
    char path[PATH_BYTES];
    const int length = std::snprintf(path, sizeof path, "%s/%s", directory, LOCK_NAME);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof path) return true;
    const HANDLE handle = CreateFileA(
        path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
        FILE_ATTRIBUTE_HIDDEN | FILE_FLAG_DELETE_ON_CLOSE | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return GetLastError() != ERROR_SHARING_VIOLATION;
    handle_ = reinterpret_cast<std::intptr_t>(handle);
    return true;
}

void DirectoryLock::release() noexcept {
    if (handle_ == NONE) return;
    CloseHandle(reinterpret_cast<HANDLE>(handle_));
    handle_ = NONE;
}

} // namespace vyr::platform
