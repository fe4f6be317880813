// What the tool says of results, without a run.
#include "support/capture.h"
#include "tools/vyr/pivots.h"
#include "tools/vyr/solve_report.h"
#include "tools/vyr/ticker.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <chrono>
#include <cmath>
#include <thread>

namespace vyr::tool {
namespace {

TEST(FailureSentence, SaysWhatWentWrongAndWithWhichFigures) {
    const auto result = [](Status status, double needed = 0, double limit = 0, bool unwritable = false) {
        SolveResult made;
        made.status = status;
        made.bytes_needed = needed;
        made.least_limit_bytes = limit;
        made.files_unwritable = unwritable;
        return made;
    };
    SolveResult pivots = result(Status::SMALL_PIVOT), wrong, unknown, border;
    pivots.failed_equation = 7, pivots.failed_pivot = -2.5, pivots.failed_equations = 2;
    wrong.backward_error = 2e-8, unknown.backward_error = NAN, border.backward_error = 1e-8;
    const struct {
        SolveResult result;
        const char* begin;
    } rows[] = {
        {result(Status::FACTOR_STORAGE, 3e6), "Out of memory: a block of 3.0 MB was needed. Close "},
        {result(Status::MEMORY), "Out of memory. Close other programs"},
        {result(Status::MEMORY, 3e6, 7.6e6),
         "The memory limit is too small. Out of core this matrix needs about 8 MB."},
        {result(Status::FACTOR_STORAGE, 3e6, 7e6, true), "The factor files cannot be written"},
        {result(Status::BUFFER), "The machine has too little free memory even for a part"},
        {result(Status::NAN_VALUE), "The matrix holds a value that is not a number."},
        {result(Status::PLATFORM), "The operating system is too old"},
        {result(Status::STRUCTURE), "The library ended with status -6: the column pointers do not ascend"},
        {result(Status::NOT_SPD), "The matrix is not positive definite. Check that row"},
        {pivots,
         "The matrix is not positive definite: the pivot of equation 7 is -2.5 (and 1 more failed). Check"},
        {wrong, "The backward error 2.0e-08 is above 1e-08: the matrix is too close to singular"},
        {unknown, "The backward error nan is above 1e-08"},
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
    result.pivots = {3, -DBL_MAX, -5, 0.25, NAN, 5, -0.25};
    result.marks = {0, -1, 0, 0, 0, 0, 0};
    EXPECT_EQ(extreme_pivots(result, 3, false), (Equations{3, 6, 0}));
    EXPECT_EQ(extreme_pivots(result, 3, true), (Equations{2, 5, 0}));
    EXPECT_EQ(extreme_pivots(result, 99, true).size(), 5U);
    EXPECT_NE(pivots_text(result, 1).find("6 of 7 pivots were computed"), std::string::npos);
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
