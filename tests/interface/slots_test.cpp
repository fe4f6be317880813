// The numbered slots: what VYR_init_ld and VYR_param_ld leave in them, and which member each stands for.
#include "support/capture.h"
#include "support/session.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cfloat>
#include <cmath>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

using namespace vyr;
using namespace vyr::test;

namespace {

using Slots = std::map<int, double>;

/// Every slot of mf_ctrl: the listed ones hold their value, all others 0.
void expect_controls(Slots expected) {
    for (int slot = 0; slot < CTRL_COUNT; ++slot)
        EXPECT_EQ(process_state().mf_ctrl[slot], expected[slot]) << slot;
}

Slots defaults(double type, const Slots& more = {}) {
    Slots slots = {{11, type},
                   {12, 2},
                   {13, 4},
                   {14, 1},
                   {15, 3},
                   {19, 100},
                   {21, 1},
                   {23, 1},
                   {31, type == 2 ? 0.2 : 0.01},
                   {32, type == 2 ? 0.9 : 0.1},
                   {33, 1},
                   {36, 16}};
    slots.insert(more.begin(), more.end());
    return slots;
}

const Csc SMALL = spd(3, band_edges(3, 1));

} // namespace

TEST(Slots, InitWritesEveryDefaultZeroesTheRestAndRestartsTheMemoryCounts) {
    ProcessState& state = process_state();
    Session session;
    for (const int type : {11, 12, 10, 14, 2, 99}) {
        std::fill_n(state.mf_ctrl, CTRL_COUNT, 77.0);
        std::fill_n(state.mf_info, INFO_COUNT, 77.0);
        state.memory.alloc_count = state.memory.free_count = 5;
        state.memory.peak = 1e9;
        state.system = {};
        const Csc a = type == 11 || type == 12 ? SMALL : both_triangles(SMALL);
        EXPECT_EQ(session.init(a, type), 0);
        expect_controls(defaults(type));
        for (int slot = 6; slot < INFO_COUNT; ++slot) EXPECT_EQ(state.mf_info[slot], 0.0) << slot;
        EXPECT_EQ(info(INFO_STATUS), 0);
        EXPECT_EQ(info(INFO_ROWS) + info(INFO_COLS), 6);
        EXPECT_EQ(info(INFO_NNZ), a.nnz());
        EXPECT_EQ(state.param, session.param.data());
        EXPECT_EQ(state.value_min, 2 * DBL_MIN);
        EXPECT_EQ(state.value_max, DBL_MAX / 8);
        EXPECT_GE(state.system.page_size, 4096u);
        EXPECT_EQ(state.memory.alloc_count, state.memory.free_count);
        EXPECT_LT(state.memory.peak, 1e9);
    }
}

TEST(Slots, TheCallersParametersReachTheirSlotsAndNoOthers) {
    Session session;
    const std::pair<double, double> core_modes[] = {{0, 0}, {1, 0}, {3, 0},  {4, 4},   {4.9, 4},
                                                    {5, 5}, {6, 0}, {-4, 0}, {NAN, 0}, {1e300, 0}};
    for (const auto& [given, taken] : core_modes) {
        session.param.assign(VYR_PARAM_COUNT, 99.0); // elements that are not read
        session.param[5] = 0x30001, session.param[20] = given;
        session.param[23] = 5, session.param[24] = 1e9, session.param[25] = 1;
        EXPECT_EQ(session.init(SMALL), 0);
        expect_controls(defaults(11, {{5, 0x30001}, {20, taken}, {40, 5}, {41, 1e9}, {42, 1}}));
        for (const int element : {0, 1, 19, 21, 22}) EXPECT_EQ(session.param[element], 99);
    }
    session.param.assign(VYR_PARAM_COUNT, 0.0);
    session.init(SMALL);
    std::vector<double> later(VYR_PARAM_COUNT, 3.0);
    later[23] = 1e-3, later[24] = 4e6, later[25] = 1;
    for (const double* param :
         {static_cast<const double*>(nullptr), static_cast<const double*>(later.data())}) {
        ctrl(CTRL_REFINEMENT_LIMIT) = 7;
        EXPECT_EQ(VYR_param_ld(param), 0);
        Slots expected = defaults(11);
        if (param != nullptr) expected.insert({{40, 1e-3}, {41, 4e6}, {42, 1}});
        expected[23] = param != nullptr ? 1 : 7;
        expect_controls(expected);
    }
    EXPECT_EQ(process_state().param, session.param.data());
    EXPECT_EQ(VYR_init_ld(3, 3, SMALL.colptr.data(), SMALL.rowind.data(), nullptr, 11, nullptr), 0);
    expect_controls(defaults(11));
}

