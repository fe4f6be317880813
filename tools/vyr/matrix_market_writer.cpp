#include "tools/vyr/matrix_market.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace vyr::tool {

namespace {

/// A file written through a buffer under a name of its own and renamed in finish(), so that none is ever left
/// half; any failure throws, at the latest in finish(). What is no regular file is written as it is.
class TextFile {
public:
    explicit TextFile(const std::string& path)
        : path_(path),
          written_(beside(path) ? path + ".part" : path),
          file_(std::fopen(written_.c_str(), "wb")) {
        if (file_ == nullptr) fail("cannot be opened for writing");
    }
    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;
    ~TextFile() {
        if (file_ != nullptr) abandon();
    }

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
    void finish() {
        flush();
        const bool closed = std::fclose(file_) == 0;
        file_ = nullptr;
        if (!closed) fail("cannot be written in full");
        if (written_ == path_) return;
        std::error_code failed;
        std::filesystem::rename(written_, path_, failed);
        if (failed) fail("cannot be written");
    }

private:
    static constexpr std::size_t FLUSH_BYTES = std::size_t{1} << 16;

    static bool beside(const std::string& path) {
        std::error_code ignored;
        return !std::filesystem::exists(path, ignored) || std::filesystem::is_regular_file(path, ignored);
    }
    void abandon() {
        if (file_ != nullptr) std::fclose(file_);
        file_ = nullptr;
        std::error_code ignored;
        if (written_ != path_) std::filesystem::remove(written_, ignored);
    }
    void flush() {
        if (std::fwrite(buffer_.data(), 1, buffer_.size(), file_) != buffer_.size())
            fail("cannot be written in full");
        buffer_.clear();
    }
    [[noreturn]] void fail(const char* what) {
        const std::string reason = std::strerror(errno);
        abandon();
        throw FileError(path_ + ": " + what + ": " + reason);
    }

    std::string path_;
    std::string written_;
    std::FILE* file_;
    std::string buffer_;
};

} // namespace

void write_symmetric(const std::string& path, const SparseMatrix& a, const std::string& comment) {
    TextFile file(path);
    file << "%%MatrixMarket matrix coordinate real symmetric\n% " << comment << '\n';
    file.number(a.n) << ' ';
    file.number(a.n) << ' ';
    file.number(a.nnz()) << '\n';
    for (std::size_t j = 0; j < static_cast<std::size_t>(a.n); ++j)
        for (std::int32_t k = a.col_ptr[j]; k < a.col_ptr[j + 1]; ++k) {
            const std::size_t entry = static_cast<std::size_t>(k);
            file.number(a.row_ind[entry] + std::int64_t{1}) << ' ';
            file.number(j + 1) << ' ';
            file.number(a.values[entry]) << '\n';
        }
    file.finish();
}

void write_dense(const std::string& path, const DenseMatrix& x, const std::string& comment) {
    TextFile file(path);
    file << "%%MatrixMarket matrix array real general\n% " << comment << '\n';
    file.number(x.n_rows) << ' ';
    file.number(x.n_cols) << '\n';
    for (const double value : x.values) file.number(value) << '\n';
    file.finish();
}

} // namespace vyr::tool
