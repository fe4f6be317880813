// The scan of the values at the start of the numeric step, and its messages.
#include "support/capture.h"
#include "support/session.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>

using namespace vyr;
using namespace vyr::test;

namespace {

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

/// A 2 x 2 lower triangle [a; b c]. Without a handle the numeric step goes as far as the scan.
struct Scan {
    Session session;
    int status = 1;
    std::string text;

    explicit Scan(std::vector<double> values, double flags = 1) {
        Csc a = spd(2, {{1, 0}});
        a.values = std::move(values);
        session.param[VYR_PARAM_FLAGS] = flags;
        EXPECT_EQ(session.init(a), 0);
        text = output_of([&] { status = session.numeric(a); });
    }
};

} // namespace

TEST(ValueScan, ANanEndsTheStepAndNamesItsPlace) {
    Scan scan({1.0, std::numeric_limits<double>::quiet_NaN(), 1.0});
    EXPECT_EQ(scan.status, VYR_ERR_NAN);
    EXPECT_EQ(info_status(), VYR_ERR_NAN);
    EXPECT_EQ(scan.text, "ERROR!!!\tNAN VALUE:(1,2,nan)\r\n");
    Scan silent({std::nan(""), 1, 1}, 0);
    EXPECT_EQ(silent.status, VYR_ERR_NAN);
    EXPECT_EQ(silent.text, "");
}

TEST(ValueScan, WarnsOfValuesOutsideTheSafeRangeButNotOfZeros) {
    Scan scan({1e-310, 0.0, -3e307});
    EXPECT_EQ(scan.status, VYR_ERR_HANDLE);
    EXPECT_TRUE(contains(scan.text, "WARNING!!!\tVALUE is not safe:(1,1,1e-310)\r\n"
                                    "WARNING!!!\tVALUE is not safe:(2,2,-3e+307)\r\n"));
    EXPECT_TRUE(contains(scan.text, "\r\n\tERROR at NUMERIC FACTORIZATION. ERROR CODE:-9\r\n"));
    EXPECT_TRUE(contains(scan.text, "support@vyr.example"));
    EXPECT_EQ(mf_info[INFO_VALUE_MAX], 3e307);
    EXPECT_EQ(mf_info[INFO_VALUE_MIN], 1e-310);

    Scan edges({2 * DBL_MIN, DBL_MAX / 8, -2 * DBL_MIN});
    EXPECT_FALSE(contains(edges.text, "not safe"));
    Scan infinite({std::numeric_limits<double>::infinity(), 1, 1});
    EXPECT_TRUE(contains(infinite.text, "VALUE is not safe:(1,1,inf)"));
}

TEST(ValueScan, RecordsTheExtremesAndDblMaxWhenAllAreZero) {
    Scan scan({-4.0, 0.5, 0.0}, 0);
    EXPECT_EQ(scan.text, "");
    EXPECT_EQ(mf_info[INFO_VALUE_MAX], 4.0);
    EXPECT_EQ(mf_info[INFO_DIAGONAL_MIN], 4.0);
    EXPECT_EQ(mf_info[INFO_VALUE_MIN], 0.5);
    Scan zeros({0.0, -0.0, 0.0});
    EXPECT_FALSE(contains(zeros.text, "not safe"));
    EXPECT_EQ(mf_info[INFO_VALUE_MAX], 0.0);
    EXPECT_EQ(mf_info[INFO_VALUE_MIN], DBL_MAX);
}
