// An ordering beside the rest of the process: its signals, its random numbers, its other threads.
#include "support/engine.h"
#include "symbolic/ordering.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>

using namespace vyr;
using namespace vyr::test;
using Ints = std::vector<std::int32_t>;

namespace {

volatile std::sig_atomic_t n_signals = 0;
void count_signal(int number) {
    n_signals = n_signals + 1;
    std::signal(number, count_signal); // Windows forgets it at every signal
}

Csc grid(std::int32_t nx, std::int32_t ny) {
    return both_triangles(spd(nx * ny, grid_edges(nx, ny)));
}

Ints ordered(const Csc& full) {
    TestContext test;
    Ints perm(full.n, -1);
    EXPECT_EQ(mf_order(test.context, pattern_of(full), perm.data()), Status::OK);
    return perm;
}

/// Orders a grid with a host that is asked now and then; every wish is obeyed.
Status ordered_with(Progress::Callback callback, void* user, Ints& perm) {
    TestContext test;
    Progress progress(callback, user);
    test.context.progress = &progress;
    progress.begin(PHASE_ANALYSE, 1);
    const Csc full = grid(60, 50);
    perm.assign(full.n, -1);
    return mf_order(test.context, pattern_of(full), perm.data());
}

} // namespace

TEST(Metis, LeavesTheHostsRandomNumbersAlone) {
    const Csc full = grid(20, 20);
    std::srand(7);
    const Ints expected{std::rand(), std::rand()};
    std::srand(7);
    Ints got{std::rand()}, perm = ordered(full);
    got.push_back(std::rand());
    EXPECT_EQ(got, expected);
    EXPECT_EQ(ordered(full), perm); // whatever the state of rand
}

TEST(Metis, SignalsInsideAnOrderingReachTheHost) {
    Ints perm;
    for (const int number : {SIGTERM, SIGABRT}) {
        n_signals = 0;
        const auto before = std::signal(number, count_signal);
        const auto raise = [](void* user, int, double) { return std::raise(*static_cast<int*>(user)); };
        int raised = number;
        EXPECT_EQ(ordered_with(raise, &raised, perm), Status::OK);
        EXPECT_GT(n_signals, 0);
        EXPECT_EQ(std::signal(number, before), count_signal);
        EXPECT_EQ(perm, ordered(grid(60, 50)));
    }
}

TEST(Metis, AHostMayOrderAnotherGraphOrStopFromItsCallback) {
    Ints outer, inner;
    const auto nested = [](void* user, int, double) {
        return *static_cast<Ints*>(user) = ordered(grid(30, 7)), 0;
    };
    EXPECT_EQ(ordered_with(nested, &inner, outer), Status::OK);
    EXPECT_EQ(inner, ordered(grid(30, 7)));
    EXPECT_EQ(outer, ordered(grid(60, 50)));
    EXPECT_EQ(ordered_with([](void*, int, double) { return 1; }, nullptr, outer), Status::CANCELLED);
}

TEST(Metis, CancelledCallsHoldNothingAndDisturbNoOther) {
    constexpr int CALLS = 32; // every other one is cancelled, sooner or later
    Rng rng(test_seed());
    std::vector<Csc> graphs;
    std::vector<Ints> alone, perm(CALLS);
    std::vector<Status> status(CALLS);
    for (int k = 0; k < CALLS; ++k) {
        graphs.push_back(grid(30 + k, static_cast<std::int32_t>(20 + rng() % 30)));
        alone.push_back(ordered(graphs[k]));
    }
    std::vector<std::atomic<bool>> cancel(CALLS);
    cancel[1] = true;
    std::thread canceller([&] {
        for (int k = 3; k < CALLS; k += 2) {
            std::this_thread::sleep_for(std::chrono::milliseconds(rng() % 8));
            cancel[k] = true;
        }
    });
#pragma omp parallel for num_threads(8) schedule(dynamic, 1)
    for (int k = 0; k < CALLS; ++k) {
        TestContext test; // sees that every block is back
        test.context.cancel = &cancel[k];
        perm[k] = Ints(graphs[k].n);
        status[k] = mf_order(test.context, pattern_of(graphs[k]), perm[k].data());
    }
    canceller.join();
    EXPECT_EQ(status[1], Status::CANCELLED);
    for (int k = 0; k < CALLS; ++k) {
        EXPECT_EQ(status[k] == Status::OK, perm[k] == alone[k]) << k;
        EXPECT_TRUE(status[k] == Status::OK || (k % 2 == 1 && status[k] == Status::CANCELLED)) << k;
    }
}
