#include "interface/process_state.h"
#include "support/capture.h"
#include "tools/vyr/generators.h"
#include "tools/vyr/norms.h"
#include "tools/vyr/pivots.h"
#include "tools/vyr/run_report.h"
#include "tools/vyr/solve.h"
#include "vyr.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace vyr::tool {
namespace {

using Equations = std::vector<std::int32_t>;

PivotResult result_of(int status, std::vector<double> pivots, std::vector<int> marks) {
    PivotResult result;
    result.status = status;
    result.smallest = 0.5;
    result.growth = 1e6;
    result.pivots = std::move(pivots);
    result.marks = std::move(marks);
    return result;
}

TEST(Pivots, ExtremesAreRankedByMagnitudeAndEqualOnesByEquation) {
    const PivotResult result = result_of(0, {3, -DBL_MAX, -5, 0.25, NAN, 5, -0.25}, {0, -1, 0, 0, 0, 0, 0});
    EXPECT_EQ(extreme_pivots(result, 3, false), (Equations{3, 6, 0}));
    EXPECT_EQ(extreme_pivots(result, 3, true), (Equations{2, 5, 0}));
    EXPECT_EQ(extreme_pivots(result, 99, true).size(), 5U);
    EXPECT_EQ(extreme_pivots(PivotResult{}, 3, true), Equations{});
}

TEST(Pivots, EveryMarkedEquationIsListedWithItsReason) {
    EXPECT_EQ(pivots_text(result_of(VYR_ERR_SMALL_PIVOT, {-2, 0, 0.25, 9, -DBL_MAX}, {1, 1, 1, 0, -1}), 1),
              "A pivot is not above the limit 0.5.\n"
              "Equations that stopped the factorization (counted from 1):\n"
              "             1              -2  negative: the matrix is not positive definite\n"
              "             2               0  zero: nothing holds this equation\n"
              "             3            0.25  not above the limit 0.5\n"
              "4 of 5 pivots were computed before the factorization stopped.\n"
              "Smallest pivots (diagonal of L):\n"
              "             2               0\n"
              "Largest pivots (diagonal of L):\n"
              "             4               9\n");
    EXPECT_EQ(pivots_text(result_of(VYR_ERR_GROWTH, {4e7, 7, 2}, {1, 0, 1}), 1),
              "The pivots spread over more than the allowed ratio 1e+06.\n"
              "Equations that stopped the factorization (counted from 1):\n"
              "             1           4e+07  largest in magnitude\n"
              "             3               2  smallest in magnitude\n"
              "Smallest pivots (diagonal of L):\n"
              "             3               2\n"
              "Largest pivots (diagonal of L):\n"
              "             1           4e+07\n");
}

TEST(Pivots, SuccessShowsBothEndsAndTheirRatio) {
    EXPECT_EQ(pivots_text(result_of(0, {4, 8, 2}, {0, 0, 0}), 2),
              "Smallest pivots (diagonal of L):\n"
              "             3               2\n"
              "             1               4\n"
              "Largest pivots (diagonal of L):\n"
              "             2               8\n"
              "             1               4\n"
              "Ratio of the largest to the smallest: 4\n");
}

TEST(Pivots, TheLooseEquationOfAModelIsNamed) {
    SparseMatrix a = poisson2d(12);
    a.values[static_cast<std::size_t>(a.col_ptr[100])] = -7.5; // equation 101, counted from 1
    const PivotResult loose = find_pivots(a, 0, 0, false);
    EXPECT_EQ(loose.status, VYR_ERR_SMALL_PIVOT);
    EXPECT_EQ(loose.marks[100], 1);
    EXPECT_LT(loose.pivots[100], 0);
    const PivotResult spread = find_pivots({3, {0, 1, 2, 3}, {0, 1, 2}, {1, 1e-20, 4}}, 0, 1e3, false);
    EXPECT_EQ(spread.status, VYR_ERR_GROWTH);
    EXPECT_EQ(spread.marks, (std::vector<int>{0, 1, 1}));
    EXPECT_NEAR(spread.pivots[2], 2, 1e-15);
}

TEST(RunReport, HoldsTheFiguresOfTheWholeRun) {
    const test::TempDirectory directory;
    const SparseMatrix a = poisson2d(20);
    DenseMatrix x;
    const SolveResult result = solve(a, known_right_hand_sides(a, 1), x, 1, false);
    std::filesystem::create_directory("here");
    std::ifstream file(write_run_report("here"), std::ios::binary);
    EXPECT_EQ(std::filesystem::current_path(), directory.path());
    EXPECT_FALSE(messages_on());
    const std::string text(std::istreambuf_iterator<char>(file), {});
    const auto value = [&](const std::string& tag) {
        const std::size_t at = text.find("<" + tag + ">");
        return at == std::string::npos ? NAN : std::stod(text.substr(at + tag.size() + 2));
    };
    EXPECT_EQ(value("ROW"), a.n);
    EXPECT_GE(value("NZLU"), static_cast<double>(result.nnz_factor)) << "whole pivot blocks";
    EXPECT_NEAR(value("FLOPS"), result.flops, 1e-5 * result.flops);
    for (const char* tag :
         {"NODEs", "MAX-D", "T_SYM", "T_SYMFAC", "T_NUM", "T_SOL", "MEM_SYM", "PEAK", "SPEED"})
        EXPECT_GT(value(tag), 0) << tag;
    EXPECT_LE(value("T_SYMFAC"), value("T_SYM"));
}

TEST(RunReport, AFileThatCannotBeWrittenIsAnErrorAndAnOldReportDoesNotHideIt) {
    const test::TempDirectory directory;
    EXPECT_THROW(write_run_report("nowhere"), std::exception);
    std::filesystem::create_directory("VYR_spd 2.2.info");
    EXPECT_THROW(write_run_report("."), std::runtime_error);
    std::filesystem::remove("VYR_spd 2.2.info");
    std::ofstream("VYR_spd 2.2.info") << "</VYR_TEST_INFO>";
    EXPECT_GT(std::filesystem::file_size(write_run_report(".")), 1000U);
    EXPECT_EQ(std::filesystem::current_path(), directory.path());
}

} // namespace
} // namespace vyr::tool