TEST(Slots, InitRefusesAnOldOperatingSystemWhateverTheVerbosity) {
    ExportFaults faults;
    Session session;
    int status = 1;
    const std::pair<unsigned, int> versions[] = {{3, -500}, {4, 0}};
    for (const auto& [os_major, expected] : versions) {
        faults.os_major = os_major;
        EXPECT_EQ(output_of([&] { status = session.init(SMALL); }),
                  expected == 0 ? ""
                                : "VYR_spd 2.2 must run on windows and its MAJOR VERSION NUMBER must >= 4 ");
        EXPECT_EQ(status, expected);
        EXPECT_EQ(info(INFO_STATUS), expected);
    }
}

TEST(Slots, EveryCallReadsAllMembersFromThemAndLeavesAllButTheStatusThere) {
    TempDirectory directory;
    ProcessState& state = process_state();
    for (int slot = 0; slot < CTRL_COUNT; ++slot) state.mf_ctrl[slot] = 100 + slot;
    for (int slot = 0; slot < INFO_COUNT; ++slot) state.mf_info[slot] = slot + 0.25;
    ctrl(CTRL_FLAGS) = 1, ctrl(CTRL_BLOCKED) = 1.9;
    state.n_p2 = 7;
    std::FILE* file = std::fopen("body", "w");
    mf_dump_ld(file, "load case 7");
    mf_dump_ld(nullptr, "title");
    std::fclose(file);
    std::ifstream body("body");
    const std::string text{std::istreambuf_iterator<char>(body), {}};
    EXPECT_NE(text.find("<TITLE>load case 7</TITLE>"), std::string::npos);
    std::istringstream tags(
        "STATUS 0 ROW 1 COL 2 NNZ 3 SYM_ORIGIN 4 SYM 5 MAX 52 MIN 53 NZLU_SYM 28 NZLU 45 MEM_SYM 13 MEM 42 "
        "PEAK_SYM 14 PEAK 57 maxLEV 38 DBs 20 NODEs 21 MAX-D 22 SOLID 88 T_SYMFAC 16 ERR 66 COND 6 GROWTH 7 "
        "FAIL_P 51 T_SYM 15 T_NUM 65 T_SOL 85 T_CON 86 T_ASSEMB 75 T_X 87 FLOPS 43 ARCH 101 stra 111 "
        "straS 112 straP 113 straF 114 BLK 136 rTVS 132 RELAX 131 CORE 120");
    std::string tag;
    for (int slot = 0; tags >> tag >> slot;)
        EXPECT_NE(text.find("<" + tag + ">" + std::to_string(slot) + (slot < 100 ? ".25<" : "<")),
                  std::string::npos)
            << tag;
    {
        Call call;
        const Statistics& s = call.context.statistics;
        const Settings& settings = call.context.settings;
        EXPECT_EQ((std::array{s.no_diagonal, s.zero_diagonal, s.n_factorizations, s.numeric_start,
                              s.failed_column, s.diagonal_min, s.diagonal_max, s.t_file_write}),
                  (std::array{37.25, 35.25, 41.25, 64.25, 68.25, 69.25, 70.25, 73.25}));
        EXPECT_EQ((std::array{s.memory_estimate, settings.reserve_bytes, settings.pivot_min,
                              settings.growth_limit, s.n_two_by_two}),
                  (std::array{130.0, 130.0, 140.0, 141.0, 7.0}));
        EXPECT_EQ((std::array{settings.scaling, settings.refinement_limit}), (std::array{117, 123}));
        EXPECT_TRUE(settings.blocked && !settings.check_values && call.context.log.messages);
        std::array<double, sizeof(Statistics) / sizeof(double)> members;
        for (std::size_t i = 0; i < members.size(); ++i) members[i] = 1000.0 + static_cast<double>(i);
        call.context.statistics = std::bit_cast<Statistics>(members);
    }
    std::set<double> written = {ctrl(CTRL_MEMORY_ESTIMATE), state.n_p2, 1000}; // 1000: the status
    for (int slot = 0; slot < INFO_COUNT; ++slot)
        if (state.mf_info[slot] >= 1000)
            written.insert(state.mf_info[slot]);
        else
            EXPECT_EQ(state.mf_info[slot], slot + 0.25);
    EXPECT_EQ(written.size(), sizeof(Statistics) / sizeof(double));
    EXPECT_EQ(info(INFO_STATUS), 0.25);
    EXPECT_EQ(info(INFO_NO_DIAGONAL), info(INFO_NO_DIAGONAL_COPY));
    ctrl(CTRL_BLOCKED) = 2, ctrl(CTRL_FLAGS) = 0x20100;
    EXPECT_TRUE(!Call().context.settings.blocked && Call().context.settings.check_values);
    EXPECT_FALSE(Call().context.log.messages);
}
