// What everything stands on: accounted memory and its owners, faults on demand, texts, numbers.
#include "core/to_int.h"
#include "support/engine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <limits>
#include <set>

using namespace vyr;
using namespace vyr::test;

namespace {

struct Block {
    void* memory;
    std::uint32_t flags;
    std::uint64_t held() const { return (flags & FLAG_PAGE_BLOCK) ? 0 : platform::heap_usable_size(memory); }
};

} // namespace

TEST(Accounting, CountsWhatIsHeldThroughAnyCourseOfRequestsReleasesAndFailures) {
    Rng rng(test_seed());
    TestContext test;
    test.context.log.messages = true;
    Accounting& memory = test.memory;
    std::vector<Block> blocks;
    std::uint64_t held = 0, snapshot = 0, peak = 0, refused = 0;
    std::int32_t n_allocated = 0, n_freed = 0;
    const std::size_t page = platform::page_size();
    const auto release = [&](std::size_t k) {
        held -= blocks[k].held();
        n_freed += blocks[k].memory != nullptr;
        mf_page_free(memory, blocks[k].memory, blocks[k].flags);
        blocks.erase(blocks.begin() + static_cast<std::ptrdiff_t>(k));
    };
    for (int step = 0; step < 5000; ++step) {
        SCOPED_TRACE(step);
        const auto action = rng() % 12;
        if (action < 6) {
            const auto luck = rng() % 6;
            const bool all_fail = luck == 0, one_fails = luck <= 1;
            test.faults.allocation.set(one_fails, all_fail);
            const std::size_t sizes[] = {1, 1 + rng() % 300, page - 1, page, page + 1, 10 * page};
            const std::size_t bytes = sizes[rng() % 6];
            const bool paged = action < 2, zeroed = action < 4;
            const bool large = paged && bytes >= page; // has the heap to fall back on
            Block block{nullptr, 5 | (paged && rng() % 2 ? FLAG_PAGE_BLOCK : 0)}; // of an earlier block
            block.memory = paged    ? mf_page_alloc(memory, bytes, block.flags)
                           : zeroed ? mf_calloc(memory, bytes)
                                    : mf_malloc(memory, bytes);
            test.faults.allocation.set(0);
            ASSERT_EQ(block.memory == nullptr, one_fails && (!large || all_fail));
            ASSERT_EQ(block.flags, large && !one_fails ? 5 | FLAG_PAGE_BLOCK : 5);
            if (block.memory == nullptr) {
                refused = bytes;
                continue;
            }
            const auto first = static_cast<char*>(block.memory), last = first + bytes;
            const bool clean = zeroed && (!paged || block.flags != 5);
            ASSERT_TRUE(!clean || std::count(first, last, 0) == last - first);
            std::fill(first, last, 'x');
            held += block.held();
            peak = std::max(peak, held);
            ++n_allocated;
            blocks.push_back(block);
        } else if (action < 10 && !blocks.empty()) {
            release(rng() % blocks.size());
        } else if (action == 10) {
            ASSERT_EQ(mf_mem_delta(memory), held - snapshot); // wraps when less is held
            snapshot = held;
        } else if (rng() % 50 == 0) {
            mf_mem_restart(memory);
            snapshot = refused = 0;
            n_allocated = n_freed = 0;
            peak = held;
        }
        ASSERT_EQ(memory.current, held);
        ASSERT_EQ(mf_mem_peak(memory), static_cast<double>(peak));
        ASSERT_EQ(memory.alloc_count, n_allocated);
        ASSERT_EQ(memory.free_count, n_freed);
        ASSERT_EQ(memory.refused, static_cast<double>(refused));
    }
    mf_free(memory, nullptr);
    mf_page_free(memory, nullptr, FLAG_PAGE_BLOCK);
    EXPECT_EQ(memory.free_count, n_freed);
    memory.alloc_count += static_cast<std::int32_t>(blocks.size()) - (n_allocated - n_freed);
    while (!blocks.empty()) release(0);
    EXPECT_EQ(test.text, "");
}

#ifndef _WIN32
TEST(Accounting, PagesThatCannotBeGivenBackAreToldAndCounted) {
    TestContext test;
    alignas(64) char no_pages[128] = {};
    test.memory.alloc_count = 1;
    test.context.log.messages = true;
    mf_page_free(test.memory, no_pages + 64, FLAG_PAGE_BLOCK);
    EXPECT_EQ(test.text, "\r\nWARNING!!!\tVirtualFree failed with code 22.");
}
#endif

