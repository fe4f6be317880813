// What the memory plan says to a machine, to the letter.
#include "memory/memory_plan.h"
#include "support/engine.h"

#include <gtest/gtest.h>

#include <cerrno>

#ifdef _WIN32
#include <windows.h>
#endif

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
    const char* physical = "\r\nWARNING!!!\tThe available physical memory is    100(Mb). ";
    const struct {
        double page_file, address_space, need;
        bool lenient, refused;
        double ratio;
        std::string text;
    } rows[] = {
        {200, 1000, 10, false, false, 0.1, ""},
        {200, 500, 501, false, true, -1,
         "\r\nERROR!!!\tNeed    501(Mb) memory . Only    500(Mb) user space available.\r\n"},
        {2000, 500, 500, false, false, 5, physical + std::string("Using    400(Mb) page files.\r\n")},
        {200, 500, 501, true, false, 5.01, physical + std::string("Need    401(Mb) spaces.\r\n")},
        {200, 1000, 200, false, true, 2,
         "\r\nERROR!!!\tNeed    200(Mb) memory . Only have    200(Mb) page files.\r\n"},
        {100.00001, 1000, 100, false, true, 1, // ten bytes are kept free
         "\r\nERROR!!!\tNeed    100(Mb) memory . Only have    100(Mb) page files.\r\n"},
        {100.000011, 1000, 100, false, false, 1, ""},
        {1, 1000, 99, false, false, 0.99, ""}, // physical memory alone suffices
        {200, 1000, 110, false, false, 1.1, ""},
        {200, 1000, 111, false, false, 1.11, physical + std::string("Using     11(Mb) page files.\r\n")},
        {200, 1000, 110, true, false, 1.1, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.need);
        Machine machine(100, row.page_file, row.address_space);
        double ratio = -1;
        EXPECT_EQ(mf_mem_check(machine.context, row.need * MB, row.lenient, ratio),
                  row.refused ? Status::FACTOR_STORAGE : Status::OK);
        EXPECT_DOUBLE_EQ(ratio, row.ratio);
        EXPECT_EQ(machine.text, row.text);
        EXPECT_EQ(machine.context.reason[0] != 0, row.refused);
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
    } rows[] = {
        {2000, 0, false, 100, ""},
        {1000, 0, false, 100, ""},
        {1010, 999, true, 11, error + "    11(Mb) is too small.Need 90 mmf files."},
        {50, 0, false, 50, ""},
        {49, 0, false, 49, warning + "buffer     49" + slow},
        {500, 470, false, 30, warning + "buffer     30" + slow},
        {20, 0, false, 20, warning + "buffer     20" + slow},
        {15, 0, true, 15, error + "    15(Mb) is too small.Need 66 mmf files."},
        {90, 75, true, 15, error + "    15(Mb) is too small.Need 66 mmf files."},
        {90, 90, true, 0, error + "     0(Mb) is too small.Need 2147483647 mmf files."},
        {90, 91, true, 100, warning + "physical memory      90(Mb) is less than reserved."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.physical);
        Machine machine(row.physical, 5000, 5000);
        double buffer = -1;
        EXPECT_EQ(mf_ooc_buffer(machine.context, 1000 * MB, row.reserve * MB, buffer),
                  row.refused ? Status::BUFFER : Status::OK);
        EXPECT_DOUBLE_EQ(buffer, row.buffer * MB);
        EXPECT_EQ(machine.text, row.text);
        EXPECT_EQ(machine.context.reason[0] != 0, row.refused);
    }
}

TEST(MemoryPlan, GoesOnWhenTheSystemDoesNotTell) {
    Machine machine(1, 1, 1);
    machine.faults.memory_status_fails = true;
    double ratio = -1, buffer = -1;
    EXPECT_EQ(mf_mem_check(machine.context, 1e12, false, ratio), Status::OK);
    EXPECT_EQ(ratio, -1);
    EXPECT_EQ(machine.text, "\r\nPROMPT!!!\tFailed to get the size of memory and page files.\r\n");
    EXPECT_EQ(mf_ooc_buffer(machine.context, 1000 * MB, 1e15, buffer), Status::OK);
    EXPECT_DOUBLE_EQ(buffer, 100 * MB);
    machine.faults.memory_status_fails = false;
    machine.faults.memory_status = nullptr; // the machine's own
    EXPECT_EQ(mf_mem_check(machine.context, 1, false, ratio), Status::OK);
    EXPECT_GT(ratio, 0);
}

TEST(MemoryPlan, ARefusedLargeRequestIsReportedWithWhatThereIs) {
    Machine machine(5, 6, 7.5);
    const auto report = [&] {
        machine.text.clear();
#ifdef _WIN32
        SetLastError(12);
#else
        errno = 12;
#endif
        mf_alloc_failed(machine.context, 12.5e6, "LU=12.5(M),thresh=1,reserve=0");
        return machine.text;
    };
    const std::string request = "\r\nERROR!!!Failed to allocate 12.5(M) memory.Error code=12"
                                "\r\n\tLU=12.5(M),thresh=1,reserve=0.";
    EXPECT_EQ(report(), request + "\r\n\tThe physical memory currently available is 5(M)."
                                  "\r\n\tThe virtual space of the process is 7.5(M).");
    machine.faults.memory_status_fails = true;
    EXPECT_EQ(report(), request);
    machine.context.log.messages = false;
    EXPECT_EQ(report(), "");
}
