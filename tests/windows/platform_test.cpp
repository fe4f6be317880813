// What only Windows shows, through the platform layer and the allocator on top of it.
#include "memory/accounted_alloc.h"
#include "report/console.h"
#include "report/report.h"
#include "support/capture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <regex>
#include <string>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace vyr::test {
namespace {

MEMORY_BASIC_INFORMATION pages_at(const void* address) {
    MEMORY_BASIC_INFORMATION info{};
    VirtualQuery(address, &info, sizeof info);
    return info;
}

std::string system_text(DWORD code) {
    char text[512] = "";
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, text,
                   sizeof text, nullptr);
    return text;
}

/// Messages on, platform facts known.
class Windows : public testing::Test {
protected:
    Windows() {
        platform::system_info(mf_system);
        mf_ctrl[CTRL_FLAGS] = 1;
    }
};

} // namespace

TEST_F(Windows, PageBlocksAreCommittedPagesAndReturnToTheSystem) {
    std::uint32_t flags = 0x100;
    char* block = static_cast<char*>(mf_page_alloc(mf_system.page_size + 1, flags));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(flags, 0x100 | FLAG_PAGE_BLOCK);
    const MEMORY_BASIC_INFORMATION held = pages_at(block);
    EXPECT_EQ(held.AllocationBase, block);
    EXPECT_EQ(held.State, DWORD{MEM_COMMIT});
    EXPECT_EQ(held.Type, DWORD{MEM_PRIVATE});
    EXPECT_EQ(held.Protect, DWORD{PAGE_READWRITE});
    EXPECT_EQ(held.RegionSize, 2 * mf_system.page_size);
    block[mf_system.page_size] = 1;
    EXPECT_EQ(output_of([&] { mf_page_free(block, flags); }), "");
    EXPECT_EQ(pages_at(block).State, DWORD{MEM_FREE});

    void* small = mf_page_alloc(mf_system.page_size - 1, flags);
    EXPECT_EQ(flags, 0x100U) << "less than a page is a heap block";
    mf_page_free(small, flags);
}

TEST_F(Windows, PagesThatCannotBeFreedAreAMessageAndCountedAsReleased) {
    std::uint32_t flags = 0;
    char* block = static_cast<char*>(mf_page_alloc(2 * mf_system.page_size, flags));
    char* inside = block + mf_system.page_size;
    VirtualFree(inside, 0, MEM_RELEASE);
    const DWORD code = GetLastError();
    const int before = free_count;
    EXPECT_EQ(output_of([&] { mf_page_free(inside, flags); }),
              "\r\nWARNING!!!\tVirtualFree failed with code " + std::to_string(code) + ".");
    EXPECT_EQ(free_count, before + 1);
    mf_page_free(block, flags);
}

