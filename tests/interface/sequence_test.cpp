// The exported functions in and out of their order.
#include "support/capture.h"
#include "support/session.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <fstream>

using namespace vyr;
using namespace vyr::test;

namespace {

constexpr double BAR = 1e-14;
const char* const REPORT = "VYR_spd 2.2.info";
const Csc GRID = spd(99, grid_edges(11, 9));

/// A matrix with another one's pattern, every value multiplied.
Csc times(Csc a, double factor) {
    for (double& value : a.values) value *= factor;
    return a;
}

/// Null for an empty array.
const int* data(const std::vector<int>& array) {
    return array.empty() ? nullptr : array.data();
}

std::string contents(const char* name) {
    std::ifstream file(name);
    return {std::istreambuf_iterator<char>(file), {}};
}

double held_mb() {
    return static_cast<double>(process_state().memory.current.load()) / 1e6;
}

} // namespace

TEST(Sequence, TheAnalysisSilencesMessagesPutsPositiveDefiniteInForceAndRecordsWhatItMade) {
    for (const double limit : {1, 2, 9}) {
        Session session;
        session.param[VYR_PARAM_FLAGS] = VYR_FLAG_REPORT_AT_CLEAR | 1;
        ASSERT_EQ(session.init(GRID, VYR_TYPE_INDEFINITE), 0);
        ctrl(CTRL_REFINEMENT_LIMIT) = limit;
        session.param[VYR_PARAM_STATUS] = 55;
        EXPECT_EQ(output_of([&] { EXPECT_TRUE(session.symbol(GRID)); }), "");
        EXPECT_EQ(session.param[VYR_PARAM_STATUS], 55);
        EXPECT_EQ(ctrl(CTRL_TYPE), TYPE_SPD);
        EXPECT_EQ(ctrl(CTRL_FLAGS), 0);
        EXPECT_EQ(ctrl(CTRL_REFINEMENT_LIMIT), std::min(limit, 2.0));
        EXPECT_EQ(info(INFO_MEM_SYM), held_mb());
        EXPECT_EQ(info(INFO_PEAK_SYM), process_state().memory.peak / 1e6);
        EXPECT_EQ(info(INFO_NZLU_SYM), static_cast<double>(session.handle->analysis.factor_entries));
        EXPECT_EQ(info(INFO_NODES), session.handle->analysis.n_snodes);
    }
}

TEST(Sequence, ARejectedAnalysisReturnsNullTheStatusAndAReportWithoutBody) {
    TempDirectory directory;
    struct Row {
        int n;
        std::vector<int> colptr, rowind; ///< empty: null
        int status;
    };
    const std::vector<int>&p = GRID.colptr, &r = GRID.rowind;
    const Row rows[] = {{99, {}, r, -1},
                        {99, p, {}, -1},
                        {0, p, r, -2},
                        {-5, p, r, -2},
                        {2, {0, 0, 0}, {0}, -2},
                        {2, {1, 1, 2}, {0, 1}, -6},
                        {2, {0, 5, 2}, {0, 1}, -6},
                        {2, {0, 1, 2}, {0, 2}, -6},
                        {2, {0, 1, 2}, {-1, 1}, -6},
                        {99, p, r, -10},
                        {99, p, r, -4}};
    ExportFaults faults;
    const platform::MemoryStatus tiny{10, 10, 10};
    for (const Row& row : rows)
        for (const bool with_param : {true, false}) {
            Session session;
            session.param[VYR_PARAM_FLAGS] = 1;
            ASSERT_EQ(VYR_init_ld(99, 99, p.data(), r.data(), nullptr, 11,
                                  with_param ? session.param.data() : nullptr),
                      0);
            const double held = held_mb();
            std::filesystem::remove(REPORT);
            if (row.status == -4) set_info_status(Status::DUPLICATE); // what an earlier step left behind
            faults.memory_status = row.status == -10 ? &tiny : nullptr;
            EXPECT_EQ(VYR_symbol_ld(nullptr, row.n, data(row.colptr), data(row.rowind)), nullptr);
            EXPECT_EQ(session.param[VYR_PARAM_STATUS], with_param ? row.status : 0);
            EXPECT_EQ(info(INFO_STATUS), row.status);
            EXPECT_EQ(held_mb(), held);
            const std::string report = contents(REPORT);
            EXPECT_TRUE(report.ends_with("</VYR_TEST_INFO>\r\n") &&
                        report.find("<TEST>") == std::string::npos);
        }
}

