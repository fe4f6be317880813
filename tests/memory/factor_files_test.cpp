// What goes into which factor file, and what is said of it.
#include "memory/factor_files.h"
#include "memory/file_calls.h"
#include "support/capture.h"
#include "support/engine.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace vyr;
using namespace vyr::test;
namespace fs = std::filesystem;

namespace {

/// A factor made by hand: nodes of one pivot column and nine update rows, each with a finished block. Their
/// records take 88 bytes.
struct Nodes : TestContext {
    explicit Nodes(std::int32_t count) {
        context.log.messages = true;
        context.statistics.numeric_start = platform::clock_ms() + 1e9; // no time has elapsed
        analysis.n = analysis.n_snodes = count;
        analysis.snodes = Buffer<mf_snode>::zeroed(memory, count);
        analysis.row_slab = Buffer<std::int32_t>(memory, count);
        factor.blocks = Buffer<FactorBlock>::zeroed(memory, count);
        for (std::int32_t s = 0; s < count; ++s) {
            analysis.row_slab[s] = s;
            analysis.snodes[s].rows = &analysis.row_slab[s];
            analysis.snodes[s].npiv = 1;
            analysis.snodes[s].nupd = 9;
            FactorBlock& block = factor.blocks[s];
            block.bytes = 80;
            block.values = static_cast<double*>(mf_page_alloc(memory, block.bytes, block.flags));
            std::fill_n(block.values, 10, s + 0.5);
            block.flags |= BLOCK_FINISHED;
        }
        factor.files.room_bytes = INT64_MAX;
        factor.files.held_bytes = factor.files.finished_bytes = 80 * count;
    }
    Status flush(std::int64_t limit, int mode) { return mf_flush_factors(context, factor, limit, mode); }
    bool held(std::int32_t s) const { return factor.block(s) != nullptr; }
    Analysis analysis;
    Factor factor{memory, analysis};
};

} // namespace

TEST(FactorFiles, NumbersBelowTenArePaddedWithASpace) {
    for (const auto& [number, expected] : {std::pair{7, "VYR_ 7.mmf"}, {12, "VYR_12.mmf"}}) {
        char name[FILE_NAME_BYTES];
        mf_file_name(number, name);
        EXPECT_STREQ(name, expected);
    }
}

TEST(FactorFiles, ABlockInPagesCostsWholePagesAndRoomForAHeader) {
    const auto page = static_cast<std::int64_t>(platform::page_size());
    EXPECT_EQ(mf_block_cost(static_cast<std::uint64_t>(page) - 1), page - 1);
    for (const std::int64_t bytes : {page, page + 1, 2 * page - 1, 7 * page, 8 * page - 1}) {
        const std::int64_t cost = mf_block_cost(static_cast<std::uint64_t>(bytes));
        EXPECT_TRUE(cost % page == 0 && cost >= bytes + 64 && cost <= bytes + 2 * page) << bytes;
    }
}

TEST(FactorFiles, AFileEndsWithTheRecordThatTakesItPastTheLimit) {
    const TempDirectory directory;
    Nodes nodes(5);
    nodes.factor.blocks[1].flags &= ~std::uint32_t{BLOCK_FINISHED};
    EXPECT_EQ(nodes.flush(175, 0), Status::OK);
    EXPECT_EQ(fs::file_size("VYR_ 0.mmf"), 176u);
    EXPECT_EQ(nodes.factor.files.max_bytes, 176);
    EXPECT_TRUE(!nodes.held(0) && nodes.held(1) && !nodes.held(2) && nodes.held(3));
    nodes.factor.blocks[1].flags |= BLOCK_FINISHED;
    EXPECT_EQ(nodes.flush(176, 0), Status::OK);
    EXPECT_EQ(fs::file_size("VYR_ 1.mmf"), 264u);
    EXPECT_EQ(nodes.factor.files.count, 2);
    EXPECT_EQ(nodes.factor.files.doubles, 50);
    EXPECT_EQ(nodes.factor.files.finished_bytes, 0);
    EXPECT_EQ(nodes.flush(1000, 0), Status::NOTHING_TO_FLUSH);
    EXPECT_FALSE(fs::exists("VYR_ 2.mmf"));
}

