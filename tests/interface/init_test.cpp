// What VYR_init_ld checks and what it and VYR_param_ld leave in the numbered slots.
#include "support/capture.h"
#include "support/session.h"

#include <array>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <map>
#include <numeric>
#include <tuple>

using namespace vyr;
using namespace vyr::test;

namespace {

const Csc SMALL = spd(3, band_edges(3, 1));
using Slots = std::map<int, double>;

/// Every slot of mf_ctrl: those of `more` hold its value, others the default of the matrix type, or 0.
void expect_controls(int type, Slots more = {}) {
    more.merge(Slots{
        {11, type}, {12, 2}, {13, 4}, {14, 1}, {15, 3}, {19, 100}, {21, 1}, {23, 1}, {33, 1}, {36, 16}});
    more.merge(Slots{{31, type == 2 ? 0.2 : 0.01}, {32, type == 2 ? 0.9 : 0.1}});
    for (int slot = 0; slot < CTRL_COUNT; ++slot)
        EXPECT_EQ(process_state().mf_ctrl[slot], more[slot]) << slot;
}

struct Case {
    int n_rows, n_cols;
    std::vector<int> colptr, rowind; ///< empty: null
    int type, status;
    const char* text;
};

const char* const CHANGED = "\r\nWARNING!!!\ttype 13 is only for complex and symmetric matrix.\r\n\t\tIt "
                            "will be changed to 12 by VYR.\r\n";
const Case CASES[] = {
    {2, 2, {0, 2, 3}, {0, 1, 1}, 11, 0, ""},
    {2, 2, {}, {0}, 11, -1, ""},
    {2, 2, {0, 1, 2}, {}, 11, -1, ""},
    {0, 0, {5}, {0}, 11, -2, ""}, // the count is recorded all the same
    {-1, 1, {0, 1}, {0}, 11, -2, ""},
    {2, 2, {0, 0, 0}, {0}, 11, -2, ""},
    {3, 2, {1, 1, 2}, {0, 1}, 11, -7, ""},
    {3, 3, {0, 1, 1, 2}, {0, 2}, 2, -3, "ERROR!!!\tEMPTY COLUMN:2\r\n"},
    {3, 3, {0, 2, 3, 4}, {2, 0, 1, 2}, 11, 0, "WARNING!!!\tCOLUMN1 is not orderd:(2,0)\r\n"},
    {3, 3, {0, 1, 4, 5}, {0, 1, 2, 2, 2}, 11, -4, "WARNING!!!\tCOLUMN2 dupliacate entry:(2,2)\r\n"},
    {2, 2, {0, 1, 3}, {0, 0, 1}, 11, -13, "ERROR!!!\tA(1,2) is not in the lower-triangular-part\r\n"},
    {2, 2, {0, 1, 2}, {0, 1}, 13, 0, CHANGED},
    {3, 3, {0, 2, 1, 3}, {0, 1, 2}, 11, -6, ""},
    {2, 2, {0, -1, 2}, {0, 1}, 2, -6, ""},
    {2, 2, {0, 1, 2}, {0, 2}, 11, -6, ""},
    {2, 2, {0, 1, 2}, {-2, 1}, 2, -6, "WARNING!!!\tCOLUMN1 is not orderd:(-1,-2)\r\n"}};

const int* data(const std::vector<int>& array) {
    return array.empty() ? nullptr : array.data();
}

} // namespace

TEST(Init, AnswersEveryStructureWithItsStatusAndText) {
    for (const Case& c : CASES)
        for (const double flags : {0.0, 65280.0, 1.0}) { // only the low byte turns messages on
            SCOPED_TRACE(&c - CASES);
            std::vector<double> param(VYR_PARAM_COUNT, flags);
            int status = 1;
            const std::string text = output_of([&] {
                status = VYR_init_ld(c.n_rows, c.n_cols, data(c.colptr), data(c.rowind), nullptr, c.type,
                                     param.data());
            });
            EXPECT_TRUE(flags == 1 ? text == c.text : c.type == 13 || text.empty()) << text;
            EXPECT_TRUE(status == c.status && info(INFO_STATUS) == c.status) << status;
            EXPECT_TRUE(info(INFO_ROWS) == c.n_rows && info(INFO_COLS) == c.n_cols &&
                        param[VYR_PARAM_STATUS] == flags);
            EXPECT_EQ(info(INFO_NNZ), c.colptr.empty() ? 0 : c.colptr[c.n_cols]);
        }
}

