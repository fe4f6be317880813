// What the tool says of results, without a run.
#include "support/capture.h"
#include "tools/vyr/pivots.h"
#include "tools/vyr/solve_report.h"
#include "tools/vyr/ticker.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <thread>

namespace vyr::tool {
namespace {

TEST(FailureSentence, SaysWhatWentWrongAndWithWhichFigures) {
    const auto result = [](vyr_status status, const char* message = "", double limit = 0) {
        SolveResult made;
        made.status = status;
        made.message = message;
        made.memory_limit = limit;
        return made;
    };
    SolveResult pivots = result(VYR_STATUS_NOT_POSITIVE), wrong, unknown, border, singular;
    pivots.factor.failed_equation = 7, pivots.factor.failed_pivot = -2.5;
    wrong.backward_error = 2e-8, unknown.backward_error = NAN, border.backward_error = 1e-8;
    border.condition = LARGEST_CONDITION, singular.condition = 5e15;
    const struct {
        SolveResult result;
        const char* begin;
    } rows[] = {
        {result(VYR_STATUS_MEMORY, "a block"), "Out of memory (a block). Close other programs"},
        {result(VYR_STATUS_TOO_LARGE, "it needs about 8 MB", 1), "The memory limit is too small: it needs about"},
        {result(VYR_STATUS_FILE, "full"), "The factor files cannot be written or read (full). Check"},
        {result(VYR_STATUS_SINGULAR), "No pivot could be found for some equation"},
        {result(VYR_STATUS_STRUCTURE, "bad"), "The library ended with status -6: bad."},
        {result(VYR_STATUS_BUSY), "The library ended with status -44: the object is at work"},
        {result(VYR_STATUS_NOT_POSITIVE), "The matrix is not positive definite. Check that row"},
        {pivots, "The matrix is not positive definite: the pivot of equation 7 is -2.5. Check"},
        {wrong, "The backward error 2.0e-08 is above 1e-08: the matrix is too close to singular"},
        {unknown, "The backward error nan is above 1e-08"},
        {singular, "The condition number of the matrix, about 5.0e+15 after scaling"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(failure_sentence(row.result).find(row.begin), 0U) << failure_sentence(row.result);
        EXPECT_FALSE(accepted(row.result)) << row.begin;
    }
    EXPECT_TRUE(accepted(border) && failure_sentence(border).empty());
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

TEST(Ticker, ShowsThePhaseOnlyWhenEnabledAndWipesItsLine) {
    const auto shown = [](bool enabled) {
        return test::output_of([=] {
            const Ticker ticker("factorise", enabled);
            std::this_thread::sleep_for(std::chrono::milliseconds(700));
        });
    };
    const std::string text = shown(true);
    EXPECT_EQ(text.find("\r  factorise ... "), 0U) << text;
    EXPECT_EQ(text.back(), '\r');
    EXPECT_EQ(shown(false), "");
}

} // namespace
} // namespace vyr::tool
