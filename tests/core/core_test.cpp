// What everything stands on: accounted memory and its owners, faults on demand, texts, numbers.
#include "support/engine.h"

#include <climits>
#include <cmath>

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
    Accounting& memory = test.memory;
    std::vector<Block> blocks;
    std::uint64_t held = 0, snapshot = 0, peak = 0, refused = 0;
    std::int32_t n_allocated = 0, n_freed = 0;
    const std::size_t page = platform::page_size();
    const auto release = [&](std::size_t k) {
        held -= blocks[k].held();
        ++n_freed;
        mf_page_free(memory, blocks[k].memory, blocks[k].flags);
        blocks.erase(blocks.begin() + static_cast<std::ptrdiff_t>(k));
    };
    for (int step = 0; step < 5000; ++step) {
        SCOPED_TRACE(step);
        const auto action = rng() % 12, luck = rng() % 6;
        if (action < 6) {
            const bool all_fail = luck == 0, one_fails = luck <= 1, paged = action < 2, zeroed = action < 4;
            test.faults.allocation.set(one_fails, all_fail);
            const std::size_t sizes[] = {1, 1 + rng() % 300, page - 1, page, page + 1, 10 * page};
            const std::size_t bytes = sizes[rng() % 6];
            const bool large = paged && bytes >= page; // has the heap to fall back on
            Block block{nullptr, 5 | (paged && rng() % 2 ? FLAG_PAGE_BLOCK : 0)}; // of an earlier block
            block.memory = paged    ? mf_page_alloc(memory, bytes, block.flags)
                           : zeroed ? mf_calloc(memory, bytes)
                                    : mf_malloc(memory, bytes);
            test.faults.allocation.set(0);
            ASSERT_EQ(block.memory == nullptr, one_fails && (!large || all_fail));
            ASSERT_EQ(block.flags, large && !one_fails ? 5 | FLAG_PAGE_BLOCK : 5);
            if (block.memory != nullptr) {
                const auto first = static_cast<char*>(block.memory), last = first + bytes;
                const bool clean = zeroed && (!paged || block.flags != 5);
                ASSERT_TRUE(!clean || std::count(first, last, 0) == last - first);
                std::fill(first, last, 'x');
                held += block.held();
                peak = std::max(peak, held);
                ++n_allocated;
                blocks.push_back(block);
            } else {
                refused = bytes;
            }
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
        ASSERT_TRUE(memory.current == held && mf_mem_peak(memory) == static_cast<double>(peak));
        ASSERT_TRUE(memory.alloc_count == n_allocated && memory.free_count == n_freed);
        ASSERT_EQ(memory.refused, static_cast<double>(refused));
    }
    mf_free(memory, nullptr);
    mf_page_free(memory, nullptr, FLAG_PAGE_BLOCK);
    EXPECT_EQ(memory.free_count, n_freed);
    memory.alloc_count += static_cast<std::int32_t>(blocks.size()) - (n_allocated - n_freed);
    while (!blocks.empty()) release(0);
}

TEST(Buffer, OwnsItsMemoryOnEveryPath) {
    TestContext test;
    for (const std::int64_t count : {std::int64_t{-1}, INT64_MAX / 2, INT64_MAX})
        EXPECT_FALSE(Buffer<double>(test.memory, count)) << count;
    Buffer<int> a(test.memory, 100, 7);
    EXPECT_EQ(a[0] + a[99] + *(a.get() + 50), 21);
    Buffer<int> b = std::move(a), c = Buffer<int>::zeroed(test.memory, 50);
    EXPECT_TRUE(!a && a.count() == 0); // NOLINT: a moved buffer is empty
    EXPECT_EQ(c[49], 0);
    c = std::move(b);
    EXPECT_TRUE(c.count() == 100 && c[99] == 7);
    b.reset();
    c.reset();
    EXPECT_TRUE(!c && c.count() == 0);
    EXPECT_EQ(test.memory.free_count, 2);
    test.faults.allocation.set(1);
    EXPECT_FALSE(Buffer<int>(test.memory, 10, 3));
}

TEST(SpareBuffer, LendsOneBufferToOneTakerAtATime) {
    TestContext test;
    SpareBuffer spare;
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
    EXPECT_TRUE(spare.bytes() == 20 && spare.take().count() == 20 && spare.bytes() == 0);
}

TEST(ToInt, TruncatesAndSaturates) {
    const double in[] = {1.9, -1.9, INT_MAX - 0.5, 3e9, INFINITY, -3e9, 0.5 - INT_MAX, -INFINITY, NAN};
    const int out[] = {1, -1, INT_MAX - 1, INT_MAX, INT_MAX, INT_MIN, 1 - INT_MAX, INT_MIN, 0};
    for (int row = 0; row < 9; ++row) EXPECT_EQ(to_int(in[row]), out[row]) << in[row];
}

TEST(FlopCount, TakesItsConstantAsItStands) {
    EXPECT_DOUBLE_EQ(mf_flop_count(2, 3, 5), 0.6666 * 8 + 2 * 2 * 3 * 5 + (3 + 5) * 4);
}
