#include "bench/json.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <stdexcept>

namespace vyr::bench {

namespace {

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') result += '\\';
        if (static_cast<unsigned char>(c) >= 0x20) {
            result += c;
            continue;
        }
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)));
        result += escape;
    }
    return result + "\"";
}

std::string digits(double value) {
    if (!std::isfinite(value)) return "null";
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

/// Walks over the text of one flat object.
class Reader {
public:
    explicit Reader(const std::string& text) : at_(text.data()), end_(text.data() + text.size()) {}

    Record object() {
        Record record;
        expect('{');
        if (!accept('}')) {
            do {
                const std::string name = string();
                expect(':');
                member(record, name);
            } while (accept(','));
            expect('}');
        }
        skip_blanks();
        if (at_ != end_) fail();
        return record;
    }

private:
    [[noreturn]] static void fail() { throw std::invalid_argument("malformed JSON"); }

    void skip_blanks() {
        while (at_ != end_ && (*at_ == ' ' || *at_ == '\n' || *at_ == '\r' || *at_ == '\t')) ++at_;
    }

    bool accept(char c) {
        skip_blanks();
        if (at_ == end_ || *at_ != c) return false;
        ++at_;
        return true;
    }

    void expect(char c) {
        if (!accept(c)) fail();
    }

    std::string string() {
        expect('"');
        std::string text;
        while (at_ != end_ && *at_ != '"') {
            if (*at_ != '\\') {
                text += *at_++;
                continue;
            }
            if (++at_ == end_) fail();
            if (*at_ == 'u') {
                unsigned code = 0;
                if (end_ - at_ < 5 || std::from_chars(at_ + 1, at_ + 5, code, 16).ptr != at_ + 5) fail();
                text += static_cast<char>(code);
                at_ += 5;
            } else {
                text += *at_++;
            }
        }
        if (at_ == end_) fail();
        ++at_;
        return text;
    }

    void member(Record& record, const std::string& name) {
        skip_blanks();
        if (at_ != end_ && *at_ == '"') {
            record.set(name, string());
        } else if (std::string(at_, end_).starts_with("null")) {
            at_ += 4;
        } else {
            double value = 0;
            const auto [after, error] = std::from_chars(at_, end_, value);
            if (error != std::errc()) fail();
            at_ = after;
            record.set(name, value);
        }
    }

    const char* at_;
    const char* end_;
};

} // namespace

void Record::put(const std::string& name, Value value) {
    for (auto& [known, old] : members_)
        if (known == name) {
            old = std::move(value);
            return;
        }
    members_.emplace_back(name, std::move(value));
}

Record& Record::set(const std::string& name, double value) {
    put(name, value);
    return *this;
}

Record& Record::set(const std::string& name, const std::string& value) {
    put(name, value);
    return *this;
}

const double* Record::number(const std::string& name) const {
    for (const auto& [known, value] : members_)
        if (known == name) return std::get_if<double>(&value);
    return nullptr;
}

const std::string* Record::string(const std::string& name) const {
    for (const auto& [known, value] : members_)
        if (known == name) return std::get_if<std::string>(&value);
    return nullptr;
}

double Record::number_or_nan(const std::string& name) const {
    const double* const value = number(name);
    return value != nullptr ? *value : std::numeric_limits<double>::quiet_NaN();
}

std::string Record::string_or_empty(const std::string& name) const {
    const std::string* const value = string(name);
    return value != nullptr ? *value : std::string();
}

std::string Record::text() const {
    std::string text;
    for (const auto& [name, value] : members_) {
        text += (text.empty() ? "{" : ", ") + quoted(name) + ": ";
        text += std::holds_alternative<double>(value) ? digits(std::get<double>(value))
                                                      : quoted(std::get<std::string>(value));
    }
    return (text.empty() ? "{" : text) + "}";
}

Record parse_record(const std::string& text) {
    return Reader(text).object();
}

} // namespace vyr::bench
