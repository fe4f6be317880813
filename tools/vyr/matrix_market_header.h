// First line of a Matrix Market file.
#pragma once

#include "tools/vyr/line_reader.h"

namespace vyr::tool {

struct MatrixMarketHeader {
    bool array = false; ///< every entry, by columns; otherwise entries by coordinates
    bool integer = false;
    bool symmetric = false; ///< otherwise general
};

/// Reads the first line of the text. Fails for everything but real and integer, symmetric and general.
MatrixMarketHeader read_header(LineReader& reader);

/// The next number as an entry of the file's field.
double read_value(LineReader& reader, const MatrixMarketHeader& header);

/// Fails when there is another line of data behind the last entry.
void require_end(LineReader& reader, std::int64_t announced);

/// Fails because the text ended before all entries came.
[[noreturn]] void fail_truncated(const LineReader& reader, std::int64_t found, std::int64_t announced);

} // namespace vyr::tool