TEST(Init, MeasuresSymmetryAndCountsMissingDiagonalsAsDefined) {
    Rng rng(test_seed());
    for (int round = 0; round < 300; ++round) {
        const bool lower_only = round % 3 == 0;
        Csc a;
        a.n = static_cast<std::int32_t>(1 + rng() % 7);
        std::vector<std::vector<int>> stored(a.n, std::vector<int>(a.n, 0)); // by columns
        double n_mirrored = 0, n_diagonal = 0;
        for (std::int32_t j = 0; j < a.n; ++j) {
            const auto sure = static_cast<std::int32_t>(rng() % a.n);
            for (std::int32_t i = lower_only ? j : 0; i < a.n; ++i)
                if (i == (lower_only ? a.n - 1 : sure) || rng() % 2 == 0)
                    stored[j][i] = 1, a.rowind.push_back(i);
            for (std::int32_t i = 0; i < j; ++i) n_mirrored += 2 * stored[j][i] * stored[i][j];
            n_mirrored += stored[j][j], n_diagonal += stored[j][j];
            a.colptr.push_back(static_cast<std::int32_t>(a.rowind.size()));
        }
        a.values.assign(a.rowind.size(), 1);
        a = shuffled(a, rng);
        Session session;
        ASSERT_EQ(session.init(a, lower_only ? VYR_TYPE_SPD : VYR_TYPE_BOTH_TRIANGLES), 0);
        const double measure = lower_only ? 1 : 2 * n_mirrored / (a.nnz() - n_diagonal);
        EXPECT_TRUE(std::isnan(measure) || (info(INFO_SYM) == measure && info(INFO_SYM_ORIGIN) == measure));
        for (const InfoSlot slot : {INFO_NO_DIAGONAL, INFO_NO_DIAGONAL_COPY})
            EXPECT_EQ(info(slot), a.n - n_diagonal);
    }
}

TEST(Init, WritesEveryDefaultZeroesTheRestAndRestartsTheMemoryCounts) {
    ProcessState& state = process_state();
    for (const int type : {11, 12, 10, 14, 2, 99}) {
        std::fill_n(state.mf_ctrl, CTRL_COUNT, 77.0);
        std::fill_n(state.mf_info, INFO_COUNT, 77.0);
        state.memory.alloc_count = state.memory.free_count = 5;
        state.memory.peak = 1e9;
        state.system = {};
        state.n_p2 = 3; // is never reset
        Session session;
        EXPECT_EQ(session.init(type == 11 || type == 12 ? SMALL : both_triangles(SMALL), type),
                  type == 99 ? VYR_ERR_TYPE : 0);
        expect_controls(type);
        for (int slot = 6; slot < INFO_COUNT; ++slot) EXPECT_EQ(state.mf_info[slot], 0.0) << slot;
        EXPECT_TRUE(state.param == session.param.data() && state.n_p2 == 3);
        EXPECT_TRUE(state.value_min == 2 * DBL_MIN && state.value_max == DBL_MAX / 8 &&
                    state.system.page_size >= 4096);
        EXPECT_TRUE(state.memory.alloc_count == state.memory.free_count && state.memory.peak < 1e9);
    }
}

TEST(Init, TheCallersParametersReachTheirSlotsAndNoOthers) {
    Session session;
    const std::pair<double, double> core_modes[] = {{0, 0}, {3, 0},  {4.9, 4}, {5, 5},
                                                    {6, 0}, {-4, 0}, {NAN, 0}, {1e300, 0}};
    for (const auto& [given, taken] : core_modes) {
        session.param.assign(VYR_PARAM_COUNT, 99.0); // elements that are not read
        session.param[5] = 0x30001, session.param[20] = given;
        session.param[23] = 5, session.param[24] = 1e9, session.param[25] = 1;
        EXPECT_EQ(session.init(SMALL), 0);
        expect_controls(11, {{5, 0x30001}, {20, taken}, {40, 5}, {41, 1e9}, {42, 1}});
    }
    EXPECT_EQ(VYR_init_ld(3, 3, SMALL.colptr.data(), SMALL.rowind.data(), nullptr, 11, nullptr), 0);
    ctrl(CTRL_REFINEMENT_LIMIT) = 7;
    EXPECT_EQ(VYR_param_ld(nullptr), 0);
    expect_controls(11, {{23, 7}});
    EXPECT_EQ(VYR_param_ld(std::vector<double>(VYR_PARAM_COUNT, 1.0).data()), 0);
    expect_controls(11, {{40, 1}, {41, 1}, {42, 1}});
    EXPECT_EQ(process_state().param, nullptr);

    ExportFaults faults;
    faults.os_major = 3;
    EXPECT_EQ(output_of([&] { EXPECT_EQ(session.init(SMALL), -500); }),
              "VYR_spd 2.2 must run on windows and its MAJOR VERSION NUMBER must >= 4 ");
    faults.os_major = 4;
    EXPECT_EQ(session.init(SMALL), 0);
}

