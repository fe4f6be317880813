// Names, bytes and order of the factor files, and what writing answers.
#include "../ldlt/indefinite.h"
#include "memory/accounted_alloc.h"
#include "memory/factor_files.h"
#include "memory/file_calls.h"
#include "ooc_run.h"
#include "support/capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

using namespace vyr;
using namespace vyr::test;
namespace fs = std::filesystem;

namespace {

/// A hand-made object: nodes of one pivot column and the given update rows, each with a finished block.
class Nodes {
public:
    explicit Nodes(const std::vector<std::int32_t>& nupd) : snodes_(nupd.size()), rows_(nupd.size()) {
        solver_.n = solver_.n_snodes = static_cast<std::int32_t>(nupd.size());
        solver_.snodes = snodes_.data();
        solver_.room_bytes = INT64_MAX;
        for (std::size_t s = 0; s < nupd.size(); ++s) {
            mf_snode& node = snodes_[s];
            rows_[s] = static_cast<std::int32_t>(s);
            node.rows = &rows_[s];
            node.npiv = 1;
            node.nupd = nupd[s];
            node.block_bytes = static_cast<std::uint64_t>(node.n_entries()) * sizeof(double);
            node.factor_block = static_cast<double*>(mf_page_alloc(node.block_bytes, node.flags));
            std::fill_n(node.factor_block, node.n_entries(), static_cast<double>(s) + 0.5);
            node.flags |= NODE_FINISHED;
            solver_.held_bytes += mf_block_cost(node.block_bytes);
        }
        solver_.finished_bytes = solver_.held_bytes;
    }
    ~Nodes() { mf_reset_factor_files(solver_); }
    Solver& operator*() { return solver_; }
    mf_snode& operator[](std::size_t s) { return snodes_[s]; }

private:
    Solver solver_{};
    std::vector<mf_snode> snodes_;
    std::vector<std::int32_t> rows_;
};

} // namespace

TEST(FactorFile, NumbersBelowTenArePaddedWithASpace) {
    EXPECT_EQ(file_name(7), "VYR_ 7.mmf");
    EXPECT_EQ(file_name(12), "VYR_12.mmf");
    EXPECT_EQ(file_name(100), "VYR_100.mmf");
}

TEST(FactorFile, ARecordIsKeyCountAndBlockLittleEndian) {
    const TempDirectory directory;
    const double block[24] = {2.0, -1.0};
    std::FILE* file = nullptr;
    ASSERT_EQ(mf_lu_file(file, 12, 0, 0, nullptr, 0, FILE_OPEN), 0);
    ASSERT_EQ(mf_lu_file(file, 12, 258, 24, block, 50, FILE_APPEND), 0);
    ASSERT_EQ(mf_lu_file(file, 12, 0, 0, nullptr, 50, FILE_CLOSE), 0);
    EXPECT_EQ(file, nullptr);
    const std::string bytes = contents("VYR_12.mmf");
    EXPECT_EQ(bytes.size(), 200u); // width 3, 5 rows below
    const char expected[] = "\x02\x01\0\0\x18\0\0\0\0\0\0\0\0\0\0\x40\0\0\0\0\0\0\xf0\xbf";
    EXPECT_EQ(bytes.substr(0, 24), std::string(expected, 24));
    EXPECT_EQ(bytes.find_first_not_of('\0', 24), std::string::npos);
    EXPECT_EQ(mf_lu_file(file, 12, 0, 1, block, 0, FILE_APPEND), VYR_ERR_FACTOR_FILE); // not open
}

