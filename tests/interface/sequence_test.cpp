// The exported functions in and out of their order, and mistakes that look like a right matrix, handle or
// type.
#include "support/capture.h"
#include "support/session.h"

#include <omp.h>

#include <cfloat>
#include <cmath>
#include <fstream>

using namespace vyr;
using namespace vyr::test;

namespace {

constexpr double BAR = 1e-14, NO = -DBL_MAX; ///< no pivot
const Csc GRID = spd(99, grid_edges(11, 9));
using Pivots = std::vector<double>;
using Marks = std::vector<int>;

/// A matrix with another one's pattern, every value multiplied.
Csc times(Csc a, double factor) {
    for (double& value : a.values) value *= factor;
    return a;
}

/// What the report holds, which is then removed.
std::string report() {
    std::ifstream file("VYR_spd 2.2.info");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    file.close();
    std::filesystem::remove("VYR_spd 2.2.info");
    return text;
}

double held_mb() {
    return static_cast<double>(process_state().memory.current.load()) / 1e6;
}

/// The whole sequence; false when some call reported a failure. What it hands out must then be left alone,
/// otherwise it must be right.
bool run(ExportFaults& faults, const Csc& a, const Csc& lower, int type) {
    Session session;
    session.param[VYR_PARAM_BLOCKED] = type == VYR_TYPE_SPD;
    int status = session.init(a, type);
    EXPECT_TRUE(status == 0 || status == VYR_ERR_MEMORY) << status;
    if (status != 0) return false;
    if (!session.symbol(a)) {
        status = to_int(session.param[VYR_PARAM_STATUS]);
        EXPECT_TRUE(status == VYR_ERR_FACTOR_STORAGE || status == 0) << status; // 0: the very first arrays
        return false;
    }
    if (type == VYR_TYPE_INDEFINITE) ctrl(CTRL_TYPE) = type;
    if (status = session.numeric(a); status != 0) {
        EXPECT_TRUE(status == VYR_ERR_FACTOR_STORAGE || status == VYR_ERR_MEMORY) << status;
        faults.allocation.set(0);
        EXPECT_EQ(session.numeric(a), 0); // the handle is as good as before
        EXPECT_LE(solve_error(session, a, lower), BAR);
        return false;
    }
    const std::vector<double> b = random_vector(2 * a.n, 3), x = session.solve_n(a, b, 2);
    status = to_int(info(INFO_STATUS));
    EXPECT_TRUE(status == 0 ? backward_error(lower, x.data(), b.data()) <= BAR : x == b);
    EXPECT_TRUE(status == 0 || status == VYR_ERR_MEMORY) << status;
    return status == 0;
}

/// True when both solves leave the right-hand side alone and that status behind.
bool refuses(Session& session, int status) {
    const std::vector<double> b = random_vector(2 * GRID.n, 3);
    set_info_status(Status::OK);
    const bool left = session.solve(GRID, b) == b && info(INFO_STATUS) == status;
    set_info_status(Status::OK);
    return left && session.solve_n(GRID, b, 2) == b && info(INFO_STATUS) == status;
}

} // namespace

TEST(Sequence, ARejectedAnalysisReturnsNullTheStatusAndAReportWithoutBody) {
    TempDirectory directory;
    const int *p = GRID.colptr.data(), *r = GRID.rowind.data(), empty[] = {0, 0, 0}, one[] = {0, 1},
              falling[] = {0, 1, 0, 3}, below[] = {-1};
    struct Row {
        int n;
        const int *colptr, *rowind;
        int status;
    };
    const Row rows[] = {{99, nullptr, r, -1}, {99, p, nullptr, -1},  {0, p, r, -2},       {-5, p, r, -2},
                        {2, empty, r, -2},    {2, p + 1, r, -6},     {3, falling, r, -6}, {3, p, r, -6},
                        {1, one, below, -6},  {1, one, one + 1, -6}, {99, p, r, -10},     {99, p, r, -4}};
    ExportFaults faults;
    const platform::MemoryStatus tiny{10, 10, 10};
    for (const Row& row : rows) {
        Session session;
        session.param[VYR_PARAM_FLAGS] = 1;
        ASSERT_EQ(session.init(GRID), 0);
        const double held = held_mb();
        if (row.status == -4) set_info_status(Status::DUPLICATE); // what an earlier step left behind
        faults.memory_status = row.status == -10 ? &tiny : nullptr;
        EXPECT_EQ(VYR_symbol_ld(nullptr, row.n, row.colptr, row.rowind), nullptr);
        EXPECT_TRUE(session.param[VYR_PARAM_STATUS] == row.status && info(INFO_STATUS) == row.status);
        EXPECT_EQ(held_mb(), held);
        const std::string text = report();
        EXPECT_TRUE(text.ends_with("</VYR_TEST_INFO>\r\n") && text.find("<TEST>") == std::string::npos);
    }
    VYR_init_ld(99, 99, p, r, nullptr, 11, nullptr);
    EXPECT_EQ(VYR_symbol_ld(nullptr, 0, p, r), nullptr);
}

