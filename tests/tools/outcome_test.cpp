// What the tool says of results and asks of its surroundings, without a run.
#include "tools/vyr/environment.h"
#include "tools/vyr/pivots.h"
#include "tools/vyr/solve_report.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace vyr::tool {
namespace {

TEST(FailureSentence, SaysWhatWentWrongAndWithWhichFigures) {
    const struct {
        vyr_status status;
        const char* message;
        double memory_limit, pivot, backward_error, condition;
        const char* begin;
    } rows[] = {
        {VYR_STATUS_MEMORY, "a block", 0, 0, 0, 0, "Out of memory (a block). Close other programs"},
        {VYR_STATUS_TOO_LARGE, "it needs", 1, 0, 0, 0, "The memory limit is too small: it needs"},
        {VYR_STATUS_FILE, "full", 0, 0, 0, 0, "The factor files cannot be written or read (full). Check"},
        {VYR_STATUS_STRUCTURE, "bad", 0, 0, 0, 0, "The library ended with status -6: bad."},
        {VYR_STATUS_BUSY, "", 0, 0, 0, 0, "The library ended with status -44: the object is at work"},
        {VYR_STATUS_NOT_POSITIVE, "", 0, 0, 0, 0, "The matrix is not positive definite. Check that row"},
        {VYR_STATUS_NOT_POSITIVE, "", 0, -2.5, 0, 0,
         "The matrix is not positive definite: the pivot of equation 7 is -2.5. Check"},
        {VYR_STATUS_OK, "", 0, 0, 2e-8, 0,
         "The backward error 2.0e-08 is above 1e-08: the matrix is too close to singular"},
        {VYR_STATUS_OK, "", 0, 0, NAN, 0, "The backward error nan is above 1e-08"},
        {VYR_STATUS_OK, "", 0, 0, 0, 5e15, "The condition number of the matrix, about 5.0e+15 after scaling"},
        {VYR_STATUS_OK, "", 0, 0, 1e-8, LARGEST_CONDITION, ""}};
    for (const auto& row : rows) {
        SolveResult result;
        result.status = row.status, result.message = row.message, result.memory_limit = row.memory_limit;
        if (row.pivot != 0) result.factor.failed_equation = 7, result.factor.failed_pivot = row.pivot;
        result.backward_error = row.backward_error, result.condition = row.condition;
        const std::string sentence = failure_sentence(result);
        EXPECT_EQ(sentence.find(row.begin), 0U) << sentence;
        EXPECT_EQ(accepted(result), *row.begin == '\0');
        EXPECT_EQ(sentence.empty(), *row.begin == '\0') << sentence;
    }
}

TEST(Pivots, ExtremesAreRankedByMagnitudeAndEqualOnesByEquation) {
    using Equations = std::vector<std::int32_t>;
    PivotResult result;
    result.pivots = {3, NAN, -5, 0.25, NAN, 5, -0.25};
    result.marks = {0, -1, 0, 0, -1, 0, 0};
    EXPECT_EQ(extreme_pivots(result, 3, false), (Equations{3, 6, 0}));
    EXPECT_EQ(extreme_pivots(result, 3, true), (Equations{2, 5, 0}));
    EXPECT_EQ(extreme_pivots(result, 99, true).size(), 5U);
    EXPECT_NE(pivots_text(result, 1).find("5 of 7 pivots were computed"), std::string::npos);
}

TEST(Environment, WantsAShortSpinAndLeavesTheUserHisWord) {
    const auto nothing = [](const char*) -> const char* { return nullptr; };
    const auto policy = [](const char* asked) {
        return asked == std::string("OMP_WAIT_POLICY") ? "?" : nullptr;
    };
    ASSERT_EQ(missing_settings(nothing).size(), 1U);
    EXPECT_EQ(missing_settings(nothing)[0].second, "1000");
    EXPECT_TRUE(missing_settings(policy).empty());
}

} // namespace
} // namespace vyr::tool