TEST_F(Windows, MemoryStatusIsTheSystems) {
    MEMORYSTATUSEX expected{};
    expected.dwLength = sizeof expected;
    ASSERT_NE(GlobalMemoryStatusEx(&expected), 0);
    platform::MemoryStatus status;
    ASSERT_TRUE(platform::memory_status(status));
    const auto alike = [](std::uint64_t a, std::uint64_t b) {
        return std::abs(static_cast<double>(a) - static_cast<double>(b)) < 2e9; // others allocate, too
    };
    EXPECT_GT(status.available_physical, 0U);
    EXPECT_LE(status.available_physical, expected.ullTotalPhys);
    EXPECT_TRUE(alike(status.available_physical, expected.ullAvailPhys));
    EXPECT_TRUE(alike(status.available_page_file, expected.ullAvailPageFile));
    EXPECT_TRUE(alike(status.available_virtual, expected.ullAvailVirtual));
    EXPECT_GT(platform::peak_resident_bytes(), 100'000U);
}

// Windows answers with the largest free block, Wine with 0: then there is a message.
TEST_F(Windows, HeapCompactionIsSilentOrTellsTheSystemsCodeAndText) {
    const bool compacts = HeapCompact(GetProcessHeap(), 0) != 0;
    StdoutCapture capture;
    mf_heap_compact();
    const std::string text = capture.whole_text();
    std::smatch parts;
    if (compacts) {
        EXPECT_EQ(text, "");
    } else {
        ASSERT_TRUE(
            std::regex_match(text, parts, std::regex("ORNE_HeapCompact failed with error (\\d+): (.*)")))
            << text;
        EXPECT_EQ(system_text(std::stoul(parts[1])).substr(0, parts[2].length()), parts[2]);
    }
    mf_ctrl[CTRL_FLAGS] = 0;
    EXPECT_EQ(output_of(mf_heap_compact), "");
}

TEST_F(Windows, SystemFactsAreTheSystems) {
    TempDirectory directory;
    platform::SystemInfo info;
    platform::system_info(info);
    EXPECT_TRUE(std::filesystem::equivalent(info.current_directory, directory.path()));
    EXPECT_EQ(info.current_directory[1], ':') << info.current_directory;
    EXPECT_EQ(info.architecture, std::uint32_t{PROCESSOR_ARCHITECTURE_AMD64});
    EXPECT_EQ(info.page_size, 4096U);
    EXPECT_EQ(info.allocation_granularity, 65536U);
    EXPECT_GE(info.n_processors, 1U);
    EXPECT_GE(info.os_major, 6U);
}

TEST_F(Windows, ErrorTextsAreTheSystemsWithoutTheirLineEnd) {
    char text[256];
    platform::error_text(ERROR_ACCESS_DENIED, text, sizeof text);
    std::string expected = system_text(ERROR_ACCESS_DENIED);
    expected.erase(expected.find_last_not_of("\r\n") + 1);
    ASSERT_NE(expected, "");
    EXPECT_EQ(text, expected);
    char brief[5];
    platform::error_text(ERROR_ACCESS_DENIED, brief, sizeof brief);
    EXPECT_EQ(brief, expected.substr(0, 4));
    platform::error_text(0x2fffffff, text, sizeof text);
    EXPECT_STREQ(text, "");
}

TEST_F(Windows, FilePositionsHave64Bits) {
    TempDirectory directory;
    constexpr std::int64_t FAR_AWAY = (std::int64_t{6} << 30) + 3;
    std::FILE* file = std::fopen("positions", "wb+");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(platform::file_seek(file, FAR_AWAY, SEEK_SET), 0);
    EXPECT_EQ(platform::file_tell(file), FAR_AWAY);
    EXPECT_EQ(platform::file_seek(file, -FAR_AWAY + 5, SEEK_CUR), 0);
    EXPECT_EQ(platform::file_tell(file), 5);
    EXPECT_NE(platform::file_seek(file, -1, SEEK_SET), 0);
    std::fclose(file);
}

TEST_F(Windows, NumbersArePrintedAsC99Asks) {
    EXPECT_EQ(output_of([] { mf_print("%g %g %g %g %6g", 1e-7, 1.5e300, HUGE_VAL, -HUGE_VAL, 2.5e10); }),
              "1e-07 1.5e+300 inf -inf 2.5e+10");
    EXPECT_EQ(output_of([] { mf_print("%g", std::fabs(NAN)); }), "nan");
    TempDirectory directory;
    mf_info[INFO_CONDITION] = HUGE_VAL;
    mf_info[INFO_FLOPS] = 4.5e10;
    mf_write_report();
    std::ifstream file("VYR_spd 2.2.info", std::ios::binary);
    const std::string report{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(report.find("<COND>inf</COND>"), std::string::npos) << report;
    EXPECT_NE(report.find("<FLOPS>4.5e+10</FLOPS>"), std::string::npos) << report;
}

TEST_F(Windows, TheRunTimeDoublesTheCarriageReturnsOfTheReport) {
    TempDirectory directory;
    mf_write_report();
    std::ifstream file("VYR_spd 2.2.info", std::ios::binary);
    const std::string report{std::istreambuf_iterator<char>(file), {}};
    ASSERT_NE(report, "");
    for (std::size_t at = report.find('\n'); at != std::string::npos; at = report.find('\n', at + 1))
        ASSERT_EQ(report.substr(at - 2, 3), "\r\r\n") << "byte " << at;
}

} // namespace vyr::test