TEST(Sequence, WorksWithoutAnyInit) {
    ProcessState& state = process_state(); // as it is when the process starts
    std::fill_n(state.mf_ctrl, CTRL_COUNT, 0.0), std::fill_n(state.mf_info, INFO_COUNT, 0.0);
    state.param = nullptr, state.value_min = state.value_max = 0, state.system = {};
    Session session;
    ASSERT_TRUE(session.symbol(GRID));
    EXPECT_EQ(session.numeric(GRID), 0);
    EXPECT_LE(solve_error(session, GRID, GRID), BAR);
}

TEST(Sequence, ASecondInitPutsTypeAndCoreModeInForceForTheFactorization) {
    const std::string switched =
        "\r\nGPU_CORE or GBLAS_CORE must define _USE_CUDA_LIB_! Switched to ORNE_IN_CORE.";
    for (const int type : {11, 12, 13, 14, 2, 10})
        for (const int mode : {0, 4, 5})
            for (const int limit : {1, 2, 9}) {
                SCOPED_TRACE(std::to_string(type) + " in core mode " + std::to_string(mode));
                const bool ldlt = type == 12 || type == 13, solves = type == 11 || ldlt;
                const Csc a = times(GRID, ldlt ? -1 : 1);
                Session session;
                session.param[VYR_PARAM_FLAGS] = mode == 0 ? VYR_FLAG_REPORT_AT_CLEAR | 1 : 0;
                session.param[VYR_PARAM_CORE_MODE] = mode;
                ASSERT_EQ(session.init(a), 0);
                ctrl(CTRL_TYPE) = type, ctrl(CTRL_REFINEMENT_LIMIT) = limit;
                session.param[VYR_PARAM_STATUS] = 55;
                EXPECT_EQ(output_of([&] { ASSERT_TRUE(session.symbol(a)); }), mode == 0 ? "" : switched);
                EXPECT_TRUE(session.param[VYR_PARAM_STATUS] == 55 && ctrl(CTRL_TYPE) == 11 &&
                            ctrl(CTRL_CORE_MODE) == 0 && ctrl(CTRL_FLAGS) == 0);
                EXPECT_EQ(ctrl(CTRL_REFINEMENT_LIMIT), std::min(limit, 2));
                EXPECT_TRUE(info(INFO_MEM_SYM) == held_mb() &&
                            info(INFO_PEAK_SYM) == process_state().memory.peak / 1e6);
                EXPECT_EQ(info(INFO_NZLU_SYM), static_cast<double>(session.handle->analysis.factor_entries));
                EXPECT_EQ(info(INFO_NODES), session.handle->analysis.n_snodes);
                EXPECT_TRUE(session.handle->factor.lu_values);

                (void)output_of([&] { ASSERT_EQ(session.init(a, type), 0); });
                ctrl(CTRL_REFINEMENT_LIMIT) = limit, ctrl(CTRL_SCALING) = limit, ctrl(CTRL_FLAGS) = 0;
                EXPECT_EQ(session.numeric(a), type == 10 ? VYR_ERR_TYPE : 0);
                EXPECT_TRUE(info(INFO_FACTORIZATIONS) == solves && ctrl(CTRL_CORE_MODE) == mode);
                const std::vector<double> b = random_vector(2 * a.n, 3), x = session.solve(a, b),
                                          y = session.solve_n(a, b, 2);
                if (!solves) {
                    EXPECT_TRUE(limit > 1 || (x == b && y == b));
                    continue;
                }
                const bool both = type == 11 && mode == 0 && limit == 1;
                for (const auto& solution : {x, y})
                    EXPECT_LE(backward_error(a, solution.data(), b.data()), BAR);
                EXPECT_EQ(backward_error(a, &y[a.n], &b[a.n]) < BAR, both);
                EXPECT_TRUE(both || std::equal(b.begin() + a.n, b.end(), y.begin() + a.n));
                EXPECT_EQ(info(INFO_STATUS), 0);
            }
}

