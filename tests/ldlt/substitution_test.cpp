#include "solve/solve_ldlt.h"

#include <gtest/gtest.h>

#include <vector>

using namespace vyr;

// What whole solves never meet: the kernel writes no negative entries.
TEST(LdltSubstitution, BlockSolvePassesOverNegativeEntriesAndRefusesEmptyBlocks) {
    // D = (2, 4, 8), L^T = [1 3 5; 1 7; 1].
    const double a[9] = {2, 0, 0, 3, 4, 0, 5, 7, 8};
    const std::int32_t record[3] = {0, -1, 2};
    double v[3] = {1, 2, 13}, z[3] = {-9, -9, -9};
    EXPECT_EQ(mf_ldlt_block_solve('L', 3, a, 3, record, v, z), 0);
    EXPECT_EQ((std::vector<double>(v, v + 3)), (std::vector<double>{0.5, -1, 1}));
    EXPECT_EQ((std::vector<double>(z, z + 3)), (std::vector<double>{1, -9, 8}));
    EXPECT_EQ(mf_ldlt_block_solve('U', 3, a, 3, record, v, nullptr), 0);
    EXPECT_EQ((std::vector<double>(v, v + 3)), (std::vector<double>{-1.5, -1, 1}));
    EXPECT_EQ(mf_ldlt_block_solve('L', 0, a, 3, record, v, z), -1);
    double dot = 0.0;
    mf_dot(3, a, 3, a, 4, &dot, 0);
    EXPECT_EQ(dot, 2.0 * 2 + 3.0 * 4 + 5.0 * 8);
}
