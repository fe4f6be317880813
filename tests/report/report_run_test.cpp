// The report, the console texts and the pivots of real runs, through the exported functions.
#include "report_fixture.h"
#include "support/session.h"

#include <cfloat>

namespace vyr::test {

namespace {

const Csc TRIDIAGONAL{3, {0, 2, 4, 5}, {0, 1, 1, 2, 2}, {4.0, 1.0, 5.0, 2.0, 6.0}};
const Csc GRID = spd(900, grid_edges(30, 30));

/// The number between a tag and its end in the report of the current directory.
double reported(const std::string& tag) {
    const std::string text = report_text();
    const std::size_t at = text.find("<" + tag + ">");
    EXPECT_NE(at, std::string::npos) << tag << " in\n" << text;
    return at == std::string::npos ? NAN : std::stod(text.substr(at + tag.size() + 2));
}

bool has_body() {
    return report_text().find("<TEST>") != std::string::npos;
}

/// A session in a directory of its own, where a second VYR_init_ld after the analysis puts `flags` in force.
class ReportRunTest : public testing::Test {
protected:
    void analyse(const Csc& a, double flags) {
        ASSERT_EQ(session_.init(a), 0);
        ASSERT_TRUE(session_.symbol(a));
        session_.param[VYR_PARAM_FLAGS] = flags;
        ASSERT_EQ(session_.init(a), 0);
    }

    TempDirectory directory_;
    Session session_;
};

} // namespace

TEST_F(ReportRunTest, SecondInitBringsTheSummaryBack) {
    analyse(TRIDIAGONAL, 1);
    const std::string text = output_of([&] { EXPECT_EQ(session_.numeric(TRIDIAGONAL), 0); });
    const std::string summary = "\t<I_LEN=4,I64_LEN=8,D_LEN=8>\r\n"
                                "\t<DIM=3,ENTRY=5>\t<SYM=  1,nED=0>\t<MAX=       6,MIN=       1>\r\n"
                                "\t\t<IN_CORE>\t\r\n\t\t<MF_LLc>\t\r\n";
    EXPECT_EQ(text.substr(0, summary.size()), summary);
    session_.clear();
    EXPECT_FALSE(std::filesystem::exists(REPORT_NAME)) << "nobody asked for it";
}

TEST_F(ReportRunTest, ClearWritesWhatTheRunMeasured) {
    analyse(GRID, 1 + VYR_FLAG_REPORT_AT_CLEAR);
    (void)output_of([&] {
        EXPECT_EQ(session_.numeric(GRID), 0);
        (void)session_.solve(GRID, random_vector(GRID.n, 3));
        EXPECT_FALSE(std::filesystem::exists(REPORT_NAME));
        session_.clear();
    });
    EXPECT_TRUE(is_valid_report(REPORT_NAME)) << read_file("xmllint.log");
    EXPECT_EQ(reported("STATUS"), 0.0);
    EXPECT_EQ(reported("ROW"), 900.0);
    EXPECT_EQ(reported("NNZ"), GRID.nnz());
    EXPECT_GT(reported("FLOPS"), 1e4);
    EXPECT_GT(reported("T_NUM"), 0.0);
    EXPECT_GT(reported("T_SOL"), 0.0);
    EXPECT_NEAR(reported("SPEED"), reported("FLOPS") / 1e6 / reported("T_NUM"), 1e-4 * reported("SPEED"));
    EXPECT_GT(reported("MEM"), 900 * 8 / 1e6);
    EXPECT_GE(reported("PEAK"), reported("MEM"));
}

TEST_F(ReportRunTest, FlagsOfTheLastAnalysisDecideBothReportAndBody) {
    session_.param[VYR_PARAM_FLAGS] = 1 + VYR_FLAG_REPORT_AT_CLEAR;
    ASSERT_EQ(session_.factorize(TRIDIAGONAL), 0);
    session_.clear();
    EXPECT_FALSE(std::filesystem::exists(REPORT_NAME)) << "the analysis silences the report";
    analyse(TRIDIAGONAL, VYR_FLAG_REPORT_AT_CLEAR);
    EXPECT_EQ(output_of([&] { EXPECT_EQ(session_.numeric(TRIDIAGONAL), 0); }), "");
    session_.clear();
    EXPECT_TRUE(is_valid_report(REPORT_NAME));
    EXPECT_FALSE(has_body());
}

TEST_F(ReportRunTest, FailedAnalysisLeavesAReportWithoutBody) {
    session_.param[VYR_PARAM_FLAGS] = 1;
    ASSERT_EQ(session_.init(TRIDIAGONAL), 0);
    EXPECT_EQ(VYR_symbol_ld(nullptr, 3, nullptr, nullptr), nullptr);
    EXPECT_EQ(session_.param[VYR_PARAM_STATUS], VYR_ERR_NULL_MATRIX);
    EXPECT_TRUE(is_valid_report(REPORT_NAME));
    EXPECT_FALSE(has_body());
}

TEST_F(ReportRunTest, FailedFactorizationIsExplainedAndItsEquationMarked) {
    Csc bad = TRIDIAGONAL;
    bad.values[2] = -5.0;
    analyse(bad, 1 + VYR_FLAG_REPORT_AT_CLEAR);
    const std::string text = output_of([&] { EXPECT_EQ(session_.numeric(bad), VYR_ERR_SMALL_PIVOT); });
    const std::string end = "\r\n\tERROR at NUMERIC FACTORIZATION. ERROR CODE:-35\r\n"
                            "\r\n\tFor help write to support@vyr.example.\r\n";
    ASSERT_GE(text.size(), end.size());
    EXPECT_EQ(text.substr(text.size() - end.size()), end);
    double pivots[3];
    int marks[3];
    VYR_pivot_ld(session_.handle, pivots, marks);
    // Whatever the order of elimination: a marked pivot is not positive, an unmarked one is, or has no value.
    int n_marked = 0;
    for (int i = 0; i < 3; ++i) {
        n_marked += marks[i] == 1;
        EXPECT_TRUE(marks[i] == 1   ? pivots[i] <= 0.0
                    : marks[i] == 0 ? pivots[i] > 0.0
                                    : pivots[i] == -DBL_MAX)
            << "equation " << i << ": " << pivots[i];
    }
    EXPECT_EQ(n_marked, 1);
    session_.clear();
    EXPECT_EQ(reported("STATUS"), -35.0);
}

TEST_F(ReportRunTest, GrowthFailureNamesTheExtremeEquations) {
    const Csc spread = diagonal({4.0, 1e-10, 9.0, 1e-10, 1e20, 1.0});
    session_.param[VYR_PARAM_GROWTH] = 1e6;
    EXPECT_EQ(session_.factorize(spread), VYR_ERR_GROWTH);
    double pivots[6];
    int marks[6];
    VYR_pivot_ld(session_.handle, pivots, marks);
    EXPECT_EQ(std::vector<int>(marks, marks + 6), (std::vector<int>{0, 1, 0, 0, 1, 0}));
    EXPECT_NEAR(pivots[4], 1e10, 1.0);
    EXPECT_NEAR(pivots[0], 2.0, 1e-12);
}

} // namespace vyr::test