TEST(Sequence, ASecondInitPutsTypeAndCoreModeInForceForTheFactorization) {
    const Csc indefinite = times(GRID, -1);
    const std::string switched =
        "\r\nGPU_CORE or GBLAS_CORE must define _USE_CUDA_LIB_! Switched to ORNE_IN_CORE.";
    for (const int type : {11, 12, 13, 14, 2, 10, 99})
        for (const int mode : {0, 4, 5})
            for (const int limit : {1, 2})
                for (const int scaling : {0, 1, 2, 3}) {
                    SCOPED_TRACE(std::to_string(type) + " in core mode " + std::to_string(mode));
                    const bool ldlt = type == 12 || type == 13, solves = type == 11 || ldlt;
                    const Csc& a = ldlt ? indefinite : GRID;
                    Session session;
                    session.param[VYR_PARAM_CORE_MODE] = mode;
                    ASSERT_EQ(session.init(a), 0);
                    EXPECT_EQ(output_of([&] { session.symbol(a); }), mode == 0 ? "" : switched);
                    EXPECT_EQ(ctrl(CTRL_CORE_MODE), CORE_IN);
                    (void)output_of([&] { ASSERT_EQ(session.init(a, type), 0); });
                    ctrl(CTRL_REFINEMENT_LIMIT) = limit, ctrl(CTRL_SCALING) = scaling;
                    EXPECT_EQ(session.numeric(a), type == 10 ? VYR_ERR_TYPE : 0);
                    EXPECT_EQ(info(INFO_FACTORIZATIONS), solves ? 1 : 0);
                    EXPECT_EQ(ctrl(CTRL_CORE_MODE), mode);
                    const std::vector<double> b = random_vector(2 * a.n, 3), x = session.solve(a, b),
                                              y = session.solve_n(a, b, 2);
                    const bool both = type == 11 && mode == 0 && limit == 1;
                    if (!solves) {
                        EXPECT_TRUE(limit == 2 || (x == b && y == b));
                        continue;
                    }
                    EXPECT_LE(backward_error(a, x.data(), b.data()), BAR);
                    EXPECT_LE(backward_error(a, y.data(), b.data()), BAR);
                    EXPECT_EQ(backward_error(a, &y[a.n], &b[a.n]) < BAR, both);
                    EXPECT_TRUE(both || std::equal(b.begin() + a.n, b.end(), y.begin() + a.n));
                    EXPECT_EQ(info(INFO_STATUS), 0);
                }
}

TEST(Sequence, TheCountOfTwoByTwoPivotsIsNeverReset) {
    Csc swap = spd(2, {{0, 1}});
    swap.values = {0, 1, 0};
    const double before = process_state().n_p2;
    for (int round = 1; round <= 3; ++round) {
        Session session;
        ASSERT_TRUE(session.init(swap) == 0 && session.symbol(swap) &&
                    session.init(swap, VYR_TYPE_INDEFINITE) == 0);
        EXPECT_EQ(session.numeric(swap), 0);
        EXPECT_EQ(session.solve(swap, {3, 4}), (std::vector<double>{4, 3}));
        EXPECT_EQ(process_state().n_p2, before + round);
    }
}

TEST(Sequence, NumericStepsTakeNewValuesAndAHandleWorksAgainAfterAFailure) {
    const std::string help = "\r\n\tFor help write to support@vyr.example.\r\n";
    const std::string generic = "\r\n\tERROR at NUMERIC FACTORIZATION. ERROR CODE:-35\r\n" + help;
    const std::string not_spd =
        "\r\n\r\n\tThe matrix is not symmetric positive definite.Please change the parameters." + help;
    Csc a = GRID;
    Session session;
    ASSERT_EQ(session.factorize(a), 0);
    for (std::uint64_t step = 2; step <= 4; ++step)
        for (const int status : {0, -35, -30, 0}) {
            session.param[VYR_PARAM_FLAGS] = 1;
            session.param[VYR_PARAM_PIVOT_MIN] = status == -30 ? -DBL_MAX : 0;
            ASSERT_EQ(session.init(a), 0);
            refill(a, step);
            set_info_status(Status::GROWTH);
            const double start_ms = platform::clock_ms();
            const std::string text =
                output_of([&] { EXPECT_EQ(session.numeric(times(a, status == 0 ? 1 : -1)), status); });
            EXPECT_EQ(info(INFO_STATUS), status);
            const std::string failure = status == 0 ? "" : status == -35 ? generic : not_spd;
            EXPECT_TRUE(text.starts_with("\t<I_LEN=4,") && text.ends_with("<MF_LLc>\t\r\n" + failure))
                << text;
            EXPECT_EQ(info(INFO_MEM), held_mb());
            EXPECT_EQ(info(INFO_PEAK), process_state().memory.peak / 1e6);
            EXPECT_GE(info(INFO_NUMERIC_START), start_ms);
            EXPECT_LE(info(INFO_T_NUM), (platform::clock_ms() - start_ms) / 1000);
            EXPECT_GE(info(INFO_T_NUM), 0);
            session.param[VYR_PARAM_FLAGS] = 0;
            VYR_param_ld(session.param.data());
            ctrl(CTRL_FLAGS) = 0;
            EXPECT_TRUE(status != 0 || solve_error(session, a, a) <= BAR);
        }
}

