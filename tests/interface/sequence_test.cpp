// The exported functions in and out of their order.
#include "memory/accounted_alloc.h"
#include "support/capture.h"
#include "support/session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <limits>

using namespace vyr;
using namespace vyr::test;

namespace {

constexpr double ERROR_BAR = 1e-14;

const Csc& grid() {
    static const Csc a = spd(99, grid_edges(11, 9));
    return a;
}

/// Another matrix on the pattern of grid() that is not positive definite.
Csc indefinite_grid() {
    Csc a = grid();
    for (double& value : a.values) value = -value;
    return a;
}

VYR_handle symbol(std::int32_t n, const std::vector<int>& colptr, const std::vector<int>& rowind) {
    return VYR_symbol_ld(nullptr, n, colptr.data(), rowind.data());
}

} // namespace

TEST(Sequence, TheAnalysisSilencesMessagesAndPutsPositiveDefiniteInForce) {
    Session session;
    session.param[VYR_PARAM_FLAGS] = VYR_FLAG_REPORT_AT_CLEAR | 1;
    ASSERT_EQ(session.init(grid(), VYR_TYPE_INDEFINITE), 0);
    mf_ctrl[CTRL_REFINEMENT_LIMIT] = 9;
    double vector = 1;
    mf_scale_rhs = mf_scale_sol = &vector; // forgotten, not released
    bool made = false;
    EXPECT_EQ(output_of([&] { made = session.symbol(grid()); }), "");
    ASSERT_TRUE(made);
    EXPECT_EQ(mf_scale_rhs, nullptr);
    EXPECT_EQ(mf_scale_sol, nullptr);
    EXPECT_EQ(mf_ctrl[CTRL_TYPE], TYPE_SPD);
    EXPECT_EQ(mf_ctrl[CTRL_FLAGS], 0);
    EXPECT_EQ(mf_ctrl[CTRL_REFINEMENT_LIMIT], 2);
    EXPECT_EQ(mf_info[INFO_FACTORIZATIONS], 0);
    EXPECT_EQ(mf_info[INFO_MEM_SYM], static_cast<double>(mem_current.load()) / MEGABYTE);
    EXPECT_EQ(mf_info[INFO_PEAK_SYM], mf_mem_peak() / MEGABYTE);
    EXPECT_EQ(mf_info[INFO_MAX_LEVEL], 0);
    EXPECT_EQ(mf_info[INFO_DENSE_BLOCKS], 0);
}

TEST(Sequence, AcceleratorModesAreSwitchedBackAndStillSolveInCore) {
    for (const int mode : {4, 5}) {
        Session session;
        session.param[VYR_PARAM_CORE_MODE] = mode;
        ASSERT_EQ(session.init(grid()), 0);
        EXPECT_EQ(output_of([&] { session.symbol(grid()); }),
                  "\r\nGPU_CORE or GBLAS_CORE must define _USE_CUDA_LIB_! Switched to ORNE_IN_CORE.");
        ASSERT_NE(session.handle, nullptr);
        EXPECT_EQ(ctrl_int(CTRL_CORE_MODE), CORE_IN);
        ASSERT_EQ(session.init(grid()), 0); // the accelerator mode is in force again, the storage in core
        ASSERT_EQ(session.numeric(grid()), 0);
        EXPECT_LE(solve_error(session, grid(), grid()), ERROR_BAR);
        const auto b = random_vector(99, 3);
        const auto x = session.solve_n(grid(), b, 1);
        EXPECT_LE(backward_error(grid(), x.data(), b.data()), ERROR_BAR);
    }
}

