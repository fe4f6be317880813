#include "tools/vyr/matrix_market.h"
#include "tools/vyr/matrix_market_header.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace vyr::tool {

namespace {

void read_array(LineReader& reader, const MatrixMarketHeader& header, DenseMatrix& x) {
    const std::int64_t entries = std::int64_t{x.n_rows} * x.n_cols;
    x.values.reserve(static_cast<std::size_t>(std::min(entries, reader.bytes_left())));
    for (std::int64_t k = 0; k < entries; ++k) {
        if (!reader.next_data_line()) fail_truncated(reader, k, entries);
        x.values.push_back(read_value(reader, header));
        reader.end_of_line();
    }
    require_end(reader, entries);
}

void read_coordinates(LineReader& reader, const MatrixMarketHeader& header, std::int64_t entries,
                      DenseMatrix& x) {
    const std::size_t size = static_cast<std::size_t>(x.n_rows) * static_cast<std::size_t>(x.n_cols);
    x.values.assign(size, 0.0);
    std::vector<bool> given(size, false);
    for (std::int64_t k = 0; k < entries; ++k) {
        if (!reader.next_data_line()) fail_truncated(reader, k, entries);
        const std::int64_t row = reader.integer("the row number", 1, x.n_rows);
        const std::int64_t col = reader.integer("the column number", 1, x.n_cols);
        const std::size_t place = static_cast<std::size_t>((col - 1) * x.n_rows + row - 1);
        if (given[place])
            reader.fail("entry (" + std::to_string(row) + ", " + std::to_string(col) + ") is given twice");
        given[place] = true;
        x.values[place] = read_value(reader, header);
        reader.end_of_line();
    }
    require_end(reader, entries);
}

} // namespace

DenseMatrix parse_dense(const std::string& name, std::string_view text, std::int32_t n_rows) {
    LineReader reader(name, text);
    const MatrixMarketHeader header = read_header(reader);
    if (header.symmetric) reader.fail("the symmetry of a right-hand side must be 'general'");
    if (!reader.next_data_line()) reader.fail("the line with rows and columns is missing");
    const std::int64_t rows = reader.integer("the number of rows", 1, INT32_MAX);
    const std::int64_t cols = reader.integer("the number of columns", 1, INT32_MAX);
    const std::int64_t entries =
        header.array ? rows * cols : reader.integer("the number of entries", 1, rows * cols);
    reader.end_of_line();
    if (rows != n_rows)
        reader.fail("the right-hand side has " + std::to_string(rows) + " rows, the matrix " +
                    std::to_string(n_rows));
    // Keeps a short file from asking for much memory.
    if (entries < cols) reader.fail("there are more columns than entries");

    DenseMatrix x{n_rows, static_cast<std::int32_t>(cols), {}};
    if (header.array)
        read_array(reader, header, x);
    else
        read_coordinates(reader, header, entries, x);
    return x;
}

DenseMatrix read_dense(const std::string& path, std::int32_t n_rows) {
    return parse_dense(path, read_file(path), n_rows);
}

} // namespace vyr::tool