TEST(Values, TheNumericStepScansTheValuesAndRecordsTheirExtremes) {
    constexpr double LEAST = 2 * DBL_MIN, MOST = DBL_MAX / 8, INF = HUGE_VAL;
    struct Row {
        double values[3]; ///< of the lower triangle [a; b c]
        double largest, smallest;
        const char* text;
        int status = VYR_ERR_HANDLE; ///< without a handle the step ends after the summary
    };
    const Row rows[] = {{{-4, 0.5, 0}, 4, 0.5, ""},
                        {{0, 0, 0}, 0, DBL_MAX, ""},
                        {{LEAST, MOST, -LEAST}, MOST, LEAST, ""},
                        {{1e-310, 0, 1}, 1, 1e-310, "WARNING!!!\tVALUE is not safe:(1,1,1e-310)\r\n"},
                        {{INF, 1, 1}, INF, 1, "WARNING!!!\tVALUE is not safe:(1,1,inf)\r\n"},
                        {{1, 0, -3e307}, 3e307, 1, "WARNING!!!\tVALUE is not safe:(2,2,-3e+307)\r\n"},
                        {{1, NAN, NAN}, 0, 0, "ERROR!!!\tNAN VALUE:(1,2,nan)\r\n", VYR_ERR_NAN}};
    Csc a = spd(2, {{1, 0}});
    for (const Row& row : rows) {
        Session session;
        session.param[VYR_PARAM_FLAGS] = 1;
        EXPECT_EQ(session.init(a), 0);
        a.values.assign(row.values, row.values + 3);
        const std::string text = output_of([&] { EXPECT_EQ(session.numeric(a), row.status); });
        EXPECT_EQ(info(INFO_STATUS), row.status);
        EXPECT_TRUE(text.starts_with(row.text)) << text;
        if (row.status == VYR_ERR_NAN) break;
        EXPECT_TRUE(text.find("\t<I_LEN=") == std::strlen(row.text)) << text;
        EXPECT_LT(text.find("\r\n\tERROR at NUMERIC FACTORIZATION. ERROR CODE:-9\r\n\r\n\tFor help"),
                  text.size());
        for (const InfoSlot slot : {INFO_VALUE_MAX, INFO_DIAGONAL_MIN}) EXPECT_EQ(info(slot), row.largest);
        EXPECT_EQ(info(INFO_VALUE_MIN), row.smallest);
    }
}

TEST(Slots, EveryCallReadsAllMembersFromThemAndLeavesAllButTheStatusThere) {
    ProcessState& state = process_state();
    for (int slot = 0; slot < CTRL_COUNT; ++slot) state.mf_ctrl[slot] = 100 + slot;
    for (int slot = 0; slot < INFO_COUNT; ++slot) state.mf_info[slot] = slot + 0.25;
    ctrl(CTRL_FLAGS) = 1, ctrl(CTRL_BLOCKED) = 1.9;
    state.n_p2 = 7;
    mf_dump_ld(nullptr, "title"); // writes nothing
    const std::string text = output_of([] { mf_dump_ld(stdout, "load case 7"); });
    EXPECT_NE(text.find("<TITLE>load case 7</TITLE>"), std::string::npos);
    for (const int slot : {101, 111, 112, 113, 114, 136, 132, 131, 120})
        EXPECT_NE(text.find(std::to_string(slot) + "</"), std::string::npos) << slot;
    // The slot of every member of Statistics but the estimate and the pairs, which have slots elsewhere.
    const int slots[] = {0,  1,  2,  3,  4,  5,  35, 37, 52, 53, 21, 22, 38, 20, 88, 28, 13, 14, 15, 16, -1,
                         41, 45, 42, 57, 43, 51, 68, 69, 70, 7,  -1, 64, 65, 75, 73, 87, 6,  66, 85, 86};
    constexpr std::size_t N = std::size(slots);
    {
        Call call;
        const auto& [statistics, settings] = std::tie(call.context.statistics, call.context.settings);
        const auto members = std::bit_cast<std::array<double, N>>(statistics);
        for (std::size_t i = 0; i < N; ++i)
            EXPECT_EQ(members[i], slots[i] >= 0 ? slots[i] + 0.25 : i == 20 ? 130 : 7) << i;
        EXPECT_TRUE(settings.reserve_bytes == 130 && settings.pivot_min == 140 &&
                    settings.growth_limit == 141);
        EXPECT_TRUE(settings.scaling == 117 && settings.refinement_limit == 123);
        EXPECT_TRUE(settings.blocked && !settings.check_values && call.context.log.messages);
        std::array<double, N> written;
        std::iota(written.begin(), written.end(), 1000.0);
        statistics = std::bit_cast<Statistics>(written);
    }
    EXPECT_TRUE(ctrl(CTRL_MEMORY_ESTIMATE) == 1020 && state.n_p2 == 1031);
    std::array<double, INFO_COUNT> expected;
    std::iota(expected.begin(), expected.end(), 0.25);
    for (std::size_t i = 1; i < N; ++i)
        if (slots[i] >= 0) expected[slots[i]] = 1000.0 + static_cast<double>(i);
    expected[INFO_NO_DIAGONAL] = expected[INFO_NO_DIAGONAL_COPY];
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), state.mf_info));
    ctrl(CTRL_BLOCKED) = 2, ctrl(CTRL_FLAGS) = 0x20100;
    const Call call;
    EXPECT_TRUE(!call.context.settings.blocked && call.context.settings.check_values &&
                !call.context.log.messages);
}
