// Files that are not what was written: -5 and no block touched, or passed over by a solve; never a crash.
#include "../ldlt/indefinite.h"
#include "memory/accounted_alloc.h"
#include "memory/factor_files.h"
#include "ooc_run.h"
#include "support/capture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

using namespace vyr;
using namespace vyr::test;
namespace fs = std::filesystem;

namespace {

class ReadFault : public testing::TestWithParam<int> {
protected:
    void SetUp() override {
        {
            const Csc smaller = spd(200, grid_edges(20, 10), 4);
            Session other;
            analyse(other, smaller);
            ASSERT_EQ(other.numeric(smaller), 0);
            foreign = contents(file_name(0));
        }
        analyse(session, a, {CORE_OUT, GetParam()});
        ASSERT_EQ(session.numeric(a), 0);
        ASSERT_GE(session.solver().file_count, 5);
        expected = session.solve(a, right_hand_side(a));
        by_column = nodes_by_column(session.solver());
        list.resize(by_column.size());
    }

    int load(int number) {
        void* buffer = nullptr;
        const int result =
            mf_load_factor_file(object(session), number, by_column.data(), list.data(), buffer);
        EXPECT_EQ(buffer, session.solver().file_buffer);
        return result;
    }

    /// Where the records of a file begin, and its size.
    std::vector<std::size_t> borders(int number) {
        const int n_records = load(number);
        std::vector<std::size_t> offsets{0};
        for (int k = 0; k < n_records; ++k) {
            const mf_snode& node = session.solver().snodes[list[static_cast<std::size_t>(k)]];
            offsets.push_back(offsets.back() + 8 + static_cast<std::size_t>(node.n_entries()) * 8);
        }
        drop(n_records);
        return offsets;
    }

    /// What a solve does when it is through with a file.
    void drop(int n_records) {
        for (int k = 0; k < n_records; ++k)
            object(session).snodes[list[static_cast<std::size_t>(k)]].factor_block = nullptr;
    }

    /// The file is refused, leaves no block behind and does not stop a solve.
    void expect_refused(int number) {
        EXPECT_EQ(load(number), VYR_ERR_FACTOR_FILE);
        expect_no_block_of_a_file();
        const std::vector<double> x = session.solve(a, right_hand_side(a));
        EXPECT_FALSE(difference(x, expected) < 1e-10);
        expect_no_block_of_a_file();
    }

    void expect_no_block_of_a_file() {
        const Solver& solver = session.solver();
        for (std::int32_t s = 0; s < solver.n_snodes; ++s)
            if ((solver.snodes[s].flags & NODE_WRITTEN) != 0) {
                ASSERT_EQ(solver.snodes[s].factor_block, nullptr);
            }
    }

