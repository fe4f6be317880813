#include "support/capture.h"
#include "support/matrices.h"
#include "tools/vyr/matrix_market.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>

namespace vyr::tool {
namespace {

const std::string REAL = "%%MatrixMarket matrix coordinate real symmetric\n";
const std::string GENERAL = "%%MatrixMarket matrix coordinate real general\n";
const std::string INTEGER = "%%MatrixMarket matrix coordinate integer symmetric\n";
const std::string ARRAY = "%%MatrixMarket matrix array real general\n";

using Faults = std::vector<std::pair<std::string, std::string>>; // a text, and how its error begins

template <typename Parse>
void expect_errors(const Faults& faults, const Parse& parse) {
    for (const auto& [text, begin] : faults) {
        std::string said;
        try {
            parse(text);
        } catch (const FileError& error) {
            said = error.what();
        }
        EXPECT_TRUE(said.starts_with(begin)) << text << said;
    }
}

TEST(MatrixMarketMatrix, EveryFaultIsNamedWithItsLine) {
    const Faults faults = {
        {"", "f:1: the file is empty"},
        {"1 1 1\n1 1 1\n", "f:1: the first line must begin"},
        {"%%MatrixMarket matrix array real symmetric\n1 1\n1\n", "f:1: the format 'array'"},
        {"%%MatrixMarket matrix coordinate pattern symmetric\n", "f:1: the field 'pattern' is not served:"},
        {"%%MatrixMarket matrix coordinate real\n", "f:1: the symmetry is missing"},
        {"%%MatrixMarket matrix coordinate real symmetric extra\n", "f:1: unexpected 'extra'"},
        {REAL, "f:1: the line with rows, columns and entries is missing"},
        {REAL + "% note\n\n2 2\n", "f:4: the number of entries is missing"},
        {REAL + "2 2 2 2\n", "f:2: unexpected '2'"},
        {REAL + "2 3 2\n", "f:2: the matrix is not square"},
        {REAL + "2147483648 2147483648 1\n", "f:2: the number of rows '2147483648' is not in"},
        {REAL + "2 2 4000000000\n1 1 1\n", "f:3: the file ends after 1 of 4000000000 entries"},
        {REAL + "2000000000 2000000000 1\n1 1 1\n", "f:2: 1 entries for 2000000000 rows"},
        {REAL + "2 2 2\n1 1 1\n", "f:3: the file ends after 1 of 2 entries"},
        {REAL + "2 2 2\n1 1 1\n2 2 1\n\n2 1 1\n", "f:6: there are more entries than the 2 announced"},
        {REAL + "2 2 2\n1 1 1\n2 0 1\n", "f:4: the column number '0' is not in 1 .. 2"},
        {REAL + "2 2 2\n1.5 1 1\n2 2 1\n", "f:3: expected the row number, found '1.5'"},
        {REAL + "2 2 2\n1 1 1e999\n2 2 1\n", "f:3: the value '1e999' is not a finite number"},
        {REAL + "2 2 2\n1 1 +-1\n2 2 1\n", "f:3: expected the value, found '+-1'"},
        {REAL + "2 2 2\n1 1 1\x01\n2 2 1\n", "f:3: expected the value, found '1\\x01'"},
        {INTEGER + "1 1 1\n1 1 2.5\n", "f:3: the value is not a whole number"},
        {REAL + "2 2 3\n1 1 1\n2 1 1\n% pause\n1 2 1\n", "f:6: entry (2, 1) is given twice"},
        {GENERAL + "2 2 3\n2 1 1\n1 2 1\n1 2 1\n", "f:5: entry (1, 2) is given twice"},
        {GENERAL + "2 2 3\n1 1 1\n1 2 1\n2 2 1\n", "f:4: entry (1, 2) has no mirror image"},
        {GENERAL + "3 3 4\n3 1 1\n1 2 1\n2 1 1\n3 3 1\n", "f:3: entry (3, 1) has no mirror image"},
        {GENERAL + "2 2 3\n2 1 1\n1 2 1.5\n2 2 1\n", "f:4: entry (1, 2) differs from its mirror image"}};
    expect_errors(faults, [](const std::string& text) { parse_symmetric("f", text); });
}

/// Entries as a file may hold them: in any order, of a symmetric matrix in either triangle; with comments,
/// blank lines, tabs, either line end and explicit signs.
std::string disguised(const std::string& header, const std::string& sizes, std::vector<std::string> lines,
                      test::Rng& rng) {
    std::string text = header + "%  note\n\n \t" + sizes + " \n";
    for (const std::string& line : lines)
        text += (rng() % 5 == 0 ? "% pause\n \r\n" : " ") + line + (rng() % 2 == 0 ? "\r\n" : "\t\n");
    if (rng() % 2 == 0) text.pop_back(); // the last line may lack its end
    return text;
}

/// A number in its shortest or a longer form.
std::string digits(double value, test::Rng& rng) {
    char text[40];
    std::snprintf(text, sizeof text, rng() % 2 == 0 ? "%.17g" : "%+.20E", value);
    return text;
}

/// Any finite number, or a small whole one.
double number(bool integer, test::Rng& rng) {
    if (integer) return static_cast<double>(rng() % 19) - 9;
    const double value = std::bit_cast<double>(static_cast<std::uint64_t>(rng()));
    return std::isfinite(value) ? value : 5e-324;
}

SparseMatrix random_matrix(bool integer, test::Rng& rng) {
    const auto n = static_cast<std::int32_t>(1 + rng() % 9);
    SparseMatrix a{n, {0}, {}, {}};
    for (std::int32_t j = 0; j < n; ++j) {
        for (std::int32_t i = j; i < n; ++i)
            if (i == j || rng() % 3 == 0) a.row_ind.push_back(i);
        a.col_ptr.push_back(a.nnz());
    }
    for (std::int32_t k = 0; k < a.nnz(); ++k) a.values.push_back(number(integer, rng));
    return a;
}

TEST(MatrixMarketMatrix, EveryHeaderAndOrderOfEntriesGivesTheSameMatrixToTheLastBit) {
    test::Rng rng(test::test_seed());
    const test::TempDirectory directory;
    for (int round = 0; round < 200; ++round) {
        const bool integer = round % 2 == 0, general = round % 4 < 2;
        const SparseMatrix a = random_matrix(integer, rng);
        std::vector<std::string> lines;
        for (std::int32_t j = 0; j < a.n; ++j)
            for (std::int32_t k = a.col_ptr[j]; k < a.col_ptr[j + 1]; ++k) {
                std::string row = std::to_string(a.row_ind[k] + 1),
                            col = std::string("+").append(std::to_string(j + 1));
                if (!general && rng() % 2 == 0) std::swap(row, col);
                lines.push_back(row + "  " + col + '\t' + digits(a.values[k], rng));
                if (general && a.row_ind[k] != j)
                    lines.push_back(col + " " + row + " " + digits(a.values[k], rng));
            }
        std::shuffle(lines.begin(), lines.end(), rng);
        const std::string n = std::to_string(a.n) + "  ";
        const std::string header = std::string("%%MATRIXMarket Matrix  coordinate ") +
                                   (integer ? "INTEGER" : "real") +
                                   (general ? " General\r\n" : " symmetric \n");
        const std::string sizes = n + n + std::to_string(lines.size());
        write_symmetric("a.mtx", a, "a comment");
        for (const SparseMatrix& b :
             {parse_symmetric("f", disguised(header, sizes, lines, rng)), read_symmetric("a.mtx")}) {
            EXPECT_EQ(b.n, a.n) << round;
            EXPECT_EQ(b.col_ptr, a.col_ptr) << round;
            EXPECT_EQ(b.row_ind, a.row_ind) << round;
            EXPECT_EQ(b.values, a.values) << round;
        }
    }
    EXPECT_EQ(read_file("a.mtx").find(REAL + "% a comment\n"), 0U);
    EXPECT_EQ(parse_symmetric("f", REAL + "2 2 2\n1 1 1e-9999\n2 2 -.5e-400").values,
              (std::vector<double>{0, 0}));
}

TEST(MatrixMarketDense, BothFormatsAndTheWriterGiveTheSameColumns) {
    test::Rng rng(test::test_seed());
    const test::TempDirectory directory;
    for (int round = 0; round < 100; ++round) {
        const bool integer = round % 2 == 0, array = round % 4 < 2;
        DenseMatrix x{static_cast<std::int32_t>(1 + rng() % 5), static_cast<std::int32_t>(1 + rng() % 4), {}};
        std::vector<std::string> lines;
        for (int k = 0; k < x.n_rows * x.n_cols; ++k) {
            const bool left_out = !array && k >= x.n_cols && rng() % 3 == 0;
            x.values.push_back(left_out ? 0 : number(integer, rng));
            const std::string place =
                std::to_string(k % x.n_rows + 1) + " " + std::to_string(k / x.n_rows + 1) + " ";
            if (!left_out) lines.push_back((array ? "" : place) + digits(x.values.back(), rng));
        }
        std::string sizes = std::to_string(x.n_rows) + "\t" + std::to_string(x.n_cols);
        if (!array) {
            std::shuffle(lines.begin(), lines.end(), rng);
            sizes.append(" ").append(std::to_string(lines.size()));
        }
        const std::string header = std::string("%%MatrixMarket matrix ") +
                                   (array ? "array " : "coordinate ") +
                                   (integer ? "integer general\n" : "real general\n");
        const DenseMatrix read = parse_dense("f", disguised(header, sizes, lines, rng), x.n_rows);
        EXPECT_EQ(read.n_rows, x.n_rows);
        EXPECT_EQ(read.n_cols, x.n_cols);
        EXPECT_EQ(read.values, x.values) << round;
        write_dense("x.mtx", x, "x");
        EXPECT_EQ(read_dense("x.mtx", x.n_rows).values, x.values) << round;
    }
}

TEST(MatrixMarketDense, EveryFaultIsNamedWithItsLine) {
    const Faults faults = {
        {"%%MatrixMarket matrix array real symmetric\n2 2\n", "f:1: the symmetry of a right-hand side"},
        {ARRAY, "f:1: the line with rows and columns is missing"},
        {ARRAY + "3 1\n1\n1\n1\n", "f:2: the right-hand side has 3 rows, the matrix 2"},
        {ARRAY + "2 0\n", "f:2: the number of columns '0'"},
        {ARRAY + "2 2147483647\n1\n1\n", "f:4: the file ends after 2 of 4294967294 entries"},
        {ARRAY + "2 1\n1\n1 1\n", "f:4: unexpected '1'"},
        {ARRAY + "2 1\n1\nNaN\n", "f:4: the value 'NaN'"},
        {ARRAY + "2 1\n1\n1\n1\n", "f:5: there are more entries"},
        {GENERAL + "2 2147483647 1\n1 1 1\n", "f:2: there are more columns than entries"},
        {GENERAL + "2 1 3\n1 1 1\n", "f:2: the number of entries '3' is not in 1 .. 2"},
        {GENERAL + "2 1 2\n1 1 1\n1 1 2\n", "f:4: entry (1, 1) is given twice"},
        {GENERAL + "2 1 2\n1 1 1\n2 2 2\n", "f:4: the column number '2' is not in 1 .. 1"}};
    expect_errors(faults, [](const std::string& text) { parse_dense("f", text, 2); });
}

} // namespace
} // namespace vyr::tool
