// Reads a text held in memory line by line and token by token, in place, and names the line in its errors.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vyr::tool {

/// What is wrong with a file: "name:line: text" or "name: text".
struct FileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The whole contents of a file; of standard input for "-". A gzip file is unpacked. Throws FileError when it
/// cannot be read.
std::string read_file(const std::string& path);

/// A cursor over `text`, which must outlive it. Lines end with LF or CRLF; blanks and tabs separate tokens.
class LineReader {
public:
    LineReader(std::string name, std::string_view text)
        : name_(std::move(name)), next_(text.data()), end_(text.data() + text.size()) {}

    /// Moves to the next line; false at the end of the text.
    bool next_line();
    /// Moves to the next line that is neither blank nor a comment ('%' in front).
    bool next_data_line();

    /// The next token of the line, empty at its end.
    std::string_view token();
    /// The next token as a whole number in least .. most. `what` names it in errors: "the row number".
    std::int64_t integer(const char* what, std::int64_t least, std::int64_t most);
    /// The next token as a finite number; the exponent may be marked with D as in Fortran. Magnitudes below
    /// the smallest double read as 0.
    double number(const char* what);
    /// Requires that nothing but blanks is left on the line.
    void end_of_line();

    std::int64_t line() const { return line_; }
    std::int64_t bytes_left() const { return end_ - next_; }
    [[noreturn]] void fail(const std::string& text) const { fail_at(line_, text); }
    [[noreturn]] void fail_at(std::int64_t line, const std::string& text) const;

private:
    void skip_blanks();
    [[noreturn]] void fail_expected(const char* what, std::string_view found) const;

    std::string name_;
    const char* next_; ///< first character of the next line
    const char* end_;
    const char* at_ = nullptr; ///< where the next token is looked for
    const char* line_end_ = nullptr;
    std::int64_t line_ = 0; ///< 1-based
};

} // namespace vyr::tool
