#include "tools/vyr/matrix_market_header.h"

#include <cmath>

namespace vyr::tool {

namespace {

/// The next token in lower case: the words of the header are case-insensitive.
std::string word(LineReader& reader) {
    std::string text(reader.token().substr(0, 40));
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

/// The word `found` must be `first` or `second`; true when it is `first`.
bool choose(const LineReader& reader, const std::string& found, const char* first, const char* second,
            const char* what) {
    if (found == first) return true;
    if (found == second) return false;
    reader.fail(std::string(what) + (found.empty() ? " is missing" : " '" + found + "' cannot be used") +
                ": it must be '" + first + "' or '" + second + "'");
}

} // namespace

MatrixMarketHeader read_header(LineReader& reader) {
    if (!reader.next_line()) reader.fail_at(1, "the file is empty");
    if (word(reader) != "%%matrixmarket" || word(reader) != "matrix")
        reader.fail("the first line must begin with '%%MatrixMarket matrix'");
    MatrixMarketHeader header;
    header.array = choose(reader, word(reader), "array", "coordinate", "the format");
    const std::string field = word(reader);
    if (field == "complex" || field == "pattern")
        reader.fail("the field '" + field +
                    "' is not served: only real matrices with values are ('real' or 'integer')");
    header.integer = choose(reader, field, "integer", "real", "the field");
    header.symmetric = choose(reader, word(reader), "symmetric", "general", "the symmetry");
    reader.end_of_line();
    return header;
}

double read_value(LineReader& reader, const MatrixMarketHeader& header) {
    const double value = reader.number("the value");
    if (header.integer && std::trunc(value) != value) reader.fail("the value is not a whole number");
    return value;
}

void require_end(LineReader& reader, std::int64_t announced) {
    if (reader.next_data_line())
        reader.fail("there are more entries than the " + std::to_string(announced) + " announced");
}

void fail_truncated(const LineReader& reader, std::int64_t found, std::int64_t announced) {
    reader.fail("the file ends after " + std::to_string(found) + " of " + std::to_string(announced) +
                " entries");
}

} // namespace vyr::tool