TEST(FactorFile, TheFilesHoldEveryNodeOfAKnownFactorByteForByte) {
    const TempDirectory directory;
    for (const int type : {TYPE_SPD, TYPE_LDLT, TYPE_CSYM}) {
        const Csc a = type == TYPE_SPD ? grid_matrix() : shifted_laplacian(50, 30, 1, 1.7);
        std::string expected;
        {
            Session in_core;
            analyse(in_core, a, {CORE_IN, type});
            ASSERT_EQ(in_core.numeric(a), 0);
            for (std::int32_t s = 0; s < object(in_core).n_snodes; ++s)
                expected += record(object(in_core).snodes[s]);
        }
        Session session;
        analyse(session, a, {CORE_OUT, type});
        ASSERT_EQ(session.numeric(a), 0);
        Solver& solver = object(session);
        ASSERT_GE(solver.file_count, 8);
        const int status = mf_flush_factors(solver, INT64_MAX, 1); // what is still in memory
        EXPECT_TRUE(status == 0 || status == VYR_ERR_NOTHING_TO_FLUSH) << status;
        std::string bytes;
        std::size_t largest = 0;
        for (int f = 0; f < solver.file_count; ++f) {
            bytes += contents(file_name(f));
            largest = std::max(largest, static_cast<std::size_t>(fs::file_size(file_name(f))));
        }
        EXPECT_TRUE(bytes == expected) << type; // one task in ascending order: so are the files
        EXPECT_EQ(static_cast<std::size_t>(solver.file_max_bytes), largest);
        EXPECT_EQ(solver.file_doubles, solver.factor_entries);
        EXPECT_EQ(solver.held_bytes, 0);
        for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
            EXPECT_EQ(solver.snodes[s].factor_block, nullptr);
            EXPECT_NE(solver.snodes[s].flags & NODE_WRITTEN, 0u);
        }
        EXPECT_GT(mf_info[INFO_T_FILE_WRITE], 0);
    }
}

TEST(FactorFile, AFileEndsWithTheRecordThatTakesItPastTheLimit) {
    const TempDirectory directory;
    Nodes nodes({9, 9, 9, 9, 9}); // records of 88 bytes
    nodes[1].flags &= ~std::uint32_t{NODE_FINISHED};
    EXPECT_EQ(mf_flush_factors(*nodes, 100, 0), 0);
    EXPECT_EQ(contents("VYR_ 0.mmf").size(), 176u);
    EXPECT_EQ((*nodes).file_count, 1);
    EXPECT_EQ((*nodes).file_max_bytes, 176);
    EXPECT_NE(nodes[1].factor_block, nullptr); // unfinished
    EXPECT_EQ(nodes[2].factor_block, nullptr);
    EXPECT_NE(nodes[3].factor_block, nullptr);
    nodes[1].flags |= NODE_FINISHED;
    EXPECT_EQ(mf_flush_factors(*nodes, 1000, 0), 0);
    EXPECT_EQ(contents("VYR_ 1.mmf").size(), 264u);
    EXPECT_EQ((*nodes).file_doubles, 50);
    EXPECT_EQ(mf_flush_factors(*nodes, 1000, 0), VYR_ERR_NOTHING_TO_FLUSH);
    EXPECT_FALSE(fs::exists("VYR_ 2.mmf"));
}

TEST(FactorFile, ModeOneWritesOnUntilTheReadBufferFits) {
    const TempDirectory directory;
    Nodes nodes({9, 9, 9, 9, 9, 9});
    (*nodes).room_bytes = 80 + 264; // one block may stay beside a file of three
    EXPECT_EQ(mf_flush_factors(*nodes, 100, 1), 0);
    EXPECT_EQ((*nodes).file_count, 2);
    EXPECT_EQ((*nodes).file_buffer_bytes, 176);
    EXPECT_EQ((*nodes).held_bytes, 160);
    void* buffer = (*nodes).file_buffer;
    EXPECT_EQ(mf_flush_factors(*nodes, 100, 1), 0); // the buffer serves again
    EXPECT_EQ((*nodes).file_count, 3);
    EXPECT_EQ((*nodes).file_buffer, buffer);
}

