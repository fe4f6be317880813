// Reads a symmetric matrix in one pass over the text. Entries are kept as triplets of the lower triangle and
// counted into columns; which line a fault sits on is found by a second pass, made only when there is one.
#include "tools/vyr/matrix_market.h"
#include "tools/vyr/matrix_market_header.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

namespace vyr::tool {

namespace {

struct Position {
    std::int32_t row; ///< 0-based
    std::int32_t col;
    bool operator==(const Position&) const = default;
};

struct Triplets {
    std::vector<Position> positions;
    std::vector<double> values;

    void reserve(std::size_t count) {
        positions.reserve(count);
        values.reserve(count);
    }
    void push(Position position, double value) {
        positions.push_back(position);
        values.push_back(value);
    }
};

struct Sizes {
    std::int32_t n;
    std::int64_t entries;
};

Sizes read_sizes(LineReader& reader) {
    if (!reader.next_data_line()) reader.fail("the line with rows, columns and entries is missing");
    const std::int64_t rows = reader.integer("the number of rows", 1, INT32_MAX);
    const std::int64_t cols = reader.integer("the number of columns", 1, INT32_MAX);
    const std::int64_t entries = reader.integer("the number of entries", 1, 2 * std::int64_t{INT32_MAX});
    reader.end_of_line();
    if (rows != cols)
        reader.fail("the matrix is not square: " + std::to_string(rows) + " rows, " + std::to_string(cols) +
                    " columns");
    // An entry belongs to at most two equations. This also keeps a short file from asking for much memory.
    if (2 * entries < rows)
        reader.fail(std::to_string(entries) + " entries for " + std::to_string(rows) +
                    " rows: some rows are empty, the matrix is singular");
    return {static_cast<std::int32_t>(rows), entries};
}

Position read_position(LineReader& reader, std::int32_t n) {
    const std::int64_t row = reader.integer("the row number", 1, n);
    const std::int64_t col = reader.integer("the column number", 1, n);
    return {static_cast<std::int32_t>(row - 1), static_cast<std::int32_t>(col - 1)};
}

Position folded(Position p) {
    return p.row < p.col ? Position{p.col, p.row} : p;
}

/// Where the faults of a finished matrix are looked up again.
struct Source {
    const std::string& name;
    std::string_view text;
    bool symmetric;