TEST(Sequence, NumericStepsTakeNewValuesAndAHandleWorksAgainAfterAFailure) {
    Csc a = GRID;
    Session session;
    ASSERT_EQ(session.factorize(a), 0);
    for (const int status : {0, -35, -30, 0, -35, 0}) {
        session.param[VYR_PARAM_FLAGS] = 1;
        session.param[VYR_PARAM_PIVOT_MIN] = status == -30 ? -DBL_MAX : 0;
        ASSERT_EQ(session.init(a), 0);
        refill(a, static_cast<std::uint64_t>(100 + status));
        set_info_status(Status::GROWTH);
        const double start_ms = platform::clock_ms();
        const std::string text =
            output_of([&] { EXPECT_EQ(session.numeric(times(a, status == 0 ? 1 : -1)), status); });
        EXPECT_TRUE(text.starts_with("\t<I_LEN=4,") &&
                    text.ends_with(status == 0 ? "<MF_LLc>\t\r\n" : "support@vyr.example.\r\n"))
            << text;
        EXPECT_TRUE(info(INFO_STATUS) == status && info(INFO_MEM) == held_mb() &&
                    info(INFO_PEAK) == process_state().memory.peak / 1e6);
        EXPECT_TRUE(info(INFO_NUMERIC_START) >= start_ms && info(INFO_T_NUM) >= 0);
        ctrl(CTRL_FLAGS) = 0;
        EXPECT_TRUE(status != 0 || solve_error(session, a, a) <= BAR);
    }
}

TEST(Sequence, LaterStepsDoNotTrustWhatTheyAreHanded) {
    const Csc& a = GRID;
    const Csc nothing{a.n, {}, {}, {}}, other = spd(50, grid_edges(10, 5));
    Csc outside = a, nan = other, moved = a, turned = a;
    outside.rowind[3] = a.n;
    moved.rowind[1] += 1;
    std::swap(turned.rowind[0], turned.rowind[1]);
    nan.values[0] = NAN;
    Session session;
    ASSERT_EQ(session.factorize(a), 0);
    const int *p = a.colptr.data(), *r = a.rowind.data();
    EXPECT_EQ(VYR_numeric_ld(nullptr, a.n, nullptr, r, a.values.data(), session.handle), -1);
    EXPECT_EQ(VYR_numeric_ld(nullptr, a.n, p, nullptr, a.values.data(), session.handle), -1);
    EXPECT_EQ(VYR_numeric_ld(nullptr, a.n, p, r, nullptr, session.handle), -1);
    EXPECT_TRUE(session.numeric(outside) == VYR_ERR_STRUCTURE && session.numeric(nan) == VYR_ERR_NAN);
    for (const Csc& pattern : {other, moved, turned}) EXPECT_EQ(session.numeric(pattern), VYR_ERR_HANDLE);
    ASSERT_EQ(session.numeric(a), 0);

    const std::vector<double> b = random_vector(a.n, 4);
    const auto expect = [&](const Csc& m, int limit, int n_rhs, int status, bool solved) {
        ctrl(CTRL_REFINEMENT_LIMIT) = limit;
        set_info_status(Status::OK);
        std::vector<double> x = session.solve_n(m, b, n_rhs);
        EXPECT_EQ(info(INFO_STATUS), status);
        EXPECT_TRUE(solved ? backward_error(a, x.data(), b.data()) < BAR : x == b);
    };
    expect(nothing, 1, 1, 0, true);
    expect(nothing, 2, 1, -1, false);
    expect(outside, 2, 1, -6, false);
    expect(outside, 1, 1, 0, true);
    expect(other, 1, 1, -9, false);
    expect(a, 1, -3, 0, false);
    expect(a, 2, 1, 0, true);
    EXPECT_EQ(VYR_solve_ld(session.handle, nullptr, a.n, nullptr, nullptr, nullptr, nullptr), 0);
}

