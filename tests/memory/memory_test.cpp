// What goes into which factor file, and what the memory plan says to a machine, to the letter.
#include "memory/factor_files.h"
#include "memory/memory_plan.h"
#include "support/capture.h"
#include "support/engine.h"

using namespace vyr;
using namespace vyr::test;
namespace fs = std::filesystem;

namespace {

/// A factor made by hand: nodes of one pivot column and nine update rows, each with a finished block. Their
/// records take 88 bytes.
struct Nodes : TestContext {
    explicit Nodes(std::int32_t count) {
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

constexpr double MB = 1e6;

/// A machine with so many megabytes of physical memory, page files and address space.
struct Machine : TestContext {
    Machine(double physical, double page_file, double address_space)
        : status{static_cast<std::uint64_t>(physical * MB), static_cast<std::uint64_t>(page_file * MB),
                 static_cast<std::uint64_t>(address_space * MB)} {
        faults.memory_status = &status;
        context.log.messages = true;
    }
    platform::MemoryStatus status;
};

} // namespace

TEST(FactorFiles, ABlockInPagesCostsWholePagesAndRoomForAHeader) {
    const auto page = static_cast<std::int64_t>(platform::page_size());
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
    EXPECT_TRUE(!nodes.held(0) && nodes.held(1) && !nodes.held(2) && nodes.held(3));
    EXPECT_EQ(nodes.factor.read_buffer.bytes(), 0);
    nodes.factor.blocks[1].flags |= BLOCK_FINISHED;
    EXPECT_EQ(nodes.flush(176, 0), Status::OK);
    EXPECT_EQ(fs::file_size("VYR_ 1.mmf"), 264u);
    EXPECT_EQ(nodes.factor.files.doubles, 50);
    EXPECT_EQ(nodes.factor.files.finished_bytes, 0);
    EXPECT_EQ(nodes.flush(1000, 0), Status::NOTHING_TO_FLUSH);
    EXPECT_EQ(nodes.factor.files.count, 2);
}

TEST(FactorFiles, ModeOneWritesOnUntilTheReadBufferFits) {
    const TempDirectory directory;
    for (const bool refused : {false, true}) {
        Nodes nodes(6);
        nodes.factor.files.room_bytes = refused ? INT64_MAX : 80 + 176; // a block beside a file of two
        nodes.faults.allocation.set(refused); // while the file's own blocks are still held
        EXPECT_EQ(nodes.flush(100, 1), Status::OK);
        EXPECT_EQ(nodes.factor.files.count, refused ? 1 : 3); // no second number for one record
        EXPECT_EQ(nodes.factor.files.held_bytes, refused ? 320 : 80);
        EXPECT_EQ(nodes.factor.read_buffer.bytes(), 176);
    }
}

TEST(FactorFiles, AnEmptyLastFileAndUsedUpNumbersAreToldAndNothingIsLost) {
    const TempDirectory directory;
    Nodes nodes(4);
    fs::create_directory("VYR_ 0.mmf"); // cannot be opened for writing
    EXPECT_EQ(nodes.flush(100, 1), Status::EMPTY_FILE);
    EXPECT_EQ(nodes.factor.files.held_bytes, 320);
    fs::remove("VYR_ 0.mmf");
    nodes.factor.files.count = 100;
    nodes.factor.files.room_bytes = 0; // the buffer never fits
    for (int flush = 0; flush < 2; ++flush) EXPECT_EQ(nodes.flush(100, 1), Status::NOTHING_TO_FLUSH);
    EXPECT_EQ(fs::file_size("VYR_100.mmf"), 176u);
    EXPECT_EQ(nodes.factor.files.held_bytes, 160);
}

TEST(FactorFiles, ARecordOfTwoToThe31DoublesIsNotWrittenNorIsAnythingAfterIt) {
    const TempDirectory directory;
    Nodes nodes(3);
    nodes.analysis.snodes[1].npiv = 46341, nodes.analysis.snodes[1].nupd = 0; // the square has 32 bits
    EXPECT_EQ(nodes.flush(1000, 1), Status::OK);
    EXPECT_EQ(fs::file_size("VYR_ 0.mmf"), 88u);
    EXPECT_TRUE(nodes.held(2));
}

TEST(MemoryPlan, SaysWhetherTheFactorFits) {
    const std::string physical = "\r\nWARNING!!!\tThe available physical memory is    100(Mb). ",
                      error = "\r\nERROR!!!\tNeed ";
    const struct {
        double page_file, address_space, need;
        bool lenient, refused;
        double ratio;
        std::string text;
    } rows[] = {{200, 500, 501, false, true, -1,
                 error + "   501(Mb) memory . Only    500(Mb) user space available.\r\n"},
                {2000, 500, 500, false, false, 5, physical + "Using    400(Mb) page files.\r\n"},
                {200, 500, 501, true, false, 5.01, physical + "Need    401(Mb) spaces.\r\n"},
                {100.00001, 1000, 100, false, true, 1, // ten bytes are kept free
                 error + "   100(Mb) memory . Only have    100(Mb) page files.\r\n"},
                {100.000011, 1000, 100, false, false, 1, ""},
                {1, 1000, 99, false, false, 0.99, ""}, // physical memory alone suffices
                {200, 1000, 110, false, false, 1.1, ""},
                {200, 1000, 111, false, false, 1.11, physical + "Using     11(Mb) page files.\r\n"}};
    for (const auto& row : rows) {
        Machine machine(100, row.page_file, row.address_space);
        double ratio = -1;
        EXPECT_EQ(mf_mem_check(machine.context, row.need * MB, row.lenient, ratio),
                  row.refused ? Status::FACTOR_STORAGE : Status::OK);
        EXPECT_DOUBLE_EQ(ratio, row.ratio);
        EXPECT_EQ(machine.text, row.text) << &row - rows;
        EXPECT_EQ(machine.memory.refused, row.refused ? row.need * MB : 0);
    }
    Machine silent(1, 1, 1);
    silent.faults.memory_status_fails = true;
    double ratio = -1;
    EXPECT_EQ(mf_mem_check(silent.context, 500 * MB, false, ratio), Status::OK);
    mf_alloc_failed(silent.context, 2.5 * MB, "a block");
    EXPECT_TRUE(silent.text.starts_with("\r\nPROMPT!!!\tFailed to get the size of memory and page files.\r\n"
                                        "\r\nERROR!!!Failed to allocate 2.5(M) memory.Error code="));
    EXPECT_TRUE(silent.text.ends_with("\r\n\ta block.") && ratio == -1);
    silent.faults.memory_status_fails = false;
    mf_alloc_failed(silent.context, 0, "");
    EXPECT_TRUE(silent.text.ends_with("available is 1(M).\r\n\tThe virtual space of the process is 1(M)."));
}

TEST(MemoryPlan, GivesATenthOfTheFactorToTheBufferOrWhatIsFree) {
    const std::string error = "\r\nERROR!!!\tThe available buffer ",
                      warning = "\r\nWARNING!!!\tThe available ",
                      slow = "(Mb) is too small.The speed will be very slow.Some options:"
                             "\r\n\t1.Close other applications.\r\n\t2.Upgarage to 64-bit version."
                             "\r\n\t3.Why not enlarge memory? Its price is so cheap now.";
    const struct {
        double physical, reserve;
        bool refused;
        double buffer;
        std::string text;
    } rows[] = {{1000, 0, false, 100, ""},
                {1010, 999, true, 11, error + "    11(Mb) is too small.Need 90 mmf files."},
                {50, 0, false, 50, ""},
                {500, 451, false, 49, warning + "buffer     49" + slow},
                {20, 0, false, 20, warning + "buffer     20" + slow},
                {90, 90, true, 0, error + "     0(Mb) is too small.Need 2147483647 mmf files."},
                {90, 91, true, 100, warning + "physical memory      90(Mb) is less than reserved."}};
    for (const auto& row : rows) {
        Machine machine(row.physical, 5000, 5000);
        double buffer = -1;
        EXPECT_EQ(mf_ooc_buffer(machine.context, 1000 * MB, row.reserve * MB, buffer),
                  row.refused ? Status::BUFFER : Status::OK);
        EXPECT_DOUBLE_EQ(buffer, row.buffer * MB);
        EXPECT_EQ(machine.text, row.text) << &row - rows;
    }
}
