// Flat JSON objects: what workers print, what the driver reads, what the result file consists of.
#pragma once

#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace vyr::bench {

/// Members in the order they were first set; values are numbers and strings.
class Record {
public:
    using Value = std::variant<double, std::string>;
    using Members = std::vector<std::pair<std::string, Value>>;

    /// Adds the member or replaces its value.
    Record& set(const std::string& name, double value);
    Record& set(const std::string& name, const std::string& value);

    /// Null when there is no such member of that kind.
    const double* number(const std::string& name) const;
    const std::string* string(const std::string& name) const;
    /// The number, or not-a-number.
    double number_or_nan(const std::string& name) const;
    std::string string_or_empty(const std::string& name) const;

    const Members& members() const { return members_; }

    /// On one line. Numbers that are not finite become null.
    std::string text() const;

private:
    void put(const std::string& name, Value value);
    Members members_;
};

/// Reads an object as text() writes it; null members are left out. Throws std::invalid_argument for anything
/// else.
Record parse_record(const std::string& text);

} // namespace vyr::bench
