#include "memory/buffer.h"
#include "support/capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <thread>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#endif

using namespace vyr;
using namespace vyr::test;

namespace {

void set_last_error(int code) {
#ifdef _WIN32
    SetLastError(static_cast<DWORD>(code));
#else
    errno = code;
#endif
}

} // namespace

TEST(AccountedAlloc, CountersReturnToTheStartAndThePeakStays) {
    mf_mem_restart();
    const std::uint64_t start = mem_current;
    std::vector<void*> blocks;
    for (std::size_t bytes : {1u, 100u, 5000u, 1000000u}) {
        const std::uint64_t before = mem_current;
        blocks.push_back(mf_malloc(bytes));
        ASSERT_NE(blocks.back(), nullptr);
        EXPECT_EQ(mem_current - before, platform::heap_usable_size(blocks.back()));
        EXPECT_GE(mem_current - before, bytes);
    }
    EXPECT_EQ(alloc_count, 4);
    const double peak = mf_mem_peak();
    EXPECT_EQ(peak, static_cast<double>(mem_current.load()));
    for (void* block : blocks) mf_free(block);
    mf_free(nullptr);
    EXPECT_EQ(mem_current, start);
    EXPECT_EQ(free_count, 4);
    EXPECT_EQ(mf_mem_peak(), peak);
}

TEST(AccountedAlloc, RequestsOfAPageOrMoreComeFromThePageAllocator) {
    mf_mem_restart();
    const std::uint64_t start = mem_current;
    std::uint32_t flags = 1;
    void* page = mf_page_alloc(mf_system.page_size, flags);
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(flags, 1 | FLAG_PAGE_BLOCK);
    EXPECT_EQ(mem_current, start); // counted, not measured
    EXPECT_EQ(alloc_count, 1);
    const std::vector<char> zeros(mf_system.page_size, 0);
    EXPECT_EQ(std::memcmp(page, zeros.data(), zeros.size()), 0);
    std::memset(page, 1, zeros.size());
    mf_page_free(page, flags);
    EXPECT_EQ(free_count, 1);

    void* heap = mf_page_alloc(mf_system.page_size - 1, flags);
    ASSERT_NE(heap, nullptr);
    EXPECT_EQ(flags, 1u);
    EXPECT_GE(mem_current, start + mf_system.page_size - 1);
    mf_page_free(heap, flags);
    EXPECT_EQ(mem_current, start);
    EXPECT_EQ(free_count, 2);
}

TEST(AccountedAlloc, ADeclinedPageRequestFallsBackToTheHeap) {
    HookGuard hooks;
    const std::uint64_t start = mem_current;
    std::uint32_t flags = FLAG_PAGE_BLOCK;
    mf_test_hooks.fail_allocation_at = 1;
    void* block = mf_page_alloc(10 * mf_system.page_size, flags);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(flags, 0u);
    EXPECT_GT(mem_current, start);
    mf_page_free(block, flags);
    EXPECT_EQ(mem_current, start);
}

TEST(AccountedAlloc, AFailureChangesNothing) {
    HookGuard hooks;
    mf_mem_restart();
    const std::uint64_t start = mem_current;
    mf_test_hooks.fail_allocation_at = 2;
    void* first = mf_malloc(10);
    EXPECT_EQ(mf_calloc(10), nullptr);
    void* third = mf_calloc(100);
    ASSERT_NE(third, nullptr);
    EXPECT_EQ(std::count(static_cast<char*>(third), static_cast<char*>(third) + 100, 0), 100);
    EXPECT_EQ(alloc_count, 2);
    mf_free(first);
    mf_free(third);
    EXPECT_EQ(mem_current, start);
    EXPECT_EQ(mf_array<double>(-1), nullptr);
    EXPECT_EQ(mf_array<double>(INT64_MAX / 2), nullptr);
    EXPECT_EQ(mem_current, start);
}

TEST(AccountedAlloc, DeltaIsTheChangeSinceThePreviousQuery) {
    mf_mem_restart();
    EXPECT_EQ(mf_mem_delta(), mem_current.load());
    void* block = mf_malloc(1234);
    EXPECT_EQ(mf_mem_delta(), platform::heap_usable_size(block));
    EXPECT_EQ(mf_mem_delta(), 0u);
    mf_free(block);
}

TEST(AccountedAlloc, CountersAreExactUnderThreads) {
    mf_mem_restart();
    const std::uint64_t start = mem_current;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([] {
            for (std::int64_t k = 1; k <= 2000; ++k) Buffer<double> block(k % 50 + 1, 1.0);
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(mem_current, start);
    EXPECT_EQ(alloc_count, 8000);
    EXPECT_EQ(free_count, 8000);
}

TEST(AccountedAlloc, TellsTheUserAboutAFailedLargeRequest) {
    HookGuard hooks;
    platform::MemoryStatus status{5000000, 6000000, 7500000};
    mf_test_hooks.memory_status = &status;
    mf_ctrl[CTRL_FLAGS] = 0;
    EXPECT_EQ(output_of([] { mf_alloc_failed(1e6, "x"); }), "");
    mf_ctrl[CTRL_FLAGS] = 1;
    const auto text = [] {
        return output_of([] {
            set_last_error(12);
            mf_alloc_failed(12.5e6, "LU=12.5(M),thresh=1,reserve=0");
        });
    };
    const std::string request = "\r\nERROR!!!Failed to allocate 12.5(M) memory.Error code=12"
                                "\r\n\tLU=12.5(M),thresh=1,reserve=0.";
    EXPECT_EQ(text(), request + "\r\n\tThe physical memory currently available is 5(M)."
                                "\r\n\tThe virtual space of the process is 7.5(M).");
    mf_test_hooks.memory_status_fails = true;
    EXPECT_EQ(text(), request);
}