    TempDirectory directory;
    HookGuard hooks;
    /// Of L D L^T with 2 x 2 pivots as well.
    Csc a = GetParam() == TYPE_SPD ? spd(300, grid_edges(20, 15), 4) : shifted_laplacian(20, 15, 1, 1.7);
    Session session;
    std::vector<double> expected;
    std::string foreign; ///< a factor file of another matrix
    std::vector<std::int32_t> by_column, list;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Type, ReadFault, testing::Values(int{TYPE_SPD}, int{TYPE_LDLT}));

TEST_P(ReadFault, AFileIsWalkedInRecordOrder) {
    const int n_records = load(2);
    ASSERT_GT(n_records, 1);
    std::string bytes;
    for (int k = 0; k < n_records; ++k)
        bytes += record(session.solver().snodes[list[static_cast<std::size_t>(k)]]);
    EXPECT_TRUE(bytes == contents(file_name(2)));
    drop(n_records);
    expect_no_block_of_a_file();
}

TEST_P(ReadFault, TruncationAtEveryRecordBorderAndBesideIt) {
    const std::string whole = contents(file_name(1));
    const std::vector<std::size_t> offsets = borders(1);
    ASSERT_EQ(offsets.back(), whole.size());
    for (std::size_t k = 0; k + 1 < offsets.size(); ++k) {
        const std::size_t border = offsets[k];
        for (const std::size_t size : {border + 1, border + 7, border + 8, border + 9, offsets[k + 1] - 1}) {
            overwrite(file_name(1), whole.substr(0, size));
            expect_refused(1);
        }
        overwrite(file_name(1), whole.substr(0, border));
        const int n_records = load(1);
        EXPECT_EQ(n_records, k); // whole records alone are a file
        drop(n_records);
        (void)session.solve(a, right_hand_side(a));
    }
    overwrite(file_name(1), whole + "x");
    expect_refused(1);
    overwrite(file_name(1), whole);
    EXPECT_EQ(session.solve(a, right_hand_side(a)), expected);
}

TEST_P(ReadFault, EveryFlippedBitOfKeyAndCountIsFound) {
    const std::string whole = contents(file_name(3));
    std::vector<std::size_t> offsets = borders(3);
    offsets.pop_back();
    ASSERT_GE(offsets.size(), 2u);
    for (const std::size_t offset : offsets)
        for (std::size_t bit = 0; bit < 64; ++bit) {
            std::string bad = whole;
            char& byte = bad[offset + bit / 8];
            byte = static_cast<char>(byte ^ (1 << bit % 8));
            overwrite(file_name(3), bad);
            ASSERT_EQ(load(3), VYR_ERR_FACTOR_FILE) << offset << ' ' << bit;
            expect_no_block_of_a_file();
        }
    expect_refused(3);
}

TEST_P(ReadFault, AMissingForeignOversizedOrUnreadableFileIsPassedOver) {
    const std::string whole = contents(file_name(0));
    fs::remove(file_name(0));
    expect_refused(0);
    fs::create_directory(file_name(0));
    expect_refused(0);
    fs::remove(file_name(0));
    overwrite(file_name(0), std::string(static_cast<std::size_t>(session.solver().file_max_bytes) + 1, '\0'));
    expect_refused(0);
    overwrite(file_name(0), std::string(static_cast<std::size_t>(session.solver().file_max_bytes), '\xff'));
    expect_refused(0);

    ASSERT_FALSE(foreign.empty());
    ASSERT_LE(foreign.size(), static_cast<std::size_t>(session.solver().file_max_bytes)); // not for its size
    overwrite(file_name(0), foreign);
    expect_refused(0);

    std::string last; // a node that never went to a file must not come from one
    const Solver& solver = session.solver();
    for (std::int32_t s = 0; s < solver.n_snodes && last.empty(); ++s)
        if (solver.snodes[s].factor_block != nullptr) last = record(solver.snodes[s]);
    overwrite(file_name(0), last.empty() ? "none" : last);
    expect_refused(0);

    overwrite(file_name(0), contents(file_name(1))); // nodes that stand in another file
    expect_refused(0);
    overwrite(file_name(0), whole);
    EXPECT_EQ(session.solve(a, right_hand_side(a)), expected);
}

TEST_P(ReadFault, EveryFileCallOfASolveFailsAndTheNextSolveIsRight) {
    const std::vector<double> b = right_hand_side(a);
    for (std::int64_t k = 1;; ++k) {
        mf_test_hooks.fail_file_call_at = k;
        const std::vector<double> x = session.solve(a, b);
        const bool fired = mf_test_hooks.fail_file_call_at == 0;
        HookGuard::reset();
        expect_no_block_of_a_file();
        if (!fired) {
            EXPECT_EQ(x, expected);
            EXPECT_EQ(k - 1, session.solver().file_count * 2 * 6);
            break;
        }
        ASSERT_EQ(session.solve(a, b), expected) << k;
    }
}

TEST_P(ReadFault, EveryAllocationOfASolveFailsAndTheVectorStays) {
    const std::vector<double> b = right_hand_side(a);
    mf_free(object(session).solve_work);
    object(session).solve_work = nullptr;
    for (std::int64_t k = 1; k <= 2; ++k) {
        mf_test_hooks.fail_allocation_at = k;
        EXPECT_EQ(session.solve(a, b), b);
        EXPECT_EQ(info_status(), VYR_ERR_MEMORY);
        mf_free(object(session).solve_work);
        object(session).solve_work = nullptr;
    }
    EXPECT_EQ(session.solve(a, b), expected);
}
