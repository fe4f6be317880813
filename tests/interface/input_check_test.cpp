// The structure check: statuses, texts and what it records.
#include "support/capture.h"
#include "support/session.h"

#include <gtest/gtest.h>

using namespace vyr;
using namespace vyr::test;

namespace {

struct Case {
    const char* name;
    int n_rows, n_cols;
    std::vector<int> colptr, rowind; ///< empty: null
    int type, status;
    std::string text;
};

const Case CASES[] = {
    {"good lower triangle", 2, 2, {0, 2, 3}, {0, 1, 1}, 11, 0, ""},
    {"no pointers", 2, 2, {}, {0}, 11, -1, ""},
    {"no rows", 2, 2, {0, 1, 2}, {}, 11, -1, ""},
    {"no pointers and no order", 0, 0, {}, {0}, 11, -1, ""},
    {"no rows in a matrix that is not square", 2, 3, {0, 1, 2, 2}, {}, 11, -1, ""},
    {"order 0", 0, 0, {0}, {0}, 11, -2, ""},
    {"negative columns", 1, -3, {0, 1}, {0}, 11, -2, ""},
    {"negative rows", -1, 1, {0, 1}, {0}, 11, -2, ""},
    {"no entries", 2, 2, {0, 0, 0}, {0}, 11, -2, ""},
    {"negative entries", 2, 2, {0, 0, -1}, {0}, 11, -2, ""},
    {"not square", 3, 2, {0, 1, 2}, {0, 1}, 11, -7, ""},
    {"not square and malformed", 3, 2, {1, 1, 2}, {0, 1}, 11, -7, ""},
    {"empty column of a both-triangle type",
     3,
     3,
     {0, 1, 1, 2},
     {0, 2},
     2,
     -3,
     "ERROR!!!\tEMPTY COLUMN:2\r\n"},
    {"empty column of type 10", 2, 2, {0, 0, 1}, {1}, 10, -3, "ERROR!!!\tEMPTY COLUMN:1\r\n"},
    {"empty column of a lower triangle", 3, 3, {0, 1, 1, 2}, {0, 2}, 12, 0, ""},
    {"separated repeat",
     6,
     6,
     {0, 3, 4, 5, 6, 7, 8},
     {5, 3, 5, 1, 2, 3, 4, 5},
     11,
     0,
     "WARNING!!!\tCOLUMN1 is not orderd:(5,3)\r\n"},
    {"neighbouring repeat",
     3,
     3,
     {0, 1, 4, 5},
     {0, 1, 2, 2, 2},
     11,
     -4,
     "WARNING!!!\tCOLUMN2 dupliacate entry:(2,2)\r\n"},
    {"entry above the diagonal",
     2,
     2,
     {0, 1, 3},
     {0, 0, 1},
     11,
     -13,
     "ERROR!!!\tA(1,2) is not in the lower-triangular-part\r\n"},
    {"disordered entry above the diagonal",
     2,
     2,
     {0, 1, 3},
     {0, 1, 0},
     12,
     -13,
     "WARNING!!!\tCOLUMN2 is not orderd:(1,0)\r\nERROR!!!\tA(1,2) is not in the lower-triangular-part\r\n"},
    {"the same in a both-triangle type",
     2,
     2,
     {0, 2, 4},
     {0, 1, 1, 0},
     2,
     0,
     "WARNING!!!\tCOLUMN2 is not orderd:(1,0)\r\n"},
    {"pointers that start past 0", 2, 2, {1, 1, 2}, {0, 1}, 11, -6, ""},
    {"pointers that fall", 3, 3, {0, 2, 1, 3}, {0, 1, 2}, 11, -6, ""},
    {"pointer past the entries", 2, 2, {0, 9, 2}, {0, 1}, 11, -6, ""},
    {"negative pointer", 2, 2, {0, -1, 2}, {0, 1}, 2, -6, ""},
    {"row past the order", 2, 2, {0, 1, 2}, {0, 2}, 11, -6, ""},
    {"row past the order, both triangles", 2, 2, {0, 1, 2}, {2, 1}, 2, -6, ""},
    {"negative row, both triangles",
     2,
     2,
     {0, 1, 2},
     {-2, 1},
     2,
     -6,
     "WARNING!!!\tCOLUMN1 is not orderd:(-1,-2)\r\n"},
    {"negative row, lower triangle",
     2,
     2,
     {0, 1, 2},
     {-2, 1},
     11,
     -13,
     "WARNING!!!\tCOLUMN1 is not orderd:(-1,-2)\r\nERROR!!!\tA(-1,1) is not in the "
     "lower-triangular-part\r\n"},
};

int init(const Case& c, double* param) {
    return VYR_init_ld(c.n_rows, c.n_cols, c.colptr.empty() ? nullptr : c.colptr.data(),
                       c.rowind.empty() ? nullptr : c.rowind.data(), nullptr, c.type, param);
}

} // namespace