    /// Fails with the line of the last entry at `wanted`, both triangles being one in a symmetric file.
    [[noreturn]] void fail(Position wanted, const std::string& what) const {
        LineReader reader(name, text);
        read_header(reader);
        const Sizes sizes = read_sizes(reader);
        std::int64_t line = reader.line();
        while (reader.next_data_line()) {
            const Position p = read_position(reader, sizes.n);
            if ((symmetric ? folded(p) : p) == wanted) line = reader.line();
        }
        reader.fail_at(line, "entry (" + std::to_string(wanted.row + 1) + ", " +
                                 std::to_string(wanted.col + 1) + ") " + what);
    }
};

/// Sorts one column's entries by row.
void sort_column(std::int32_t* rows, double* values, std::size_t count) {
    if (std::is_sorted(rows, rows + count)) return;
    std::vector<std::pair<std::int32_t, double>> entries(count);
    for (std::size_t k = 0; k < count; ++k) entries[k] = {rows[k], values[k]};
    std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    for (std::size_t k = 0; k < count; ++k) {
        rows[k] = entries[k].first;
        values[k] = entries[k].second;
    }
}

/// Sorts triplets into columns. With `transposed` the triplets lie in the upper triangle.
SparseMatrix by_columns(std::int32_t n, const Triplets& triplets, bool transposed, const Source& source) {
    const std::size_t order = static_cast<std::size_t>(n);
    SparseMatrix a{n, std::vector<std::int32_t>(order + 1, 0), {}, {}};
    a.row_ind.resize(triplets.values.size());
    a.values.resize(triplets.values.size());
    for (const Position& p : triplets.positions) ++a.col_ptr[static_cast<std::size_t>(folded(p).col) + 1];
    for (std::size_t j = 0; j < order; ++j) a.col_ptr[j + 1] += a.col_ptr[j];
    std::vector<std::int32_t> next(a.col_ptr.begin(), a.col_ptr.end() - 1);
    for (std::size_t k = 0; k < triplets.values.size(); ++k) {
        const Position p = folded(triplets.positions[k]);
        const std::size_t place = static_cast<std::size_t>(next[static_cast<std::size_t>(p.col)]++);
        a.row_ind[place] = p.row;
        a.values[place] = triplets.values[k];
    }
    for (std::int32_t j = 0; j < n; ++j) {
        const std::size_t begin = static_cast<std::size_t>(a.col_ptr[static_cast<std::size_t>(j)]);
        const std::size_t end = static_cast<std::size_t>(a.col_ptr[static_cast<std::size_t>(j) + 1]);
        sort_column(a.row_ind.data() + begin, a.values.data() + begin, end - begin);
        const auto twice = std::adjacent_find(a.row_ind.begin() + static_cast<std::ptrdiff_t>(begin),
                                              a.row_ind.begin() + static_cast<std::ptrdiff_t>(end));
        if (twice != a.row_ind.begin() + static_cast<std::ptrdiff_t>(end))
            source.fail(transposed ? Position{j, *twice} : Position{*twice, j}, "is given twice");
    }
    return a;
}

/// Halves written by programs that round differ in the last places.
bool nearly_equal(double a, double b) {
    constexpr double TOLERANCE = 1e-12;
    return std::fabs(a - b) <= TOLERANCE * std::max(std::fabs(a), std::fabs(b));
}

/// Requires that the upper triangle, transposed into columns of the lower one, repeats `lower` off the
/// diagonal. An absent entry differs from a stored zero.
void require_mirrored(const SparseMatrix& lower, const SparseMatrix& upper, const Source& source) {
    for (std::int32_t j = 0; j < lower.n; ++j) {
        const std::size_t column = static_cast<std::size_t>(j);
        std::size_t l = static_cast<std::size_t>(lower.col_ptr[column]);
        std::size_t u = static_cast<std::size_t>(upper.col_ptr[column]);
        const std::size_t l_end = static_cast<std::size_t>(lower.col_ptr[column + 1]);
        const std::size_t u_end = static_cast<std::size_t>(upper.col_ptr[column + 1]);
        if (l < l_end && lower.row_ind[l] == j) ++l;
        for (; l < l_end || u < u_end; ++l, ++u) {
            if (u == u_end || (l < l_end && lower.row_ind[l] < upper.row_ind[u]))
                source.fail({lower.row_ind[l], j}, "has no mirror image: the matrix is not symmetric");
            if (l == l_end || upper.row_ind[u] < lower.row_ind[l])
                source.fail({j, upper.row_ind[u]}, "has no mirror image: the matrix is not symmetric");
            if (!nearly_equal(lower.values[l], upper.values[u]))
                source.fail({j, upper.row_ind[u]},
                            "differs from its mirror image: the matrix is not symmetric");
        }
    }
}

} // namespace

SparseMatrix parse_symmetric(const std::string& name, std::string_view text) {
    LineReader reader(name, text);
    const MatrixMarketHeader header = read_header(reader);
    if (header.array)
        reader.fail("the format 'array' cannot be used for the matrix: it must be 'coordinate'");
    const Sizes sizes = read_sizes(reader);

    constexpr std::int64_t SHORTEST_ENTRY = 5; // "1 1 1", so that no announcement outgrows its file
    const std::int64_t room = std::min(sizes.entries, reader.bytes_left() / SHORTEST_ENTRY + 1);
    Triplets lower, upper;
    lower.reserve(static_cast<std::size_t>(header.symmetric ? room : room / 2 + 1));
    if (!header.symmetric) upper.reserve(static_cast<std::size_t>(room / 2 + 1));
    for (std::int64_t k = 0; k < sizes.entries; ++k) {
        if (!reader.next_data_line()) fail_truncated(reader, k, sizes.entries);
        const Position position = read_position(reader, sizes.n);
        const double value = read_value(reader, header);
        reader.end_of_line();
        const bool above = !header.symmetric && position.row < position.col;
        (above ? upper : lower).push(position, value);
    }
    require_end(reader, sizes.entries);
    if (lower.values.size() > INT32_MAX || upper.values.size() > INT32_MAX)
        reader.fail("the triangle holds more than 2147483647 entries");

    const Source source{name, text, header.symmetric};
    SparseMatrix a = by_columns(sizes.n, lower, false, source);
    if (!header.symmetric) require_mirrored(a, by_columns(sizes.n, upper, true, source), source);
    return a;
}

SparseMatrix read_symmetric(const std::string& path) {
    return parse_symmetric(path, read_file(path));
}

} // namespace vyr::tool
