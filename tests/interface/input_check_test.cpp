// The checks of structure and values: statuses, texts and what they record.
#include "support/capture.h"
#include "support/session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <sstream>

using namespace vyr;
using namespace vyr::test;

namespace {

struct Case {
    int n_rows, n_cols;
    const char *colptr, *rowind; ///< numbers; null: none
    int type, status;
    const char* text;
};

const Case CASES[] = {
    {2, 2, "0 2 3", "0 1 1", 11, 0, ""},
    {2, 2, nullptr, "0", 11, -1, ""},
    {2, 2, "0 1 2", nullptr, 11, -1, ""},
    {0, 0, nullptr, "0", 11, -1, ""},
    {2, 3, "0 1 2 2", nullptr, 11, -1, ""},
    {0, 0, "0", "0", 11, -2, ""},
    {0, 0, "5", "0", 11, -2, ""}, // the count is recorded all the same
    {1, -3, "0 1", "0", 11, -2, ""},
    {-1, 1, "0 1", "0", 11, -2, ""},
    {2, 2, "0 0 0", "0", 11, -2, ""},
    {2, 2, "0 0 -1", "0", 11, -2, ""},
    {1, 1, "0 1", "0", 2, 0, ""},
    {3, 2, "0 1 2", "0 1", 11, -7, ""},
    {3, 2, "1 1 2", "0 1", 11, -7, ""},
    {3, 3, "0 1 1 2", "0 2", 2, -3, "ERROR!!!\tEMPTY COLUMN:2\r\n"},
    {2, 2, "0 0 1", "1", 10, -3, "ERROR!!!\tEMPTY COLUMN:1\r\n"},
    {3, 3, "0 1 1 2", "0 2", 12, 0, ""},
    {6, 6, "0 3 4 5 6 7 8", "5 3 5 1 2 3 4 5", 11, 0, "WARNING!!!\tCOLUMN1 is not orderd:(5,3)\r\n"},
    {3, 3, "0 1 4 5", "0 1 2 2 2", 11, -4, "WARNING!!!\tCOLUMN2 dupliacate entry:(2,2)\r\n"},
    {2, 2, "0 1 3", "0 0 1", 11, -13, "ERROR!!!\tA(1,2) is not in the lower-triangular-part\r\n"},
    {2, 2, "0 1 3", "0 1 0", 13, -13,
     "\r\nWARNING!!!\ttype 13 is only for complex and symmetric matrix.\r\n\t\tIt will be changed to 12 by "
     "VYR.\r\n"
     "WARNING!!!\tCOLUMN2 is not orderd:(1,0)\r\nERROR!!!\tA(1,2) is not in the lower-triangular-part\r\n"},
    {2, 2, "0 2 4", "0 1 1 0", 2, 0, "WARNING!!!\tCOLUMN2 is not orderd:(1,0)\r\n"},
    {2, 2, "1 1 2", "0 1", 11, -6, ""},
    {3, 3, "0 2 1 3", "0 1 2", 11, -6, ""},
    {2, 2, "0 9 2", "0 1", 11, -6, ""},
    {2, 2, "0 -1 2", "0 1", 2, -6, ""},
    {2, 2, "0 1 2", "0 2", 11, -6, ""},
    {2, 2, "0 1 2", "2 1", 2, -6, ""},
    {2, 2, "0 1 2", "-2 1", 2, -6, "WARNING!!!\tCOLUMN1 is not orderd:(-1,-2)\r\n"},
    {2, 2, "0 1 2", "-2 1", 11, -13,
     "WARNING!!!\tCOLUMN1 is not orderd:(-1,-2)\r\nERROR!!!\tA(-1,1) is not in the "
     "lower-triangular-part\r\n"},
};

std::vector<int> numbers(const char* text) {
    std::istringstream stream(text == nullptr ? "" : text);
    return {std::istream_iterator<int>(stream), {}};
}

} // namespace

TEST(InputCheck, AnswersEveryCaseWithItsStatusAndText) {
    for (const Case& c : CASES)
        for (const double flags : {0.0, 65280.0, 1.0}) { // only the low byte turns messages on
            const std::vector<int> colptr = numbers(c.colptr), rowind = numbers(c.rowind);
            SCOPED_TRACE(std::string(c.colptr == nullptr ? "" : c.colptr) + " " + std::to_string(c.status));
            std::vector<double> param(VYR_PARAM_COUNT, flags);
            int status = 1;
            const std::string text = output_of([&] {
                status =
                    VYR_init_ld(c.n_rows, c.n_cols, c.colptr == nullptr ? nullptr : colptr.data(),
                                c.rowind == nullptr ? nullptr : rowind.data(), nullptr, c.type, param.data());
            });
            EXPECT_TRUE(flags == 1 ? text == c.text : c.type == 13 || text.empty()) << text;
            EXPECT_EQ(status, c.status);
            EXPECT_EQ(info(INFO_STATUS), c.status);
            EXPECT_EQ(info(INFO_ROWS), c.n_rows);
            EXPECT_EQ(info(INFO_COLS), c.n_cols);
            EXPECT_EQ(info(INFO_NNZ), c.n_cols < 0 || colptr.empty() ? 0 : colptr[c.n_cols]);
            EXPECT_EQ(param[VYR_PARAM_STATUS], flags);
        }
}