TEST(Sequence, ARejectedAnalysisReturnsNullTheStatusAndAReport) {
    TempDirectory directory;
    HookGuard hooks;
    Session session;
    const Csc& a = grid();
    const platform::MemoryStatus tiny{10, 10, 10};
    const auto expect_status = [&](int status, auto&& call) {
        ASSERT_EQ(session.init(a), 0);
        const std::uint64_t held = mem_current;
        std::filesystem::remove("VYR_spd 2.2.info");
        EXPECT_EQ(call(), nullptr);
        EXPECT_EQ(session.param[VYR_PARAM_STATUS], status);
        EXPECT_EQ(info_status(), status);
        EXPECT_TRUE(std::filesystem::exists("VYR_spd 2.2.info"));
        EXPECT_EQ(mem_current, held);
        mf_test_hooks.memory_status = nullptr;
    };
    const auto& pointers = a.colptr;
    expect_status(-1, [&] { return VYR_symbol_ld(nullptr, a.n, nullptr, a.rowind.data()); });
    expect_status(-1, [&] { return VYR_symbol_ld(nullptr, a.n, pointers.data(), nullptr); });
    expect_status(-2, [&] { return symbol(0, pointers, a.rowind); });
    expect_status(-2, [&] { return symbol(-5, pointers, a.rowind); });
    expect_status(-2, [&] { return symbol(2, {0, 0, 0}, {0}); });
    expect_status(-6, [&] { return symbol(2, {1, 1, 2}, {0, 1}); });
    expect_status(-6, [&] { return symbol(2, {0, 5, 2}, {0, 1}); });
    expect_status(-6, [&] { return symbol(2, {0, 1, 2}, {0, 2}); });
    expect_status(-6, [&] { return symbol(2, {0, 1, 2}, {-1, 1}); });
    expect_status(-10, [&] {
        mf_test_hooks.memory_status = &tiny;
        return symbol(a.n, pointers, a.rowind);
    });
    expect_status(-4, [&] { // a status that an earlier step left behind
        set_info_status(-4);
        return symbol(a.n, pointers, a.rowind);
    });
    EXPECT_TRUE(session.init(a) == 0 && session.symbol(a)); // and afterwards all is well
}

TEST(Sequence, RepeatedNumericStepsTakeTheNewValues) {
    Session session;
    Csc a = grid();
    ASSERT_EQ(session.factorize(a), 0);
    const double flops = mf_info[INFO_FLOPS];
    for (std::uint64_t step = 2; step <= 4; ++step) {
        refill(a, step);
        ASSERT_EQ(session.numeric(a), 0);
        EXPECT_EQ(mf_info[INFO_FACTORIZATIONS], static_cast<double>(step));
        EXPECT_EQ(mf_info[INFO_FLOPS], flops);
        EXPECT_LE(solve_error(session, a, a), ERROR_BAR);
        EXPECT_LE(solve_error(session, a, a, step), ERROR_BAR);
    }
    EXPECT_EQ(mf_info[INFO_MEM], static_cast<double>(mem_current.load()) / MEGABYTE);
    EXPECT_GE(mf_info[INFO_PEAK], mf_info[INFO_MEM]);
    EXPECT_GT(mf_info[INFO_NUMERIC_START], 0);
    EXPECT_GE(mf_info[INFO_T_NUM], 0);
}

TEST(Sequence, AFailedNumericStepLeavesAHandleThatWorksAgain) {
    Session session;
    ASSERT_EQ(session.factorize(grid()), 0);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(session.numeric(indefinite_grid()), VYR_ERR_SMALL_PIVOT);
        std::vector<double> pivots(99), b = random_vector(99, 1);
        std::vector<int> marks(99);
        EXPECT_EQ(VYR_pivot_ld(session.handle, pivots.data(), marks.data()), 0);
        EXPECT_GT(std::count(marks.begin(), marks.end(), 1), 0);
        session.solve(grid(), b); // of no use, but it returns
        session.solve_n(grid(), b, 1);
        Csc nan = grid();
        nan.values[7] = std::numeric_limits<double>::quiet_NaN();
        EXPECT_EQ(session.numeric(nan), VYR_ERR_NAN);
        EXPECT_EQ(session.numeric(grid()), 0);
        EXPECT_EQ(info_status(), 0);
        EXPECT_LE(solve_error(session, grid(), grid()), ERROR_BAR);
    }
    EXPECT_EQ(VYR_clear_ld(session.handle), 0);
    session.handle = nullptr;
}

TEST(Sequence, FailureTextsComeWithTheSupportLineWhenMessagesAreOn) {
    Session session;
    ASSERT_EQ(session.factorize(grid()), 0);
    const auto text_of = [&](double threshold, const Csc& a) {
        session.param[VYR_PARAM_FLAGS] = 1;
        session.param[VYR_PARAM_PIVOT_MIN] = threshold;
        session.init(grid());
        return output_of([&] { session.numeric(a); });
    };
    const std::string small_pivot = text_of(0, indefinite_grid());
    const std::string not_spd = text_of(-DBL_MAX, indefinite_grid());
    EXPECT_NE(small_pivot.find("\r\n\tERROR at NUMERIC FACTORIZATION. ERROR CODE:-35\r\n"),
              std::string::npos);
    EXPECT_NE(
        not_spd.find("\r\n\r\n\tThe matrix is not symmetric positive definite.Please change the parameters."),
        std::string::npos);
    for (const std::string& text : {small_pivot, not_spd})
        EXPECT_NE(text.find("support@vyr.example"), std::string::npos);
    EXPECT_EQ(text_of(0, grid()).find("support@vyr.example"), std::string::npos);
}

