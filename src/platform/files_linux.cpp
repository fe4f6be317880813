#include "platform/files.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vyr::platform {

namespace {

constexpr unsigned MOST_ATTEMPTS = 10000;

sigset_t file_size_signal() noexcept {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGXFSZ);
    return set;
}

/// Closes what became no stream, keeping the error.
void drop(int descriptor) noexcept {
    const int error = errno;
    close(descriptor);
    errno = error;
}

/// The same for a file that nobody is to see.
void remove_written(const char* path) noexcept {
    const int error = errno;
    unlink(path);
    errno = error;
}

/// Nothing, a regular file, or a link, which a rename replaces.
bool replaceable(const char* path) noexcept {
    struct stat found;
    if (lstat(path, &found) != 0) return errno == ENOENT;
    if (S_ISREG(found.st_mode) || S_ISLNK(found.st_mode)) return true;
    errno = S_ISDIR(found.st_mode) ? EISDIR : EEXIST;
    return false;
}

} // namespace

FileSizeSignalOff::FileSizeSignalOff() noexcept {
    const sigset_t set = file_size_signal();
    sigset_t before, pending;
    sigpending(&pending);
    was_pending_ = sigismember(&pending, SIGXFSZ) == 1;
    pthread_sigmask(SIG_BLOCK, &set, &before);
    was_blocked_ = sigismember(&before, SIGXFSZ) == 1;
}

FileSizeSignalOff::~FileSizeSignalOff() {
    const int error = errno;
    const sigset_t set = file_size_signal();
    const timespec at_once{0, 0};
    if (!was_pending_) sigtimedwait(&set, nullptr, &at_once);
    if (!was_blocked_) pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    errno = error;
}

bool OutputFile::open(const char* path, const char* mode) noexcept {
    if (!replaceable(path)) return false;
    std::snprintf(path_, sizeof path_, "%s", path);
    const long process = getpid();
    int descriptor = -1;
    for (unsigned attempt = 0; descriptor < 0 && attempt < MOST_ATTEMPTS; ++attempt) {
        const int length = std::snprintf(written_, sizeof written_, "%s.%lx-%x", path, process, attempt);
        if (length < 0 || static_cast<std::size_t>(length) >= sizeof written_) {
            errno = ENAMETOOLONG;
            return false;
        }
        descriptor = ::open(written_, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (descriptor < 0 && errno != EEXIST) return false;
    }
    if (descriptor < 0) return false;
    stream_ = fdopen(descriptor, mode);
    if (stream_ != nullptr) return true;
    drop(descriptor);
    remove_written(written_);
    return false;
}

bool OutputFile::write(const void* data, std::size_t bytes) noexcept {
    const FileSizeSignalOff off;
    return std::fwrite(data, 1, bytes, stream_) == bytes;
}

bool OutputFile::commit() noexcept {
    const FileSizeSignalOff off;
    bool whole = std::fflush(stream_) == 0 && std::ferror(stream_) == 0;
    if (whole) {
        whole = std::fclose(stream_) == 0 && std::rename(written_, path_) == 0;
        stream_ = nullptr;
        if (!whole) remove_written(written_);
    }
    abandon();
    return whole;
}

void OutputFile::abandon() noexcept {
    if (stream_ == nullptr) return;
    const FileSizeSignalOff off;
    const int error = errno;
    std::fclose(stream_);
    stream_ = nullptr;
    errno = error;
    remove_written(written_);
}

std::FILE* open_regular_file(const char* path) noexcept {
    const int descriptor = ::open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) return nullptr;
    struct stat found;
    std::FILE* stream = nullptr;
    if (fstat(descriptor, &found) == 0 && S_ISREG(found.st_mode)) stream = fdopen(descriptor, "rb");
    if (stream == nullptr) drop(descriptor);
    return stream;
}

int file_seek(std::FILE* file, std::int64_t offset, int whence) noexcept {
    return fseeko(file, static_cast<off_t>(offset), whence);
}

std::int64_t file_tell(std::FILE* file) noexcept {
    return static_cast<std::int64_t>(ftello(file));
}

bool make_directory(const char* parent, char* path, std::size_t path_bytes) noexcept {
    const int length = std::snprintf(path, path_bytes, "%s/vyr-XXXXXX", parent);
    if (length < 0 || static_cast<std::size_t>(length) >= path_bytes) return false;
    return mkdtemp(path) != nullptr;
}

void remove_directory(const char* path) noexcept {
    rmdir(path);
}

// The directory itself is locked, so that no file has to be made for it and none is left.
bool DirectoryLock::take(const char* directory) noexcept {
    if (handle_ != NONE) return true;
    const int descriptor = ::open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return true; // creating a file in it will tell what is wrong
    if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
        handle_ = descriptor;
        return true;
    }
    drop(descriptor);
    return errno != EWOULDBLOCK;
}

void DirectoryLock::release() noexcept {
    if (handle_ == NONE) return;
    flock(static_cast<int>(handle_), LOCK_UN); // a forked child may hold a copy
    close(static_cast<int>(handle_));
    handle_ = NONE;
}

} // namespace vyr::platform