TEST(Sequence, LaterStepsDoNotTrustWhatTheyAreHanded) {
    const Csc& a = GRID;
    const Csc nothing{a.n, {}, {}, {}}, other = spd(50, grid_edges(10, 5));
    Csc outside = a, nan = other;
    outside.rowind[3] = a.n;
    nan.values[0] = NAN;
    Session session;
    ASSERT_EQ(session.factorize(a), 0);
    for (int missing = 0; missing < 3; ++missing)
        EXPECT_EQ(VYR_numeric_ld(nullptr, a.n, missing == 0 ? nullptr : a.colptr.data(),
                                 missing == 1 ? nullptr : a.rowind.data(),
                                 missing == 2 ? nullptr : a.values.data(), session.handle),
                  VYR_ERR_NULL_MATRIX);
    EXPECT_EQ(session.numeric(outside), VYR_ERR_STRUCTURE);
    EXPECT_EQ(session.numeric(nan), VYR_ERR_NAN); // the scan comes first
    EXPECT_EQ(session.numeric(other), VYR_ERR_HANDLE);
    EXPECT_EQ(session.numeric(spd(99, band_edges(99, 1))), VYR_ERR_HANDLE);
    ASSERT_EQ(session.numeric(a), 0);

    const std::vector<double> b = random_vector(a.n, 4);
    struct Row {
        const Csc* matrix;
        int limit, n_rhs, status;
        bool solved;
    };
    const Row rows[] = {{&nothing, 1, 1, 0, true}, {&nothing, 2, 1, -1, false}, {&outside, 2, 1, -6, false},
                        {&outside, 1, 1, 0, true}, {&other, 1, 1, -9, false},   {&other, 2, 1, -9, false},
                        {&a, 1, 0, 0, false},      {&a, 1, -3, 0, false},       {&a, 2, 1, 0, true}};
    for (const Row& row : rows) {
        ctrl(CTRL_REFINEMENT_LIMIT) = row.limit;
        set_info_status(Status::OK);
        const Csc& m = *row.matrix;
        std::vector<double> x = b;
        EXPECT_EQ(VYR_solve_N_ld(session.handle, nullptr, m.n, data(m.colptr), data(m.rowind),
                                 m.values.data(), x.data(), row.n_rhs),
                  0);
        EXPECT_EQ(info(INFO_STATUS), row.status);
        EXPECT_TRUE(row.solved ? backward_error(a, x.data(), b.data()) < BAR : x == b);
    }
    EXPECT_EQ(VYR_solve_ld(session.handle, nullptr, a.n, nullptr, nullptr, nullptr, nullptr), 0);
    session.clear();
    EXPECT_EQ(session.numeric(a), VYR_ERR_HANDLE);
    EXPECT_EQ(session.solve(a, b), b);
    EXPECT_EQ(VYR_clear_ld(nullptr), 0);
}

TEST(Sequence, SeveralHandlesLiveAtATimeAndGiveTheirMemoryBack) {
    const std::uint64_t held = process_state().memory.current;
    {
        const Csc other = spd(300, grid_edges(20, 15));
        Session one, two, three;
        ASSERT_EQ(one.factorize(GRID), 0);
        ASSERT_EQ(two.factorize(other), 0);
        ASSERT_TRUE(three.symbol(GRID));
        ASSERT_EQ(three.numeric(times(GRID, 3)), 0);
        EXPECT_LE(solve_error(two, other, other), BAR);
        EXPECT_LE(solve_error(one, GRID, GRID), BAR);
        two.clear();
        EXPECT_LE(solve_error(three, times(GRID, 3), times(GRID, 3)), BAR);
        ASSERT_EQ(one.numeric(times(GRID, 7)), 0);
        EXPECT_LE(solve_error(one, times(GRID, 7), times(GRID, 7)), BAR);
    }
    EXPECT_EQ(process_state().memory.current, held);
}

TEST(Sequence, ClearWritesTheReportWhenTheFlagsOfTheLastInitAskForIt) {
    TempDirectory directory;
    for (const int flags : {0, 1, 0x10000, 0x10001, 0x20001}) {
        Session session;
        session.param[VYR_PARAM_FLAGS] = 0x10001;
        ASSERT_EQ(session.factorize(GRID), 0);
        session.clear();
        EXPECT_FALSE(std::filesystem::exists(REPORT)) << "the analysis silences it";
        ASSERT_EQ(session.factorize(GRID), 0);
        session.param[VYR_PARAM_FLAGS] = flags;
        ASSERT_EQ(session.init(GRID), 0);
        session.clear();
        const std::string report = contents(REPORT);
        EXPECT_EQ(!report.empty(), (flags & 0x10000) != 0);
        EXPECT_EQ(report.find("<ROW>99</ROW>") != std::string::npos, flags == 0x10001);
        std::filesystem::remove(REPORT);
    }
}

TEST(Sequence, CallsBeforeInitRunOnZeroedControls) {
    std::fill_n(process_state().mf_ctrl, CTRL_COUNT, 0.0);
    std::fill_n(process_state().mf_info, INFO_COUNT, 0.0);
    process_state().param = nullptr;
    Session session;
    ASSERT_TRUE(session.symbol(GRID));
    (void)session.solve(GRID, random_vector(99, 5)); // nothing is factorised yet
    EXPECT_EQ(session.numeric(GRID), 0);
    EXPECT_LE(solve_error(session, GRID, GRID), BAR);
}