TEST(FactorFiles, ModeOneWritesOnUntilTheReadBufferFits) {
    const TempDirectory directory;
    Nodes nodes(6);
    nodes.factor.files.room_bytes = 80 + 176; // one block may stay beside a file of two
    EXPECT_EQ(nodes.flush(100, 1), Status::OK);
    EXPECT_EQ(nodes.factor.files.count, 3);
    EXPECT_EQ(nodes.factor.files.held_bytes, 80);
    EXPECT_NE(nodes.text.find("VYR_ 1.mmf.\t33.3%\ttime=   1..."), std::string::npos) << nodes.text;
    EXPECT_EQ(nodes.factor.read_buffer.bytes(), 176);

    Nodes refused(4);
    refused.faults.allocation.set(1); // while the file's own blocks are still held
    EXPECT_EQ(refused.flush(100, 1), Status::OK);
    EXPECT_EQ(refused.factor.files.count, 1); // a second number is not spent on one record
    EXPECT_EQ(refused.factor.read_buffer.bytes(), 176);

    Nodes all(2);
    all.factor.files.room_bytes = 0; // no buffer, but nothing left to write either
    EXPECT_EQ(all.flush(1000, 1), Status::OK);
    EXPECT_EQ(all.factor.files.count, 1);
}

TEST(FactorFiles, AnEmptyLastFileAndUsedUpNumbersAreToldAndNothingIsLost) {
    const TempDirectory directory;
    Nodes nodes(4);
    fs::create_directory("VYR_ 0.mmf"); // cannot be opened for writing
    EXPECT_EQ(nodes.flush(100, 1), Status::EMPTY_FILE);
    EXPECT_EQ(nodes.factor.files.count, 0);
    EXPECT_EQ(nodes.factor.files.held_bytes, 320);
    fs::remove("VYR_ 0.mmf");
    nodes.factor.files.count = 100;
    nodes.factor.files.room_bytes = 0; // the buffer never fits
    EXPECT_EQ(nodes.flush(100, 1), Status::NOTHING_TO_FLUSH);
    EXPECT_EQ(fs::file_size("VYR_100.mmf"), 176u);
    EXPECT_FALSE(fs::exists("VYR_101.mmf"));
    EXPECT_EQ(nodes.factor.files.held_bytes, 160);
    EXPECT_EQ(nodes.flush(100, 1), Status::NOTHING_TO_FLUSH);
    nodes.factor.files.count = 0;
    EXPECT_EQ(nodes.flush(100, 1), Status::EMPTY_FILE); // behind the one with the last node
    EXPECT_EQ(nodes.factor.files.held_bytes, 0);
}

#ifndef _WIN32
TEST(FactorFiles, AFullDeviceIsToldByTheRecordItDoesNotTake) {
    if (!fs::exists("/dev/full")) GTEST_SKIP();
    const TempDirectory directory;
    fs::create_symlink("/dev/full", "VYR_ 0.mmf");
    Nodes nodes(1);
    const std::vector<double> block(100000); // more than the C library keeps back
    std::FILE* file = nullptr;
    const auto step = [&](int operation) {
        return mf_lu_file(nodes.context, nodes.factor, file, 0, 0, 100000, block.data(), 0, operation);
    };
    EXPECT_EQ(step(FILE_APPEND), Status::FACTOR_FILE); // not open
    EXPECT_EQ(step(FILE_OPEN), Status::OK);
    EXPECT_EQ(step(FILE_APPEND), Status::FACTOR_FILE);
    (void)step(FILE_CLOSE);
    EXPECT_EQ(file, nullptr);
}
#endif

TEST(FactorFiles, ARecordOfTwoToThe31DoublesIsNotWrittenNorIsAnythingAfterIt) {
    const TempDirectory directory;
    Nodes nodes(3);
    nodes.analysis.snodes[1].npiv = 46341; // its square does not fit 31 bits
    nodes.analysis.snodes[1].nupd = 0;
    EXPECT_EQ(nodes.flush(1000, 1), Status::OK);
    EXPECT_EQ(fs::file_size("VYR_ 0.mmf"), 88u);
    EXPECT_EQ(nodes.flush(1000, 1), Status::NOTHING_TO_FLUSH);
    EXPECT_TRUE(nodes.held(2));
}

TEST(FactorFiles, ProgressLinesShowFileShareAndTime) {
    const TempDirectory directory;
    Nodes nodes(4);
    EXPECT_EQ(nodes.flush(100, 0), Status::OK);
    nodes.factor.files.count = 10;
    nodes.context.statistics.t_file_write = 2.5e8;
    nodes.context.statistics.numeric_start = platform::clock_ms() - 1e9;
    EXPECT_EQ(nodes.flush(1000, 0), Status::OK);
    EXPECT_GE(nodes.context.statistics.t_file_write, 2.5e8);
    EXPECT_LT(nodes.context.statistics.t_file_write, 2.51e8);
    EXPECT_EQ(nodes.text, "\n\r\t\t Write LU to VYR_ 0.mmf.\t 0.0%\ttime=   1..."
                          "\r\t\t Write LU to VYR_ 0.mmf.\t50.0%\ttime=   1.   \n"
                          "\r\t\t Write LU to VYR_10.mmf.\t 0.0%\ttime=0.25..."
                          "\r\t\t Write LU to VYR_10.mmf.\t100.0%\ttime=0.25.   \n");
}
