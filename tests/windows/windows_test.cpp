// What only Windows shows, through the platform layer and what stands on top of it, up to the finished
// program.
#include "memory/memory_plan.h"
#include "report/report.h"
#include "support/capture.h"
#include "support/engine.h"
#include "tools/vyr/line_reader.h"

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace vyr::test {
namespace {

DWORD page_state(const void* address) {
    MEMORY_BASIC_INFORMATION info{};
    VirtualQuery(address, &info, sizeof info);
    return info.State;
}

/// Runs the program in a fresh directory and expects its exit code and a text in either stream.
void expect(const std::string& arguments, int code, const std::string& text) {
    const int found = std::system((VYR_PROGRAM " " + arguments + " >out 2>err").c_str());
    const std::string shown = tool::read_file("out") + tool::read_file("err");
    EXPECT_EQ(found, code) << arguments << "\n" << shown;
    EXPECT_NE(shown.find(text), std::string::npos) << arguments << "\n" << shown;
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
    EXPECT_GT(platform::resident_bytes(), 100'000U);
}

TEST(Windows, ErrorTextsAreTheSystemsAndCutToTheirRoom) {
    char expected[256] = "", text[256], brief[5];
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, ERROR_ACCESS_DENIED,
                   0, expected, sizeof expected, nullptr); // with its line end
    platform::error_text(ERROR_ACCESS_DENIED, text, sizeof text);
    EXPECT_EQ(std::string(text) + "\r\n", expected);
    platform::error_text(ERROR_ACCESS_DENIED, brief, sizeof brief);
    EXPECT_EQ(brief, std::string(text, 4));
    platform::error_text(0x2fffffff, text, sizeof text);
    EXPECT_STREQ(text, "");
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

TEST(Program, ExitCodesTextsAndFilesAreThoseOfAnyOtherSystem) {
    const TempDirectory directory;
    const std::string symmetric = "%%MatrixMarket matrix coordinate real symmetric\n";
    std::ofstream("good.mtx", std::ios::binary) << symmetric + "2 2 3\r\n1 1 4\r\n2 1 1\r\n2 2 3\r\n";
    std::ofstream("negative.mtx", std::ios::binary) << symmetric + "2 2 2\n1 1 4\n2 2 -3\n";
    std::ofstream("b.mtx", std::ios::binary) << "%%MatrixMarket matrix array real general\n2 1\n9\n5\n";
    std::filesystem::create_directory("a folder");
    expect("--version", 0, "vyr 2.2");
    expect("fly", 2, "");
    expect("solve absent.mtx", 2, "vyr: absent.mtx: cannot be opened: ");
    expect("solve negative.mtx", 1, "vyr: The matrix is not positive definite");
    expect("solve good.mtx --rhs b.mtx --output x.mtx --threads 2", 0, "backward error");
    EXPECT_NE(tool::read_file("x.mtx").find("\n2\n1\n"), std::string::npos);
    expect("solve good.mtx --report \"a folder\" --out-of-core \"a folder\"", 0,
           "factor files                  1");
    EXPECT_NE(tool::read_file("a folder/VYR_spd 2.2.info").find("<STATUS>0</STATUS>"), std::string::npos);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("a folder"), {}), 1)
        << "the factor's files are gone";
}

} // namespace vyr::test
