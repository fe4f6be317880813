// Files that the tool writes.
#pragma once

#include <charconv>
#include <cstdio>
#include <string>

namespace vyr::tool {

/// A file written through a buffer under a new name beside its own and renamed in finish(), so that none is
/// ever left half; any failure throws FileError, at the latest in finish(). What is no regular file, as a
/// pipe or a device, is written as it is.
class TextFile {
public:
    explicit TextFile(const std::string& path);
    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;
    ~TextFile() { abandon(); }

    TextFile& operator<<(const std::string& text) {
        buffer_ += text;
        return *this;
    }
    TextFile& operator<<(char c) {
        buffer_ += c;
        if (c == '\n' && buffer_.size() > FLUSH_BYTES) flush();
        return *this;
    }
    template <typename Number>
    TextFile& number(Number value) {
        char digits[32]; // the longest double takes 24
        buffer_.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
        return *this;
    }
    void finish();

private:
    static constexpr std::size_t FLUSH_BYTES = std::size_t{1} << 16;

    void create_beside();
    void abandon();
    void flush();
    [[noreturn]] void fail(const char* what);

    std::string path_;
    std::string written_; ///< the name until finish()
    std::FILE* file_ = nullptr;
    std::string buffer_;
};

} // namespace vyr::tool