TEST(Sequence, ClearWritesTheReportWhenTheFlagsOfTheLastInitAskForIt) {
    TempDirectory directory;
    for (const int flags : {0, 1, 0x10000, 0x10001, 0x20001}) {
        Session session;
        ASSERT_TRUE(session.init(GRID) == 0 && session.symbol(GRID));
        session.param[VYR_PARAM_FLAGS] = flags;
        ASSERT_EQ(session.init(GRID), 0);
        session.clear();
        const std::string text = report();
        EXPECT_EQ(!text.empty(), (flags & 0x10000) != 0);
        EXPECT_EQ(text.find("<ROW>99</ROW>") != std::string::npos, flags == 0x10001);
    }
}

TEST(Misuse, OnlyASuccessfulStepOfTheTypeInForceSolves) {
    Session session;
    ASSERT_TRUE(session.init(GRID) == 0 && session.symbol(GRID));
    EXPECT_TRUE(refuses(session, VYR_ERR_HANDLE));
    for (const int type : {11, 12, 14, 2})
        for (const int later : {11, 12, 14, 2}) {
            ASSERT_TRUE(session.init(GRID, type) == 0 && session.numeric(GRID) == 0);
            ASSERT_EQ(session.init(GRID, later), 0);
            EXPECT_TRUE(type == later || refuses(session, VYR_ERR_TYPE)) << type << " " << later;
        }
    for (const int none : {99, 0, -1, 1, 3, 9, 15})
        EXPECT_TRUE(session.init(GRID, none) == VYR_ERR_TYPE && session.numeric(GRID) == VYR_ERR_TYPE &&
                    refuses(session, VYR_ERR_TYPE));
}

TEST(Misuse, InfiniteValuesAlwaysEndNegative) {
    for (const int type : {VYR_TYPE_SPD, VYR_TYPE_INDEFINITE})
        for (std::int32_t e = 0; e < GRID.nnz(); ++e)
            for (const double value : {INFINITY, -INFINITY}) {
                Csc a = GRID;
                a.values[e] = value;
                Session session;
                ASSERT_TRUE(session.init(a) == 0 && session.symbol(a) && session.init(a, type) == 0);
                const int status = session.numeric(a);
                EXPECT_TRUE(status < 0 && refuses(session, status)) << e << " " << value << " " << status;
            }
}

TEST(Misuse, TheAnalysisFindsRepeatsThatAreNoNeighboursAndPassesMirrorImages) {
    const Csc repeats{3, {0, 3, 4, 5}, {2, 0, 2, 1, 2}, {}}, mirrored{2, {0, 2, 4}, {1, 0, 0, 1}, {}};
    Session session;
    EXPECT_TRUE(session.init(repeats) == 0 && !session.symbol(repeats));
    EXPECT_EQ(session.param[VYR_PARAM_STATUS], VYR_ERR_DUPLICATE);
    EXPECT_TRUE(session.init(mirrored, VYR_TYPE_BOTH_TRIANGLES) == 0 && session.symbol(mirrored));
}

TEST(Misuse, AReleasedHandleIsNoticedAndAReleasedParameterArrayIsNotWritten) {
    Session session, live;
    ASSERT_TRUE(session.factorize(GRID) == 0 && live.factorize(GRID) == 0);
    const VYR_handle stale = session.handle;
    session.clear();
    for (const VYR_handle handle : {stale, VYR_handle{nullptr}}) {
        double pivot = 99;
        int mark = 99;
        session.handle = handle;
        EXPECT_TRUE(session.numeric(GRID) == VYR_ERR_HANDLE && refuses(session, 0));
        EXPECT_TRUE(VYR_pivot_ld(handle, &pivot, &mark) == 0 && pivot == 99 && mark == 99);
        EXPECT_EQ(VYR_clear_ld(handle), 0);
    }
    live.param[VYR_PARAM_STATUS] = 55;
    EXPECT_EQ(VYR_symbol_ld(nullptr, 0, nullptr, nullptr), nullptr);
    EXPECT_TRUE(live.param[VYR_PARAM_STATUS] == 55 && live.numeric(GRID) == 0);
}

