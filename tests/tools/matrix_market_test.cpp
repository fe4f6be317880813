#include "tools/vyr/generators.h"
#include "tools/vyr/matrix_market.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

namespace vyr::tool {
namespace {

const std::string REAL = "%%MatrixMarket matrix coordinate real symmetric\n";
const std::string GENERAL = "%%MatrixMarket matrix coordinate real general\n";
const std::string INTEGER = "%%MatrixMarket matrix coordinate integer symmetric\n";
const std::string ARRAY = "%%MatrixMarket matrix array real general\n";

template <typename Parse>
std::string message_of(Parse parse) {
    try {
        parse();
    } catch (const FileError& error) {
        return error.what();
    }
    return "accepted";
}

struct Fault {
    std::string text;
    std::string message; ///< how the error must begin
};

TEST(MatrixMarketMatrix, EveryFaultIsNamedWithItsLine) {
    const std::vector<Fault> faults = {
        {"", "f:1: the file is empty"},
        {"1 1 1\n1 1 1\n", "f:1: the first line must begin"},
        {"%%MatrixMarket vector coordinate real symmetric\n", "f:1: the first line must begin"},
        {"%%MatrixMarket matrix array real symmetric\n1 1\n1\n", "f:1: the format 'array'"},
        {"%%MatrixMarket matrix coordinate pattern symmetric\n", "f:1: the field 'pattern' cannot be used"},
        {"%%MatrixMarket matrix coordinate complex symmetric\n", "f:1: the field 'complex' cannot be used"},
        {"%%MatrixMarket matrix coordinate real hermitian\n", "f:1: the symmetry 'hermitian' cannot be used"},
        {"%%MatrixMarket matrix coordinate real\n", "f:1: the symmetry is missing"},
        {"%%MatrixMarket matrix coordinate real symmetric extra\n", "f:1: unexpected 'extra'"},
        {REAL, "f:1: the line with rows, columns and entries is missing"},
        {REAL + "% note\n\n2 2\n", "f:4: the number of entries is missing"},
        {REAL + "2 2 2 2\n", "f:2: unexpected '2'"},
        {REAL + "2 3 2\n", "f:2: the matrix is not square"},
        {REAL + "0 0 0\n", "f:2: the number of rows '0' is not in 1 .."},
        {REAL + "-2 -2 2\n", "f:2: the number of rows '-2' is not in 1 .."},
        {REAL + "2147483648 2147483648 1\n", "f:2: the number of rows '2147483648' is not in"},
        {REAL + "2 2 99999999999999999999\n1 1 1\n",
         "f:2: the number of entries '99999999999999999999' is not in"},
        {REAL + "2 2 4000000000\n1 1 1\n", "f:3: the file ends after 1 of 4000000000 entries"},
        {REAL + "2000000000 2000000000 1\n1 1 1\n", "f:2: 1 entries for 2000000000 rows"},
        {REAL + "2 2 2\n1 1 1\n", "f:3: the file ends after 1 of 2 entries"},
        {REAL + "2 2 2\n1 1 1\n2 2", "f:4: the value is missing"},
        {REAL + "2 2 2\n1 1 1\n2\n", "f:4: the column number is missing"},
        {REAL + "2 2 2\n1 1 1\n2 2 1\n\n2 1 1\n", "f:6: there are more entries than the 2 announced"},
        {REAL + "2 2 2\n1 1 1\n3 1 1\n", "f:4: the row number '3' is not in 1 .. 2"},
        {REAL + "2 2 2\n1 1 1\n2 0 1\n", "f:4: the column number '0' is not in 1 .. 2"},
        {REAL + "2 2 2\n1.5 1 1\n2 2 1\n", "f:3: expected the row number, found '1.5'"},
        {REAL + "2 2 2\n1 1 1 1\n2 2 1\n", "f:3: unexpected '1'"},
        {REAL + "2 2 2\n1 1 nan\n2 2 1\n", "f:3: the value 'nan' is not a finite number"},
        {REAL + "2 2 2\n1 1 1\n2 2 -inf\n", "f:4: the value '-inf' is not a finite number"},
        {REAL + "2 2 2\n1 1 1e999\n2 2 1\n", "f:3: the value '1e999' is not a finite number"},
        {REAL + "2 2 2\n1 1 +-1\n2 2 1\n", "f:3: expected the value, found '+-1'"},
        {REAL + "2 2 2\n1 1 1,5\n2 2 1\n", "f:3: expected the value, found '1,5'"},
        {REAL + "2 2 2\n1 1 1\x01\n2 2 1\n", "f:3: expected the value, found '1?'"},
        {INTEGER + "1 1 1\n1 1 2.5\n", "f:3: the value is not a whole number"},
        {REAL + "2 2 3\n1 1 1\n2 1 1\n% pause\n1 2 1\n", "f:6: entry (2, 1) is given twice"},
        {GENERAL + "2 2 3\n2 1 1\n1 2 1\n1 2 1\n", "f:5: entry (1, 2) is given twice"},
        {GENERAL + "2 2 3\n1 1 1\n2 1 1\n2 2 1\n", "f:4: entry (2, 1) has no mirror image"},
        {GENERAL + "2 2 3\n1 1 1\n1 2 1\n2 2 1\n", "f:4: entry (1, 2) has no mirror image"},
        {GENERAL + "3 3 4\n3 1 1\n1 2 1\n2 1 1\n3 3 1\n", "f:3: entry (3, 1) has no mirror image"},
        {GENERAL + "2 2 3\n2 1 1\n1 2 1.5\n2 2 1\n", "f:4: entry (1, 2) differs from its mirror image"},
    };
    for (const Fault& fault : faults) {
        const std::string message = message_of([&] { parse_symmetric("f", fault.text); });
        EXPECT_EQ(message.substr(0, fault.message.size()), fault.message) << fault.text;
    }
}

TEST(MatrixMarketMatrix, ManyWaysOfWritingGiveTheSameLowerTriangle) {
    const std::vector<std::string> texts = {
        REAL + "3 3 5\n1 1 4\n2 1 -1\n2 2 5\n3 2 -2\n3 3 6\n",
        REAL + "3 3 5\r\n1 1 4\r\n2 1 -1\r\n2 2 5\r\n3 2 -2\r\n3 3 6\r\n",
        "%%MATRIXMARKET Matrix Coordinate REAL Symmetric \n%\n  % note\n\n 3\t3  5\n3 3 6.\n\n+3 2 -.2e+1\n"
        "%% in between\n 1 2 -1E0 \n2 2 +5\n1 1 4.000",
        INTEGER + "3 3 5\n3 3 6\n3 2 -2\n1 1 4\n2 2 5\n1 2 -1\n",
        GENERAL + "3 3 7\n1 2 -1\n1 1 4\n2 2 5\n2 3 -2\n3 2 -2\n3 3 6\n2 1 -1\n",
    };
    for (const std::string& text : texts) {
        const SparseMatrix a = parse_symmetric("f", text);
        EXPECT_EQ(a.n, 3);
        EXPECT_EQ(a.col_ptr, (std::vector<std::int32_t>{0, 2, 4, 5})) << text;
        EXPECT_EQ(a.row_ind, (std::vector<std::int32_t>{0, 1, 1, 2, 2})) << text;
        EXPECT_EQ(a.values, (std::vector<double>{4, -1, 5, -2, 6})) << text;
    }
}

TEST(MatrixMarketMatrix, NumbersAtTheEndsOfTheRangeAreRead) {
    const SparseMatrix a = parse_symmetric(
        "f", REAL + "4 4 4\n1 1 1e308\n2 2 1.7976931348623157e308\n3 3 5e-324\n4 4 -1e-9999\n");
    EXPECT_EQ(a.values,
              (std::vector<double>{1e308, DBL_MAX, std::numeric_limits<double>::denorm_min(), 0.0}));
}

TEST(MatrixMarketMatrix, WhatIsWrittenReadsBackToTheLastBit) {
    const std::string path = testing::TempDir() + "vyr_written.mtx";
    const SparseMatrix written = elasticity_brick(3, 2, 4);
    write_symmetric(path, written, "a brick");
    const SparseMatrix read = read_symmetric(path);
    EXPECT_EQ(read.col_ptr, written.col_ptr);
    EXPECT_EQ(read.row_ind, written.row_ind);
    EXPECT_EQ(read.values, written.values);
    std::remove(path.c_str());
}

TEST(MatrixMarketDense, BothFormatsAreRead) {
    const std::vector<double> expected = {1, 0, 3, 0, 5, 6};
    EXPECT_EQ(parse_dense("f", ARRAY + "3 2\n1\n0\n3\n\n0\n5\n6\n", 3).values, expected);
    const DenseMatrix x = parse_dense("f", GENERAL + "3 2 4\n3 2 6\n1 1 1\n2 2 5\n3 1 3\n", 3);
    EXPECT_EQ(x.values, expected);
    EXPECT_EQ(x.n_cols, 2);
    const std::string path = testing::TempDir() + "vyr_dense.mtx";
    write_dense(path, x, "x");
    EXPECT_EQ(read_dense(path, 3).values, expected);
    std::remove(path.c_str());
}

TEST(MatrixMarketDense, EveryFaultIsNamedWithItsLine) {
    const std::vector<Fault> faults = {
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
        {GENERAL + "2 1 2\n1 1 1\n2 2 2\n", "f:4: the column number '2' is not in 1 .. 1"},
    };
    for (const Fault& fault : faults) {
        const std::string message = message_of([&] { parse_dense("f", fault.text, 2); });
        EXPECT_EQ(message.substr(0, fault.message.size()), fault.message) << fault.text;
    }
}

TEST(MatrixMarketFiles, WhatCannotBeOpenedReadOrWrittenIsNamed) {
    const auto starts = [](const std::string& message, const std::string& start) {
        return message.substr(0, start.size()) == start ? std::string() : message;
    };
    EXPECT_EQ(
        starts(message_of([] { read_symmetric("/nowhere/a.mtx"); }), "/nowhere/a.mtx: cannot be opened"), "");
    const SparseMatrix a = poisson2d(2);
#ifndef _WIN32 // opens no directory and has no such device
    EXPECT_EQ(starts(message_of([] { read_symmetric("/"); }), "/: cannot be read"), "");
    EXPECT_EQ(
        starts(message_of([&] { write_symmetric("/dev/full", a, ""); }), "/dev/full: cannot be written"), "");
#endif
    EXPECT_EQ(
        starts(message_of([&] { write_symmetric("/nowhere/a", a, ""); }), "/nowhere/a: cannot be opened"),
        "");
}

} // namespace
} // namespace vyr::tool
