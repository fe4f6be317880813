// Mistakes of the caller that look like a right matrix, handle or type.
#include "support/session.h"

#include <cmath>

using namespace vyr;
using namespace vyr::test;

namespace {

const Csc GRID = spd(30, grid_edges(6, 5));

/// True when both solves leave the right-hand side alone and that status behind.
bool refuses(Session& session, int status) {
    const std::vector<double> b = random_vector(2 * GRID.n, 3);
    set_info_status(Status::OK);
    const bool left = session.solve(GRID, b) == b && info(INFO_STATUS) == status;
    set_info_status(Status::OK);
    return left && session.solve_n(GRID, b, 2) == b && info(INFO_STATUS) == status;
}

} // namespace

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