TEST(Sequence, NullHandlesTouchNothing) {
    const Csc& a = grid();
    Session session;
    ASSERT_EQ(session.init(a), 0);
    EXPECT_EQ(session.numeric(a), VYR_ERR_HANDLE);
    const std::vector<double> b = random_vector(a.n, 5);
    EXPECT_EQ(session.solve(a, b), b);
    EXPECT_EQ(session.solve_n(a, b, 1), b);
    std::vector<double> pivots = b;
    std::vector<int> marks(a.n, 42);
    EXPECT_EQ(VYR_pivot_ld(nullptr, pivots.data(), marks.data()), 0);
    EXPECT_EQ(pivots, b);
    EXPECT_EQ(marks, std::vector<int>(a.n, 42));
    EXPECT_EQ(VYR_clear_ld(nullptr), 0);
}

TEST(Sequence, TheNumericStepRefusesAnotherPatternAndUnservedTypes) {
    Session session;
    ASSERT_EQ(session.factorize(grid()), 0);
    const Csc other_order = spd(50, grid_edges(10, 5));
    Csc other_entries = spd(99, band_edges(99, 1));
    EXPECT_EQ(session.numeric(other_order), VYR_ERR_HANDLE);
    EXPECT_EQ(session.numeric(other_entries), VYR_ERR_HANDLE);
    other_entries.values[0] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(session.numeric(other_entries), VYR_ERR_NAN); // the scan comes first
    ASSERT_EQ(session.init(both_triangles(grid()), VYR_TYPE_SIMPLE), 0);
    EXPECT_EQ(session.numeric(grid()), VYR_ERR_TYPE);
    ASSERT_EQ(session.init(grid()), 0);
    EXPECT_EQ(session.numeric(grid()), 0);
    EXPECT_LE(solve_error(session, grid(), grid()), ERROR_BAR);
}

TEST(Sequence, LaterStepsDoNotTrustTheArraysTheyAreHanded) {
    Session session;
    const Csc& a = grid();
    ASSERT_EQ(session.factorize(a), 0);
    const auto numeric = [&](const int* colptr, const int* rowind, const double* values) {
        return VYR_numeric_ld(nullptr, a.n, colptr, rowind, values, session.handle);
    };
    EXPECT_EQ(numeric(nullptr, a.rowind.data(), a.values.data()), VYR_ERR_NULL_MATRIX);
    EXPECT_EQ(numeric(a.colptr.data(), nullptr, a.values.data()), VYR_ERR_NULL_MATRIX);
    EXPECT_EQ(numeric(a.colptr.data(), a.rowind.data(), nullptr), VYR_ERR_NULL_MATRIX);
    Csc malformed = a;
    malformed.rowind[3] = a.n;
    EXPECT_EQ(session.numeric(malformed), VYR_ERR_STRUCTURE);
    ASSERT_EQ(session.numeric(a), 0);
    const std::vector<double> b = random_vector(a.n, 4);
    mf_ctrl[CTRL_REFINEMENT_LIMIT] = 2; // only then is the matrix read
    EXPECT_EQ(session.solve(malformed, b), b);
    EXPECT_EQ(info_status(), VYR_ERR_STRUCTURE);
    std::vector<double> x = b;
    VYR_solve_ld(session.handle, nullptr, a.n, nullptr, nullptr, nullptr, x.data());
    EXPECT_EQ(x, b);
    EXPECT_EQ(VYR_solve_ld(session.handle, nullptr, a.n, nullptr, nullptr, nullptr, nullptr), 0);
    mf_ctrl[CTRL_REFINEMENT_LIMIT] = 1;
    VYR_solve_ld(session.handle, nullptr, a.n, nullptr, nullptr, nullptr, x.data());
    EXPECT_LE(backward_error(a, x.data(), b.data()), ERROR_BAR);
}

TEST(Sequence, CallsBeforeInitRunOnZeroedControls) {
    std::fill_n(mf_ctrl, CTRL_COUNT, 0.0);
    std::fill_n(mf_info, INFO_COUNT, 0.0);
    mf_param = nullptr;
    Session session;
    ASSERT_TRUE(session.symbol(grid()));
    const std::vector<double> b = random_vector(99, 5);
    session.solve(grid(), b); // nothing is factorised yet
    EXPECT_EQ(session.numeric(grid()), 0);
    EXPECT_LE(solve_error(session, grid(), grid()), ERROR_BAR);
}
