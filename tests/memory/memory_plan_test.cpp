// What the memory plan says to a machine, to the letter.
#include "memory/memory_plan.h"
#include "support/engine.h"

#include <gtest/gtest.h>

using namespace vyr;
using namespace vyr::test;

namespace {

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
