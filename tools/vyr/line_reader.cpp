#include "tools/vyr/line_reader.h"

#include "tools/vyr/printable.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <zlib.h>

namespace vyr::tool {

namespace {

constexpr std::size_t MOST_READ = std::size_t{1} << 30; ///< bytes of one read

constexpr bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

/// A token as it may be shown: shortened, and nothing that would disturb a terminal.
std::string shown(std::string_view token) {
    constexpr std::size_t MOST = 40;
    std::string text = "'";
    text += printable(token.substr(0, MOST));
    return text += token.size() > MOST ? "...'" : "'";
}

/// The token without one leading '+', which from_chars does not know.
std::string_view without_plus(std::string_view token) {
    if (token.size() > 1 && token[0] == '+' && token[1] != '-') token.remove_prefix(1);
    return token;
}

} // namespace

std::string read_file(const std::string& path) {
    // zlib reads plain files as they are.
    const gzFile file = path == "-" ? gzdopen(0, "rb") : gzopen(path.c_str(), "rb");
    if (file == nullptr) throw FileError(path + ": cannot be opened: " + std::strerror(errno));
    const std::unique_ptr<gzFile_s, int (*)(gzFile)> owner(file, gzclose);
    std::string text;
    for (std::size_t room = std::size_t{1} << 20;; room = std::min(text.size(), MOST_READ)) { // doubles
        const std::size_t held = text.size();
        text.resize(held + room);
        const int got = gzread(file, text.data() + held, static_cast<unsigned>(room));
        text.resize(held + static_cast<std::size_t>(std::max(got, 0)));
        int code = Z_OK;
        const char* why = gzerror(file, &code);
        if (got < 0 || (code != Z_OK && code != Z_STREAM_END))
            throw FileError(path + ": cannot be read: " + (code == Z_ERRNO ? std::strerror(errno) : why));
        if (static_cast<std::size_t>(got) < room) return text;
    }
}

bool LineReader::next_line() {
    if (next_ == end_) return false;
    at_ = next_;
    const void* newline = std::memchr(at_, '\n', static_cast<std::size_t>(end_ - at_));
    line_end_ = newline == nullptr ? end_ : static_cast<const char*>(newline);
    next_ = newline == nullptr ? end_ : line_end_ + 1;
    ++line_;
    return true;
}

bool LineReader::next_data_line() {
    while (next_line()) {
        skip_blanks();
        if (at_ != line_end_ && *at_ != '%') return true;
    }
    return false;
}

void LineReader::skip_blanks() {
    while (at_ != line_end_ && is_blank(*at_)) ++at_;
}

std::string_view LineReader::token() {
    skip_blanks();
    const char* begin = at_;
    while (at_ != line_end_ && !is_blank(*at_)) ++at_;
    return {begin, static_cast<std::size_t>(at_ - begin)};
}

std::int64_t LineReader::integer(const char* what, std::int64_t least, std::int64_t most) {
    const std::string_view found = token();
    const std::string_view digits = without_plus(found);
    std::int64_t value = 0;
    const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error == std::errc::invalid_argument || stop != digits.data() + digits.size())
        fail_expected(what, found);
    if (error == std::errc::result_out_of_range || value < least || value > most)
        fail(std::string(what) + " " + shown(found) + " is not in " + std::to_string(least) + " .. " +
             std::to_string(most));
    return value;
}

double LineReader::number(const char* what) {
    const std::string_view found = token();
    std::string_view digits = without_plus(found);
    std::string fortran; // 4.0D0 for 4.0E0
    if (const std::size_t mark = digits.find_first_of("dD"); mark != std::string_view::npos) {
        fortran = digits;
        fortran[mark] = 'e';
        digits = fortran;
    }
    double value = 0;
    const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error == std::errc::invalid_argument || stop != digits.data() + digits.size())
        fail_expected(what, found);
    // from_chars says the same of numbers that are too large and too small.
    if (error == std::errc::result_out_of_range) value = std::strtod(std::string(digits).c_str(), nullptr);
    if (!std::isfinite(value)) fail(std::string(what) + " " + shown(found) + " is not a finite number");
    return value;
}

void LineReader::end_of_line() {
    const std::string_view rest = token();
    if (!rest.empty()) fail("unexpected " + shown(rest) + " at the end of the line");
}

void LineReader::fail_at(std::int64_t line, const std::string& text) const {
    throw FileError(name_ + ":" + std::to_string(line) + ": " + text);
}

void LineReader::fail_expected(const char* what, std::string_view found) const {
    fail(found.empty() ? std::string(what) + " is missing"
                       : std::string("expected ") + what + ", found " + shown(found));
}

} // namespace vyr::tool
