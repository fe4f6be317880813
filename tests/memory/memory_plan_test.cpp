#include "memory/memory_plan.h"
#include "support/capture.h"

#include <gtest/gtest.h>

using namespace vyr;
using namespace vyr::test;

namespace {

constexpr double MB = 1e6;

/// A memory status in megabytes that the library sees while the object lives.
class Machine {
public:
    Machine(std::uint64_t physical, std::uint64_t page_file, std::uint64_t address_space)
        : status_{physical * 1000000, page_file * 1000000, address_space * 1000000} {
        mf_test_hooks.memory_status = &status_;
        mf_ctrl[CTRL_FLAGS] = 1;
    }

private:
    HookGuard guard_;
    platform::MemoryStatus status_;
};

struct Check {
    int status = 1;
    double ratio = -1;
    std::string text;
    Check(double need_mb, bool lenient) {
        text = output_of([&] { status = mf_mem_check(need_mb * MB, lenient, ratio); });
    }
};

struct Plan {
    int status = 1;
    double buffer_mb = -1;
    std::string text;
    Plan(double total_mb, double reserve_mb) {
        text = output_of([&] { status = mf_ooc_buffer(total_mb * MB, reserve_mb * MB, buffer_mb); });
        buffer_mb /= MB;
    }
};

} // namespace

TEST(MemoryCheck, PassesWhenPhysicalMemorySuffices) {
    Machine machine(100, 200, 1000);
    const Check check(10, false);
    EXPECT_EQ(check.status, 0);
    EXPECT_DOUBLE_EQ(check.ratio, 0.1);
    EXPECT_EQ(check.text, "");
}

TEST(MemoryCheck, RefusesWhatTheAddressSpaceCannotHoldUnlessLenient) {
    Machine machine(100, 2000, 500);
    const Check strict(501, false);
    EXPECT_EQ(strict.status, -1);
    EXPECT_EQ(strict.ratio, -1);
    EXPECT_EQ(strict.text,
              "\r\nERROR!!!\tNeed    501(Mb) memory . Only    500(Mb) user space available.\r\n");
    EXPECT_EQ(Check(500, false).status, 0);
    const Check lenient(501, true);
    EXPECT_EQ(lenient.status, 0);
    EXPECT_DOUBLE_EQ(lenient.ratio, 5.01);
    EXPECT_EQ(lenient.text,
              "\r\nWARNING!!!\tThe available physical memory is    100(Mb). Need    401(Mb) spaces.\r\n");
}

TEST(MemoryCheck, RefusesWhatThePageFileCannotHoldUnlessLenient) {
    Machine machine(100, 200, 1000);
    const Check strict(200, false);
    EXPECT_EQ(strict.status, -1);
    EXPECT_DOUBLE_EQ(strict.ratio, 2);
    EXPECT_EQ(strict.text, "\r\nERROR!!!\tNeed    200(Mb) memory . Only have    200(Mb) page files.\r\n");
    EXPECT_EQ(Check(200, true).status, 0);
    double ratio;
    EXPECT_EQ(mf_mem_check(200 * MB - 10, false, ratio), -1); // ten bytes are kept free
    EXPECT_EQ(mf_mem_check(200 * MB - 11, false, ratio), 0);
}

TEST(MemoryCheck, WarnsOfPagingFromATenthAbovePhysicalMemoryOn) {
    Machine machine(100, 200, 1000);
    EXPECT_EQ(Check(110, false).text, "");
    EXPECT_EQ(
        Check(150, false).text,
        "\r\nWARNING!!!\tThe available physical memory is    100(Mb). Using     50(Mb) page files.\r\n");
    mf_ctrl[CTRL_FLAGS] = 0;
    EXPECT_EQ(Check(150, false).text, "");
    EXPECT_EQ(Check(501, false).text, "");
}

TEST(MemoryCheck, GoesOnWhenTheSystemDoesNotTell) {
    Machine machine(1, 1, 1);
    mf_test_hooks.memory_status_fails = true;
    const Check check(1e6, false);
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.ratio, -1);
    EXPECT_EQ(check.text, "\r\nPROMPT!!!\tFailed to get the size of memory and page files.\r\n");
    const Plan plan(1000, 1e9);
    EXPECT_EQ(plan.status, 0);
    EXPECT_DOUBLE_EQ(plan.buffer_mb, 100);
    EXPECT_EQ(plan.text, "");
}

TEST(OutOfCoreBuffer, IsATenthOfTheFactorOrWhatIsFree) {
    const std::string too_small =
        "\r\nERROR!!!\tThe available buffer     15(Mb) is too small.Need 66 mmf files.";
    const std::string slow =
        "\r\nWARNING!!!\tThe available buffer     30(Mb) is too small.The speed will be very slow."
        "Some options:\r\n\t1.Close other applications.\r\n\t2.Upgarage to 64-bit version."
        "\r\n\t3.Why not enlarge memory? Its price is so cheap now.";
    const std::string reserved =
        "\r\nWARNING!!!\tThe available physical memory      90(Mb) is less than reserved.";
    const struct {
        std::uint64_t physical;
        double reserve;
        int status;
        double buffer;
        std::string text;
    } cases[] = {
        {2000, 0, 0, 100, ""},       {1201, 0, 0, 100, ""},   {1200, 0, 0, 100, ""},
        {50, 0, 0, 50, ""},          {30, 0, 0, 30, slow},    {20, 0, 0, 20, ""},
        {15, 0, -1, 15, too_small},  {500, 470, 0, 30, slow}, {90, 91, -1, 100, reserved},
        {90, 75, -1, 15, too_small},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.physical);
        Machine machine(c.physical, 5000, 5000);
        const Plan plan(1000, c.reserve);
        EXPECT_EQ(plan.status, c.status);
        EXPECT_DOUBLE_EQ(plan.buffer_mb, c.buffer);
        if (c.physical != 20)
            EXPECT_EQ(plan.text, c.text); // 20 is just not refused: warned of, not an error
        else
            EXPECT_NE(plan.text.find("WARNING!!!\tThe available buffer     20(Mb)"), std::string::npos);
    }
    Machine machine(90, 5000, 5000);
    mf_ctrl[CTRL_FLAGS] = 0;
    EXPECT_EQ(Plan(1000, 91).text, "");
}