TEST(FactorFile, TheMemoryOfAClosedFileServesTheReadBuffer) {
    const TempDirectory directory;
    const HookGuard hooks;
    Nodes nodes({9, 9, 9, 9});
    mf_test_hooks.fail_allocation_at = 1; // while the file's own blocks are still held
    EXPECT_EQ(mf_flush_factors(*nodes, 100, 1), 0);
    EXPECT_EQ(mf_test_hooks.fail_allocation_at, 0);
    EXPECT_EQ((*nodes).file_count, 1); // a second number is not spent on one record
    EXPECT_EQ((*nodes).file_buffer_bytes, 176);
}

TEST(FactorFile, AnEmptyLastFileAndUsedUpNumbersAreToldAndNothingIsLost) {
    const TempDirectory directory;
    Nodes nodes({9, 9, 9, 9});
    fs::create_directory(file_name(0)); // cannot be opened for writing
    EXPECT_EQ(mf_flush_factors(*nodes, 100, 1), VYR_ERR_EMPTY_FILE);
    EXPECT_EQ((*nodes).file_count, 0);
    EXPECT_EQ((*nodes).held_bytes, 320);
    fs::remove(file_name(0));

    (*nodes).room_bytes = 0; // the buffer never fits: the file behind the last node stays empty
    EXPECT_EQ(mf_flush_factors(*nodes, 100, 1), VYR_ERR_EMPTY_FILE);
    EXPECT_EQ((*nodes).file_count, 2);
    EXPECT_EQ((*nodes).held_bytes, 0);

    Nodes last({9, 9, 9, 9});
    (*last).file_count = 100;
    (*last).room_bytes = 0;
    EXPECT_EQ(mf_flush_factors(*last, 100, 1), VYR_ERR_NOTHING_TO_FLUSH);
    EXPECT_EQ(contents("VYR_100.mmf").size(), 176u);
    EXPECT_FALSE(fs::exists("VYR_101.mmf"));
    EXPECT_EQ((*last).held_bytes, 160);
    EXPECT_EQ(mf_flush_factors(*last, 100, 1), VYR_ERR_NOTHING_TO_FLUSH);
}

TEST(FactorFile, ARecordOfTwoToThe31DoublesIsNotWrittenNorIsAnythingAfterIt) {
    const TempDirectory directory;
    Nodes nodes({9, 9, 9});
    nodes[1].npiv = 46341; // its square does not fit 31 bits
    nodes[1].nupd = 0;
    EXPECT_EQ(mf_flush_factors(*nodes, 1000, 1), 0);
    EXPECT_EQ(contents("VYR_ 0.mmf").size(), 88u);
    EXPECT_EQ(mf_flush_factors(*nodes, 1000, 1), VYR_ERR_NOTHING_TO_FLUSH);
    EXPECT_NE(nodes[2].factor_block, nullptr);
}

TEST(FactorFile, ProgressLinesShowFileShareAndTime) {
    const TempDirectory directory;
    Nodes nodes({9, 9, 9, 9});
    mf_ctrl[CTRL_FLAGS] = 1;
    mf_info[INFO_NUMERIC_START] = platform::clock_ms() + 1e9; // no time has elapsed
    EXPECT_EQ(output_of([&] { EXPECT_EQ(mf_flush_factors(*nodes, 100, 0), 0); }),
              "\n\r\t\t Write LU to VYR_ 0.mmf.\t 0.0%\ttime=   1..."
              "\r\t\t Write LU to VYR_ 0.mmf.\t50.0%\ttime=   1.   \n");
    (*nodes).file_count = 10;
    EXPECT_EQ(output_of([&] { EXPECT_EQ(mf_flush_factors(*nodes, 1000, 0), 0); }),
              "\r\t\t Write LU to VYR_10.mmf.\t 0.0%\ttime=   1..."
              "\r\t\t Write LU to VYR_10.mmf.\t100.0%\ttime=   1.   \n");
    mf_ctrl[CTRL_FLAGS] = 0;
}
