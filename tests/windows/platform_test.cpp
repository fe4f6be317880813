// What only Windows shows, through the platform layer and what stands on top of it.
#include "memory/memory_plan.h"
#include "report/report.h"
#include "support/capture.h"
#include "support/engine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <string>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace vyr::test {
namespace {

DWORD page_state(const void* address) {
    MEMORY_BASIC_INFORMATION info{};
    VirtualQuery(address, &info, sizeof info);
    return info.State;
}

/// The system's text without its line end.
std::string system_text(DWORD code) {
    char text[512] = "";
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, text,
                   sizeof text, nullptr);
    std::string trimmed = text;
    return trimmed.erase(trimmed.find_last_not_of("\r\n") + 1);
}

} // namespace

TEST(Windows, PageBlocksReturnToTheSystemAndAFailureIsAMessageAndCounted) {
    TestContext test;
    test.context.log.messages = true;
    std::uint32_t flags = 0x100;
    char* block = static_cast<char*>(mf_page_alloc(test.memory, platform::page_size() + 1, flags));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(flags, 0x100 | FLAG_PAGE_BLOCK);
    block[platform::page_size()] = 1;
    char* inside = block + platform::page_size();
    VirtualFree(inside, 0, MEM_RELEASE);
    const DWORD code = GetLastError();
    mf_page_free(test.memory, inside, flags);
    EXPECT_EQ(test.text, "\r\nWARNING!!!\tVirtualFree failed with code " + std::to_string(code) + ".");
    EXPECT_EQ(test.memory.free_count.exchange(0), 1);
    EXPECT_EQ(page_state(block), DWORD{MEM_COMMIT});
    mf_page_free(test.memory, block, flags);
    EXPECT_EQ(page_state(block), DWORD{MEM_FREE});
}

TEST(Windows, SystemFactsAndMemoryAreTheSystems) {
    const TempDirectory directory;
    platform::SystemInfo info;
    platform::system_info(info);
    EXPECT_TRUE(std::filesystem::equivalent(info.current_directory, directory.path()));
    EXPECT_EQ(info.architecture, std::uint32_t{PROCESSOR_ARCHITECTURE_AMD64});
    EXPECT_EQ(info.page_size, 4096U);
    EXPECT_EQ(info.allocation_granularity, 65536U);
    EXPECT_GE(info.os_major, 6U);
    MEMORYSTATUSEX expected{};
    expected.dwLength = sizeof expected;
    ASSERT_NE(GlobalMemoryStatusEx(&expected), 0);
    platform::MemoryStatus status;
    ASSERT_TRUE(platform::memory_status(status));
    const std::pair<std::uint64_t, std::uint64_t> sizes[] = {
        {status.available_physical, expected.ullAvailPhys},
        {status.available_page_file, expected.ullAvailPageFile},
        {status.available_virtual, expected.ullAvailVirtual}};
    for (const auto& [a, b] : sizes)
        EXPECT_NEAR(static_cast<double>(a), static_cast<double>(b), 2e9) << "others allocate, too";
    EXPECT_GT(platform::peak_resident_bytes(), 100'000U);
}

TEST(Windows, ErrorTextsAreTheSystemsAndCutToTheirRoom) {
    const std::string expected = system_text(ERROR_ACCESS_DENIED);
    char text[256], brief[5];
    platform::error_text(ERROR_ACCESS_DENIED, text, sizeof text);
    EXPECT_EQ(text, expected);
    platform::error_text(ERROR_ACCESS_DENIED, brief, sizeof brief);
    EXPECT_EQ(brief, expected.substr(0, 4));
    platform::error_text(0x2fffffff, text, sizeof text);
    EXPECT_STREQ(text, "");
    // Windows answers with the largest free block, Wine with 0: then there is a message.
    TestContext test;
    test.context.log.messages = true;
    mf_heap_compact(test.context);
    if (HeapCompact(GetProcessHeap(), 0) != 0 && test.text.empty()) return;
    const std::string begin = "ORNE_HeapCompact failed with error ";
    ASSERT_EQ(test.text.find(begin), 0U) << test.text;
    const unsigned long code = std::stoul(test.text.substr(begin.size()));
    EXPECT_EQ(test.text, begin + std::to_string(code) + ": " + system_text(code).substr(0, 255));
}

TEST(Windows, FilePositionsHave64Bits) {
    const TempDirectory directory;
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

TEST(Windows, TheReportPrintsNumbersAsC99AsksAndDoublesItsCarriageReturns) {
    const TempDirectory directory;
    Statistics statistics;
    statistics.condition = HUGE_VAL;
    statistics.flops = 4.5e10;
    ASSERT_TRUE(mf_write_report("", Settings{}, statistics, true));
    std::ifstream file("VYR_spd 2.2.info", std::ios::binary);
    const std::string report{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(report.find("<COND>inf</COND>"), std::string::npos) << report;
    EXPECT_NE(report.find("<FLOPS>4.5e+10</FLOPS>"), std::string::npos) << report;
    for (std::size_t at = report.find('\n'); at != std::string::npos; at = report.find('\n', at + 1))
        ASSERT_EQ(report.substr(at - 2, 3), "\r\r\n") << "byte " << at;
}

} // namespace vyr::test