TEST(Buffer, OwnsItsMemoryOnEveryPath) {
    TestContext test;
    for (const std::int64_t count : {std::int64_t{-1}, INT64_MAX / 2, INT64_MAX}) {
        const Buffer<double> none(test.memory, count);
        EXPECT_FALSE(none) << count;
        EXPECT_EQ(none.count(), 0);
    }
    const Buffer<double> nothing(test.memory, 0);
    EXPECT_TRUE(nothing);
    EXPECT_EQ(nothing.count(), 0);
    Buffer<int> a(test.memory, 100, 7);
    a[0] = 1;
    EXPECT_EQ(a[0] + a[99] + *(a.get() + 50), 15);
    EXPECT_GE(test.memory.current, 400u);
    Buffer<int> b = std::move(a), c = Buffer<int>::zeroed(test.memory, 50);
    EXPECT_FALSE(a); // NOLINT: a moved buffer is empty
    EXPECT_EQ(a.count(), 0);
    EXPECT_EQ(c[49], 0);
    c = std::move(b);
    EXPECT_EQ(c.count(), 100);
    EXPECT_EQ(c[99], 7);
    b.reset();
    c.reset();
    EXPECT_FALSE(c);
    EXPECT_EQ(c.count(), 0);
    EXPECT_EQ(test.memory.free_count, 2);
    test.faults.allocation.set(1);
    EXPECT_FALSE(Buffer<int>(test.memory, 10, 3));
}

TEST(Countdown, FailsTheWantedCallOrAllFromItOn) {
    for (const int k : {0, 1, 3})
        for (const bool every_later : {false, true}) {
            Countdown calls;
            calls.set(k, every_later);
            for (int call = 1; call < 6; ++call) {
                EXPECT_EQ(calls.fails_now(), call == k || (every_later && k > 0 && call > k)) << k;
                EXPECT_EQ(calls.armed(), call < k || (every_later && k > 0)) << k;
            }
        }
}

TEST(SpareBuffer, LendsOneBufferToOneTakerAtATime) {
    TestContext test;
    SpareBuffer spare;
    EXPECT_FALSE(spare.take());
    spare.put(Buffer<char>(test.memory, 10));
    spare.put(Buffer<char>(test.memory, 20)); // releases the first
    EXPECT_EQ(test.memory.free_count, 1);
    EXPECT_EQ(spare.bytes(), 20);
#pragma omp parallel for num_threads(4)
    for (int round = 0; round < 8000; ++round) {
        Buffer<char> mine = spare.take();
        if (!mine) mine = Buffer<char>(test.memory, 20);
        const char mark = static_cast<char>(round % 100);
        mine.fill(mark);
        EXPECT_EQ(std::count(mine.get(), mine.get() + 20, mark), 20);
        spare.put(std::move(mine));
    }
    EXPECT_EQ(test.memory.alloc_count - test.memory.free_count, 1);
    EXPECT_EQ(spare.take().count(), 20);
    EXPECT_EQ(spare.bytes(), 0);
}

TEST(Context, AFailureLeavesItsSentence) {
    TestContext test;
    Context& context = test.context;
    EXPECT_EQ(fail(context, Status::GROWTH, "pivot %d of %s", 3, "x"), Status::GROWTH);
    EXPECT_STREQ(context.reason, "pivot 3 of x");
    EXPECT_EQ(out_of_memory(context), Status::MEMORY);
    EXPECT_STREQ(context.reason, "out of memory");
    test.memory.refused = 12.5e6;
    EXPECT_EQ(out_of_memory(context, Status::FACTOR_STORAGE), Status::FACTOR_STORAGE);
    EXPECT_STREQ(context.reason, "out of memory: a block of 12.5 MB was needed");
    mf_message(context, "off");
    mf_print(context.log, "%s ", "always");
    context.log.messages = true;
    mf_message(context, "on %d", 1);
    EXPECT_EQ(test.text, "always on 1");
    context.log = {nullptr, nullptr, true};
    mf_message(context, "nobody listens");
    mf_print(context.log, "nobody listens");
}

TEST(Status, EveryCodeHasATextOfItsOwn) {
    std::set<std::string> texts;
    std::size_t n_known = 0;
    for (std::int32_t number = 10; number >= -1300; --number) {
        const std::string text = status_text(static_cast<Status>(number));
        ASSERT_FALSE(text.empty());
        EXPECT_FALSE(text.back() == '.' || std::isspace(text.back())) << text;
        n_known += text != status_text(static_cast<Status>(1));
        texts.insert(text);
    }
    EXPECT_GT(n_known, 20u);
    EXPECT_EQ(texts.size(), n_known + 1);
}

TEST(ToInt, TruncatesAndSaturates) {
    const double infinity = std::numeric_limits<double>::infinity();
    const std::pair<double, int> rows[] = {{0, 0},
                                           {1.9, 1},
                                           {-1.9, -1},
                                           {2147483646.5, INT32_MAX - 1},
                                           {3e9, INT_MAX},
                                           {infinity, INT_MAX},
                                           {-3e9, INT32_MIN},
                                           {-2147483647.5, -INT_MAX},
                                           {-infinity, INT32_MIN},
                                           {std::numeric_limits<double>::quiet_NaN(), 0}};
    for (const auto& [value, expected] : rows) EXPECT_EQ(to_int(value), expected) << value;
}
