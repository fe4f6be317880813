// Settings, statistics and platform facts as VYR_init_ld and VYR_param_ld leave them.
#include "memory/accounted_alloc.h"
#include "support/capture.h"
#include "support/session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <limits>
#include <map>

using namespace vyr;
using namespace vyr::test;

namespace {

/// Every slot of mf_ctrl: the listed ones hold their value, all others 0.
void expect_controls(const std::map<int, double>& expected) {
    for (int slot = 0; slot < CTRL_COUNT; ++slot) {
        const auto found = expected.find(slot);
        EXPECT_EQ(mf_ctrl[slot], found == expected.end() ? 0.0 : found->second) << "slot " << slot;
    }
}

std::map<int, double> default_controls(double type, double relax, double threshold) {
    return {{11, type}, {12, 2}, {13, 4},     {14, 1},         {15, 3}, {19, 100},
            {21, 1},    {23, 1}, {31, relax}, {32, threshold}, {33, 1}, {36, 16}};
}

const Csc& small() {
    static const Csc a = spd(3, band_edges(3, 1));
    return a;
}

} // namespace

TEST(Init, WritesEveryDefaultAndZeroesTheRest) {
    Session session;
    for (const int type : {11, 12, 10, 14, 2}) {
        std::fill_n(mf_ctrl, CTRL_COUNT, 77.0);
        std::fill_n(mf_info, INFO_COUNT, 77.0);
        const Csc a = type == 11 || type == 12 ? small() : both_triangles(small());
        EXPECT_EQ(session.init(a, type), 0);
        expect_controls(default_controls(type, type == 2 ? 0.2 : 0.01, type == 2 ? 0.9 : 0.1));
        for (int slot = 0; slot < INFO_COUNT; ++slot) {
            if (slot >= INFO_ROWS && slot <= INFO_SYM) continue;
            EXPECT_EQ(mf_info[slot], 0.0) << "slot " << slot;
        }
        EXPECT_EQ(mf_info[INFO_ROWS], 3);
        EXPECT_EQ(mf_info[INFO_COLS], 3);
        EXPECT_EQ(mf_info[INFO_NNZ], a.nnz());
        EXPECT_EQ(mf_param, session.param.data());
    }
    EXPECT_EQ(mf_value_min, 2 * DBL_MIN);
    EXPECT_EQ(mf_value_max, DBL_MAX / 8);
}

TEST(Init, CopiesTheCallersParameters) {
    Session session;
    session.param = std::vector<double>(VYR_PARAM_COUNT, 99.0); // elements that are not read
    session.param[5] = 0x30000;
    session.param[20] = 1;
    session.param[23] = 5;
    session.param[24] = 1e9;
    session.param[25] = 1;
    const std::vector<double> before = session.param;
    EXPECT_EQ(session.init(small()), 0);
    auto expected = default_controls(11, 0.01, 0.1);
    expected.insert({{5, 0x30000}, {40, 5}, {41, 1e9}, {42, 1}});
    expect_controls(expected);
    EXPECT_EQ(session.param, before);

    const std::pair<double, double> core_modes[] = {
        {0, 0},    {1, 0},   {3, 0},
        {4, 4},    {4.9, 4}, {5, 5},
        {6, 0},    {-4, 0},  {std::numeric_limits<double>::quiet_NaN(), 0},
        {1e300, 0}};
    for (auto [given, taken] : core_modes) {
        session.param[20] = given;
        session.init(small());
        EXPECT_EQ(ctrl_int(CTRL_CORE_MODE), taken) << given;
    }
}

TEST(Init, ANullParameterArrayReadsAsZeros) {
    const Csc& a = small();
    EXPECT_EQ(VYR_init_ld(3, 3, a.colptr.data(), a.rowind.data(), nullptr, 11, nullptr), 0);
    expect_controls(default_controls(11, 0.01, 0.1));
    TempDirectory directory; // the failing analysis writes a report
    const int no_column[] = {0, 0};
    EXPECT_EQ(VYR_symbol_ld(nullptr, 0, no_column, no_column), nullptr); // nowhere to write the status
    EXPECT_EQ(info_status(), VYR_ERR_EMPTY_MATRIX);
}

TEST(Init, ParamChangesPivotSettingsAndRefinementOnly) {
    Session session;
    session.param[5] = 1;
    session.init(small());
    mf_ctrl[CTRL_REFINEMENT_LIMIT] = 7;
    std::vector<double> later(VYR_PARAM_COUNT, 3.0);
    later[23] = 1e-3, later[24] = 4e6, later[25] = 1;
    EXPECT_EQ(VYR_param_ld(later.data()), 0);
    auto expected = default_controls(11, 0.01, 0.1);
    expected.insert({{5, 1}, {40, 1e-3}, {41, 4e6}, {42, 1}});
    expect_controls(expected);
    EXPECT_EQ(mf_param, session.param.data());
    mf_ctrl[CTRL_REFINEMENT_LIMIT] = 7;
    EXPECT_EQ(VYR_param_ld(nullptr), 0);
    expected[23] = 7;
    expect_controls(expected);
}

TEST(Init, Type13BecomesType12WithAWarningWhateverTheVerbosity) {
    Session session;
    int status = 1;
    EXPECT_EQ(output_of([&] { status = session.init(small(), 13); }),
              "\r\nWARNING!!!\ttype 13 is only for complex and symmetric matrix.\r\n"
              "\t\tIt will be changed to 12 by VYR.\r\n");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(ctrl_int(CTRL_TYPE), 12);
}

TEST(Init, RefusesAnOldOperatingSystem) {
    HookGuard hooks;
    mf_test_hooks.os_major = 3;
    Session session;
    int status = 1;
    EXPECT_EQ(output_of([&] { status = session.init(small()); }),
              "VYR_spd 2.2 must run on windows and its MAJOR VERSION NUMBER must >= 4 ");
    EXPECT_EQ(status, VYR_ERR_PLATFORM);
    EXPECT_EQ(info_status(), VYR_ERR_PLATFORM);
    mf_test_hooks.os_major = 4;
    EXPECT_EQ(session.init(small()), 0);
}

TEST(Init, GathersPlatformFactsAndRestartsTheMemoryStatistics) {
    TempDirectory directory;
    void* held = mf_malloc(1000);
    mf_free(mf_malloc(1 << 20));
    Session session;
    EXPECT_EQ(session.init(small()), 0);
    EXPECT_EQ(std::filesystem::canonical(mf_system.current_directory),
              std::filesystem::canonical(directory.path()));
    EXPECT_GE(mf_system.page_size, 4096u);
    EXPECT_GE(mf_system.n_processors, 1u);
    EXPECT_GE(mf_system.os_major, 4u);
    EXPECT_EQ(mf_mem_peak(), static_cast<double>(mem_current.load()));
    EXPECT_LT(mf_mem_peak(), 1 << 20);
    EXPECT_EQ(mem_snapshot, 0u);
    EXPECT_EQ(alloc_count - free_count, 0);
    mf_free(held);
}