TEST(PivotReport, ShowsPivotsInTheCallersOrderAndMarksThoseThatExplainTheStatus) {
    struct Row {
        int status;
        double threshold;
        Pivots diagonal; ///< in pivot order; pivot k belongs to equation (2 k + 1) mod n, n odd
        Marks marks;
    };
    const Row rows[] = {{0, 100, {1, -2, NO, 4, 5}, {-1, 0, 0, 0, 0}},
                        {-35, 0, {0, -3, NO, 1e-300, 5}, {-1, 1, 0, 1, 0}},
                        {-35, 4, {3, 4, NO, 5, -9}, {-1, 1, 0, 1, 1}},
                        {-36, 9, {2, -0.5, NO, -7, 5}, {-1, 0, 1, 1, 0}},
                        {-36, 0, {1, -1, 2, 7, -7}, {0, 1, 1, 0, 0}}, // of equals the first equation
                        {-36, 0, {NO, 3, NO}, {1, -1, -1}},
                        {-36, 0, {NAN, 3, -2}, {1, 0, 1}},
                        {-36, 0, {0, 0, 0}, {1, 0, 0}}};
    for (const Row& row : rows) {
        const auto n = static_cast<std::int32_t>(row.diagonal.size());
        Session session;
        ASSERT_EQ(session.factorize(diagonal(Pivots(n, 1.0))), 0);
        for (std::int32_t k = 0; k < n; ++k) {
            session.handle->analysis.perm[k] = (2 * k + 1) % n;
            session.handle->factor.diag_values[k] = row.diagonal[k];
        }
        session.handle->factor_status = static_cast<Status>(row.status);
        ctrl(CTRL_PIVOT_MIN) = row.threshold;
        Pivots pivots(n, 99);
        Marks marks(n, 99);
        VYR_pivot_ld(session.handle, nullptr, marks.data());
        VYR_pivot_ld(session.handle, pivots.data(), nullptr);
        EXPECT_TRUE(pivots == Pivots(n, 99) && marks == Marks(n, 99));
        EXPECT_EQ(VYR_pivot_ld(session.handle, pivots.data(), marks.data()), 0);
        EXPECT_EQ(marks, row.marks) << row.status << " " << row.diagonal[0];
        for (std::int32_t k = 0; k < n && !std::isnan(row.diagonal[0]); ++k)
            EXPECT_EQ(pivots[(2 * k + 1) % n], row.diagonal[k]);
    }
}

TEST(PivotReport, TheHandleKeepsTheStatusOfItsFactorizationWhateverIsCalledAfterwards) {
    Session grown, small;
    grown.param[VYR_PARAM_GROWTH] = 1e6;
    EXPECT_EQ(small.factorize(diagonal({4, -1, 9, 0, 2, 1})), VYR_ERR_SMALL_PIVOT);
    EXPECT_EQ(grown.factorize(diagonal({4, 1e-10, 9, 1e-10, 1e20, 1})), VYR_ERR_GROWTH);
    Pivots pivots(6);
    Marks marks(6);
    VYR_solve_ld(small.handle, nullptr, 5, nullptr, nullptr, nullptr, pivots.data());
    EXPECT_EQ(info(INFO_STATUS), VYR_ERR_HANDLE);
    VYR_pivot_ld(grown.handle, pivots.data(), marks.data());
    EXPECT_EQ(marks, (Marks{0, 1, 0, 0, 1, 0}));
    VYR_pivot_ld(small.handle, pivots.data(), marks.data());
    EXPECT_TRUE(marks[1] == 1 || marks[3] == 1);
}

TEST(AllocationFailure, IsReportedOnceAndLosesNothingOverTheWholeSequence) {
    const Csc lower = spd(60, grid_edges(10, 6));
    for (const int type : {VYR_TYPE_SPD, VYR_TYPE_BOTH_TRIANGLES, VYR_TYPE_INDEFINITE}) {
        const Csc a = type == VYR_TYPE_BOTH_TRIANGLES ? both_triangles(lower) : lower;
        ExportFaults faults;
        TempDirectory directory; // failing analyses write reports
        omp_set_num_threads(type == VYR_TYPE_SPD ? 3 : 1);
        EXPECT_TRUE(run(faults, a, lower, type));
        const Accounting& memory = process_state().memory;
        const std::uint64_t held = memory.current;
        int k = 1, reported = 0;
        for (bool fired = true; fired && !HasFailure(); ++k) {
            SCOPED_TRACE("allocation " + std::to_string(k));
            faults.allocation.set(k);
            const bool good = run(faults, a, lower, type);
            fired = !faults.allocation.armed();
            faults.allocation.set(0);
            EXPECT_TRUE(memory.current == held && memory.alloc_count == memory.free_count);
            EXPECT_TRUE(run(faults, a, lower, type));
            reported += !good;
        }
        EXPECT_TRUE(reported > 30 && reported == k - 2) << "no failure is swallowed";
    }
}
