// The ordering, beside the rest of the process: its memory, signals, random numbers and other threads.
#include "support/engine.h"
#include "symbolic/ordering.h"
#include "symbolic/random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>

using namespace vyr;
using namespace vyr::test;
using Ints = std::vector<std::int32_t>;

namespace {

/// Orders a plane grid; the callback is asked now and then, and obeyed.
Status order_grid(std::int32_t nx, std::int32_t ny, Ints& perm, Progress::Callback callback = nullptr,
                  void* user = nullptr, const std::atomic<bool>* cancel = nullptr, std::int64_t refused = 0) {
    TestContext test; // sees that every block is back
    Progress progress(callback, user);
    if (callback != nullptr) test.context.progress = &progress;
    progress.begin(PHASE_ANALYSE, 1);
    test.context.cancel = cancel;
    test.faults.allocation.set(refused);
    const Csc full = both_triangles(spd(nx * ny, grid_edges(nx, ny)));
    perm.assign(full.n, -1);
    const Status status = mf_order(test.context, pattern_of(full), perm.data());
    EXPECT_TRUE(status != Status::OK || refused == 0 || test.faults.allocation.armed());
    return status;
}

Ints ordered(std::int32_t nx, std::int32_t ny) {
    Ints perm;
    EXPECT_EQ(order_grid(nx, ny, perm), Status::OK);
    return perm;
}

} // namespace

TEST(Ordering, EndsWithoutMemoryAndHoldsNothing) {
    Ints perm;
    std::int64_t k = 1;
    while (order_grid(15, 14, perm, nullptr, nullptr, nullptr, k) == Status::FACTOR_STORAGE) ++k;
    EXPECT_EQ(order_grid(15, 14, perm, nullptr, nullptr, nullptr, k), Status::OK);
}

TEST(Ordering, DrawsTheNumbersOfGnuAndLeavesTheHostsAlone) {
    for (const auto& [seed, thousandth] :
         {std::pair{0u, 1143565421}, {1u, 1143565421}, {42u, 896784309}, {3000000000u, 973692164}}) {
        AdditiveRandom random;
        random.seed(seed);
        for (int k = 1; k < 1000; ++k) random.draw();
        EXPECT_EQ(random.draw(), thousandth);
    }
    std::srand(7);
    const Ints expected{std::rand(), std::rand()};
    std::srand(7);
    Ints got{std::rand()}, perm = ordered(20, 20);
    got.push_back(std::rand());
    EXPECT_EQ(got, expected);
    EXPECT_EQ(ordered(20, 20), perm); // whatever the state of rand
}

TEST(Ordering, LeavesSignalsAloneAndTheHostMayOrderAnotherGraphInItsCallback) {
    Ints outer, inner;
    const auto nested = [](void* user, int, double) {
        for (const int number : {SIGTERM, SIGABRT}) EXPECT_EQ(std::signal(number, SIG_DFL), SIG_DFL);
        return *static_cast<Ints*>(user) = ordered(30, 7), 0;
    };
    EXPECT_EQ(order_grid(60, 50, outer, nested, &inner), Status::OK);
    EXPECT_EQ(inner, ordered(30, 7));
    EXPECT_EQ(outer, ordered(60, 50));
}

TEST(Ordering, IsAPermutationAndTheSameWhateverOtherThreadsDoOrCancel) {
    constexpr int CALLS = 32; // every other one is cancelled by another that ends
    std::vector<Ints> alone, perm(CALLS);
    std::vector<Status> status(CALLS);
    for (int k = 0; k < CALLS; ++k) {
        Ints sorted = alone.emplace_back(ordered(30 + k, 20 + k * 7 % 30));
        std::sort(sorted.begin(), sorted.end());
        for (std::size_t j = 0; j < sorted.size(); ++j) ASSERT_EQ(sorted[j], static_cast<std::int32_t>(j));
    }
    std::vector<std::atomic<bool>> cancel(CALLS);
    cancel[1] = true;
#pragma omp parallel for num_threads(8) schedule(dynamic, 1)
    for (int k = 0; k < CALLS; ++k) {
        status[k] = order_grid(30 + k, 20 + k * 7 % 30, perm[k], nullptr, nullptr, &cancel[k]);
        if (k % 2 == 0) cancel[(k + 3) % CALLS] = true;
    }
    EXPECT_EQ(status[1], Status::CANCELLED);
    for (int k = 0; k < CALLS; ++k) {
        EXPECT_EQ(status[k] == Status::OK, perm[k] == alone[k]) << k;
        EXPECT_TRUE(status[k] == Status::OK || (k % 2 == 1 && status[k] == Status::CANCELLED)) << k;
    }
}
