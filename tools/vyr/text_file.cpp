#include "tools/vyr/text_file.h"

#include "tools/vyr/line_reader.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

namespace vyr::tool {

namespace {

#ifdef O_BINARY
constexpr int PLAIN = O_BINARY; // Windows has line ends of its own
#else
constexpr int PLAIN = O_CLOEXEC;
#endif

/// True when a regular file can take the place of what is there.
bool replaceable(const std::string& path) {
    std::error_code ignored;
    return !std::filesystem::exists(path, ignored) || std::filesystem::is_regular_file(path, ignored);
}

} // namespace

TextFile::TextFile(const std::string& path) : path_(path), written_(path) {
    if (replaceable(path))
        create_beside();
    else
        file_ = std::fopen(path.c_str(), "wb");
    if (file_ == nullptr) fail("cannot be opened for writing");
}

void TextFile::create_beside() {
    int descriptor = -1;
    for (int attempt = 0; descriptor < 0 && (attempt == 0 || errno == EEXIST); ++attempt) {
        written_ = path_ + "." + std::to_string(getpid()) + "-" + std::to_string(attempt);
        descriptor = open(written_.c_str(), O_WRONLY | O_CREAT | O_EXCL | PLAIN, 0666);
    }
    if (descriptor < 0) return;
    file_ = fdopen(descriptor, "wb");
    if (file_ == nullptr) close(descriptor);
}

void TextFile::finish() {
    flush();
    const bool closed = std::fclose(file_) == 0;
    file_ = nullptr;
    std::error_code failed;
    if (closed && written_ != path_) std::filesystem::rename(written_, path_, failed);
    if (closed && !failed) return;
    if (failed) errno = failed.value();
    const int reason = errno;
    if (written_ != path_) std::filesystem::remove(written_, failed);
    errno = reason;
    fail("cannot be written in full");
}

void TextFile::abandon() {
    if (file_ == nullptr) return;
    std::fclose(file_);
    file_ = nullptr;
    std::error_code ignored;
    if (written_ != path_) std::filesystem::remove(written_, ignored);
}

void TextFile::flush() {
    if (std::fwrite(buffer_.data(), 1, buffer_.size(), file_) != buffer_.size())
        fail("cannot be written in full");
    buffer_.clear();
}

void TextFile::fail(const char* what) {
    const std::string reason = std::strerror(errno);
    abandon();
    throw FileError(path_ + ": " + what + ": " + reason);
}

} // namespace vyr::tool