TEST(InputCheck, MeasuresSymmetryAndCountsMissingDiagonalsAsDefined) {
    Rng rng(test_seed());
    for (int round = 0; round < 300; ++round) {
        const auto n = static_cast<std::int32_t>(1 + rng() % 7);
        const bool lower_only = round % 3 == 0;
        std::vector<std::vector<int>> stored(n, std::vector<int>(n, 0)); // by columns
        Csc a;
        a.n = n;
        for (std::int32_t j = 0; j < n; ++j) {
            for (std::int32_t i = lower_only ? j : 0; i < n; ++i) stored[j][i] = rng() % 2 == 0;
            if (!lower_only || j == 0) stored[j][rng() % n] = 1;
            for (std::int32_t i = 0; i < n; ++i)
                if (stored[j][i]) a.rowind.push_back(i);
            a.colptr.push_back(static_cast<std::int32_t>(a.rowind.size()));
        }
        double n_mirrored = 0, n_diagonal = 0;
        for (std::int32_t j = 0; j < n; ++j) {
            n_diagonal += stored[j][j];
            for (std::int32_t i = 0; i < n; ++i) n_mirrored += stored[j][i] * stored[i][j];
        }
        a.values.assign(a.rowind.size(), 1);
        a = shuffled(a, rng);
        Session session;
        const std::uint64_t held = process_state().memory.current;
        ASSERT_EQ(session.init(a, lower_only ? VYR_TYPE_SPD : VYR_TYPE_BOTH_TRIANGLES), 0);
        const double measure = lower_only ? 1 : 2 * n_mirrored / (a.nnz() - n_diagonal);
        EXPECT_TRUE(info(INFO_SYM) == measure || (std::isnan(measure) && std::isnan(info(INFO_SYM))))
            << round;
        EXPECT_TRUE(info(INFO_SYM_ORIGIN) == measure || std::isnan(measure)) << round;
        EXPECT_EQ(info(INFO_NO_DIAGONAL), n - n_diagonal);
        EXPECT_EQ(info(INFO_NO_DIAGONAL_COPY), n - n_diagonal);
        EXPECT_EQ(process_state().memory.current, held);
    }
}

TEST(InputCheck, TheNumericStepScansTheValuesAndRecordsTheirExtremes) {
    constexpr double LEAST = 2 * DBL_MIN, MOST = DBL_MAX / 8, INF = HUGE_VAL;
    struct Row {
        double values[3]; ///< of the lower triangle [a; b c]
        double largest, smallest;
        const char* text;
    };
    const std::string unsafe = "WARNING!!!\tVALUE is not safe:";
    const Row rows[] = {{{-4, 0.5, 0}, 4, 0.5, ""},
                        {{0, -0.0, 0}, 0, DBL_MAX, ""},
                        {{LEAST, MOST, -LEAST}, MOST, LEAST, ""},
                        {{1e-310, 0, -3e307}, 3e307, 1e-310, "(1,1,1e-310)\r\n(2,2,-3e+307)\r\n"},
                        {{INF, 1, 1}, INF, 1, "(1,1,inf)\r\n"}};
    Csc a = spd(2, {{1, 0}});
    for (const Row& row : rows) {
        Session session; // without a handle the step ends after the summary
        session.param[VYR_PARAM_FLAGS] = 1;
        EXPECT_EQ(session.init(a), 0);
        a.values.assign(row.values, row.values + 3);
        const std::string text = output_of([&] { EXPECT_EQ(session.numeric(a), VYR_ERR_HANDLE); });
        std::string expected = row.text;
        for (std::size_t at = 0; (at = expected.find('(', at)) != std::string::npos; at += unsafe.size() + 1)
            expected.insert(at, unsafe);
        EXPECT_EQ(text.find(expected + "\t<I_LEN="), 0u) << text;
        EXPECT_NE(text.find("\r\n\tERROR at NUMERIC FACTORIZATION. ERROR CODE:-9\r\n\r\n\tFor help"),
                  std::string::npos);
        EXPECT_EQ(info(INFO_VALUE_MAX), row.largest);
        EXPECT_EQ(info(INFO_DIAGONAL_MIN), row.largest);
        EXPECT_EQ(info(INFO_VALUE_MIN), row.smallest);
    }
    for (const double flags : {0.0, 1.0}) {
        Session session;
        session.param[VYR_PARAM_FLAGS] = flags;
        EXPECT_EQ(session.init(a), 0);
        a.values = {1, NAN, NAN};
        EXPECT_EQ(output_of([&] { EXPECT_EQ(session.numeric(a), VYR_ERR_NAN); }),
                  flags == 0 ? "" : "ERROR!!!\tNAN VALUE:(1,2,nan)\r\n");
        EXPECT_EQ(info(INFO_STATUS), VYR_ERR_NAN);
        EXPECT_EQ(info(INFO_T_NUM) + info(INFO_PEAK), 0); // it ends there
    }
}