TEST(InputCheck, AnswersEveryCaseWithItsStatusAndText) {
    for (const Case& c : CASES) {
        SCOPED_TRACE(c.name);
        std::vector<double> param(VYR_PARAM_COUNT, 0.0);
        int status = 1;
        EXPECT_EQ(output_of([&] { status = init(c, param.data()); }), ""); // silent unless asked
        EXPECT_EQ(status, c.status);
        param[VYR_PARAM_FLAGS] = 0xff00; // only the low byte counts
        EXPECT_EQ(output_of([&] { init(c, param.data()); }), "");
        param[VYR_PARAM_FLAGS] = 1;
        EXPECT_EQ(output_of([&] { status = init(c, param.data()); }), c.text);
        EXPECT_EQ(status, c.status);
        EXPECT_EQ(info_status(), c.status);
        EXPECT_EQ(mf_info[INFO_ROWS], c.n_rows);
        EXPECT_EQ(mf_info[INFO_COLS], c.n_cols);
        if (!c.colptr.empty() && c.n_cols >= 0) {
            EXPECT_EQ(mf_info[INFO_NNZ], c.colptr[c.n_cols]);
        }
    }
}

TEST(InputCheck, CountsColumnsWithoutADiagonalEntry) {
    std::vector<double> param(VYR_PARAM_COUNT, 0.0);
    EXPECT_EQ(init({"", 4, 4, {0, 1, 2, 2, 3}, {0, 3, 3}, 11, 0, ""}, param.data()), 0);
    EXPECT_EQ(mf_info[INFO_NO_DIAGONAL], 2);
    EXPECT_EQ(mf_info[INFO_NO_DIAGONAL_COPY], 2);
    EXPECT_EQ(mf_info[INFO_SYM_ORIGIN], 1);
    EXPECT_EQ(mf_info[INFO_SYM], 1);
    EXPECT_EQ(init({"", 2, 2, {0, 1, 2}, {1, 0}, 2, 0, ""}, param.data()), 0);
    EXPECT_EQ(mf_info[INFO_NO_DIAGONAL], 2);
    EXPECT_EQ(mf_info[INFO_NO_DIAGONAL_COPY], 2);
}

TEST(InputCheck, MeasuresSymmetryOfBothTriangleInput) {
    const auto measure = [](const std::vector<int>& colptr, const std::vector<int>& rowind) {
        const int n = static_cast<int>(colptr.size()) - 1;
        const std::uint64_t held = mem_current;
        EXPECT_EQ(VYR_init_ld(n, n, colptr.data(), rowind.data(), nullptr, 2, nullptr), 0);
        EXPECT_EQ(mem_current, held);
        EXPECT_EQ(mf_info[INFO_SYM], mf_info[INFO_SYM_ORIGIN]);
        return mf_info[INFO_SYM];
    };
    const Csc full = both_triangles(spd(30, grid_edges(6, 5)));
    EXPECT_EQ(measure(full.colptr, full.rowind), 2.0 * full.nnz() / (full.nnz() - 30));
    EXPECT_EQ(measure({0, 2, 3}, {0, 1, 1}), 4.0);              // only the diagonal has a mirror image
    EXPECT_EQ(measure({0, 1, 2, 3}, {1, 2, 0}), 0.0);           // a cycle has none
    EXPECT_EQ(measure({0, 2, 4, 5}, {1, 2, 0, 2, 0}), 8.0 / 5); // four of five entries are mirrored
}
