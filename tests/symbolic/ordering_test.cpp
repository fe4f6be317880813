// The ordering: right whatever is chosen, and a good neighbour in memory, signals, random numbers, threads.
#include "support/engine.h"
#include "symbolic/analyse.h"
#include "symbolic/ordering.h"
#include "symbolic/random.h"

#include <atomic>
#include <csignal>
#include <numeric>

using namespace vyr;
using namespace vyr::test;
using Ints = std::vector<std::int32_t>;

namespace {

/// What an ordering meets: a host that is asked now and then, or cancels, or an allocation that is refused.
struct Around {
    Progress::Callback callback = nullptr;
    void* user = nullptr;
    const std::atomic<bool>* cancel = nullptr;
    std::int64_t refused = 0;
    int ordering = ORDERING_METIS;
    int n_threads = 2;
};

/// Orders a plane grid.
Status order_grid(std::int32_t nx, std::int32_t ny, Ints& perm, const Around& around = {}) {
    TestContext test; // sees that every block is back
    Progress progress(around.callback, around.user);
    if (around.callback != nullptr) test.context.progress = &progress;
    progress.begin(PHASE_ANALYSE, 1);
    test.context.cancel = around.cancel;
    test.context.settings.ordering = around.ordering;
    test.context.settings.n_threads = around.n_threads;
    test.faults.allocation.set(around.refused);
    const Csc full = both_triangles(spd(nx * ny, grid_edges(nx, ny)));
    perm.assign(full.n, -1);
    const Status status = mf_order(test.context, pattern_of(full), perm.data());
    EXPECT_TRUE(status != Status::OK || around.refused == 0 || test.faults.allocation.armed());
    return status;
}

Ints ordered(std::int32_t nx, std::int32_t ny) {
    Ints perm;
    EXPECT_EQ(order_grid(nx, ny, perm), Status::OK);
    return perm;
}

/// Entries of L when A is eliminated in the order perm.
std::int64_t eliminated(const Csc& lower, const Ints& perm) {
    const std::vector<double> u = dense_cholesky(lower, perm);
    return std::count_if(u.begin(), u.end(), [](double entry) { return entry != 0; });
}

OrderingMade chosen(const Csc& lower, int ordering, Ints& perm, int* n_allocations = nullptr) {
    TestContext test;
    test.context.settings.ordering = ordering;
    test.context.settings.compress_when_it_pays = true;
    perm.assign(lower.n, -1);
    OrderingMade made;
    EXPECT_EQ(mf_order(test.context, pattern_of(both_triangles(lower)), perm.data(), &made), Status::OK);
    if (n_allocations != nullptr) *n_allocations = test.memory.alloc_count;
    return made;
}

Csc grid(std::int32_t nx, std::int32_t ny, std::int32_t nz = 1) {
    return spd(nx * ny * nz, grid_edges(nx, ny, nz));
}

} // namespace

TEST(Ordering, EndsWithoutMemoryOrCancelledAndHoldsNothing) {
    Ints perm;
    for (const int ordering : {ORDERING_METIS, ORDERING_AUTOMATIC, ORDERING_DISSECTION}) {
        Around around{.refused = 1, .ordering = ordering};
        for (; order_grid(25, 24, perm, around) == Status::FACTOR_STORAGE; ++around.refused) {
        }
        EXPECT_EQ(order_grid(25, 24, perm, around), Status::OK);
    }
    for (int looks = 1; looks < 4; ++looks) { // the host cancels when it is asked for the looks-th time
        int left = looks;
        const auto cancel = [](void* asked, int, double) { return --*static_cast<int*>(asked) < 1 ? 1 : 0; };
        EXPECT_EQ(order_grid(500, 500, perm, {.callback = cancel, .user = &left, .ordering = ORDERING_AMD}),
                  Status::CANCELLED);
    }
}

TEST(Ordering, DrawsTheNumbersOfGnu) {
    for (const auto& [seed, thousandth] :
         {std::pair{0u, 1143565421}, {1u, 1143565421}, {42u, 896784309}, {3000000000u, 973692164}}) {
        AdditiveRandom random;
        random.seed(seed);
        for (int k = 1; k < 1000; ++k) random.draw();
        EXPECT_EQ(random.draw(), thousandth);
    }
}

TEST(Ordering, LeavesSignalsAloneAndTheHostMayOrderAnotherGraphInItsCallback) {
    Ints outer, inner;
    const auto nested = [](void* user, int, double) {
        for (const int number : {SIGTERM, SIGABRT}) EXPECT_EQ(std::signal(number, SIG_DFL), SIG_DFL);
        return *static_cast<Ints*>(user) = ordered(30, 7), 0;
    };
    EXPECT_EQ(order_grid(60, 50, outer, {.callback = nested, .user = &inner}), Status::OK);
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
        status[k] = order_grid(30 + k, 20 + k * 7 % 30, perm[k], {.cancel = &cancel[k]});
        if (k % 2 == 0) cancel[(k + 3) % CALLS] = true;
    }
    EXPECT_EQ(status[1], Status::CANCELLED);
    for (int k = 0; k < CALLS; ++k) {
        EXPECT_EQ(status[k] == Status::OK, perm[k] == alone[k]) << k;
        EXPECT_TRUE(status[k] == Status::OK || (k % 2 == 1 && status[k] == Status::CANCELLED)) << k;
    }
}

TEST(Ordering, DissectsIntoTheSameOrderOnAnyNumberOfThreads) {
    Ints one, perm;
    for (const int n_threads : {1, 2, 3, 8}) {
        EXPECT_EQ(order_grid(48, 30, perm, {.ordering = ORDERING_DISSECTION, .n_threads = n_threads}),
                  Status::OK);
        if (n_threads == 1) one = perm;
        EXPECT_EQ(perm, one);
    }
    const Csc a = grid(48, 30);
    EXPECT_LT(eliminated(a, one), 1.15 * static_cast<double>(eliminated(a, ordered(48, 30))));
    std::sort(one.begin(), one.end());
    for (std::size_t k = 0; k < one.size(); ++k) ASSERT_EQ(one[k], static_cast<std::int32_t>(k));
}

TEST(OrderingChoice, EveryOneIsSolvedWithAndAGivenOrderIsKept) {
    Rng rng(test_seed());
    for (int trial = 0; trial < 100; ++trial) {
        const auto n = static_cast<std::int32_t>(1 + rng() % 60);
        const Csc a = spd(n, random_edges(n, static_cast<std::int64_t>(rng() % (3 * n)), rng), rng());
        Ints natural(n);
        std::iota(natural.begin(), natural.end(), 0);
        Ints user = natural;
        std::shuffle(user.begin(), user.end(), rng);
        for (int choice = ORDERING_AUTOMATIC; choice <= ORDERING_DISSECTION; ++choice) {
            TestContext test;
            test.context.settings.ordering = choice;
            test.context.settings.permutation = user.data();
            test.context.settings.n_threads = 1;
            EngineRun run(test);
            ASSERT_EQ(run.run(a), Status::OK) << "trial " << trial << ", ordering " << choice;
            EXPECT_LT(solve_error(run, a), 1e-13);
            EXPECT_EQ(run.analysis.ordering == choice, choice != ORDERING_AUTOMATIC);
            Ints perm(run.analysis.perm.get(), run.analysis.perm.get() + n);
            const std::int64_t entries = eliminated(a, choice == ORDERING_USER ? user : natural);
            EXPECT_TRUE((choice != ORDERING_NATURAL && choice != ORDERING_USER) ||
                        eliminated(a, perm) == entries); // a postorder is harmless
            std::sort(perm.begin(), perm.end());
            EXPECT_EQ(perm, natural);
        }
    }
}

TEST(OrderingChoice, AmdFillsLittleAndAutomaticTakesWhatFits) {
    Ints perm;
    const Csc plane = grid(15, 15);
    chosen(plane, ORDERING_AMD, perm);
    EXPECT_LT(eliminated(plane, perm), 2200); // the band has 3,480
    const auto automatic = [&](const Csc& a) { return chosen(a, ORDERING_AUTOMATIC, perm).ordering; };
    EXPECT_EQ(automatic(spd(500, band_edges(500, 4))), ORDERING_NATURAL);
    EXPECT_EQ(automatic(grid(80, 80)), ORDERING_AMD);
    const Csc body = grid(42, 42, 42);
    int n[3] = {};
    EXPECT_EQ(chosen(body, ORDERING_AUTOMATIC, perm, &n[0]).ordering, ORDERING_DISSECTION);
    chosen(body, ORDERING_AMD, perm, &n[1]), chosen(body, ORDERING_DISSECTION, perm, &n[2]);
    EXPECT_LT(n[0], n[1] + n[2]) << "a body is dissected at once";
    EXPECT_EQ(automatic(grid(29, 29, 170)), ORDERING_DISSECTION); // too long for a body: both are tried
    Rng rng(test_seed());
    EXPECT_EQ(automatic(spd(8000, random_edges(8000, 32000, rng))), ORDERING_AMD); // nothing to dissect
}

TEST(OrderingChoice, SeveralUnknownsANodeAreOrderedTogether) {
    Ints perm;
    Edges two_alike = grid_edges(9, 8); // the first two vertices
    two_alike.insert(two_alike.end(), {{0, 2}, {0, 10}, {1, 9}});
    EXPECT_FALSE(chosen(spd(72, two_alike), ORDERING_AMD, perm).compressed);
    for (const std::int32_t d : {2, 3}) { // a point is a run of d numbers
        Edges edges;
        const auto join = [&](std::int32_t i, std::int32_t j) {
            for (std::int32_t p = 0; p < d * d; ++p) edges.emplace_back(i * d + p / d, j * d + p % d);
        };
        for (std::int32_t i = 0; i < 72; ++i) join(i, i);
        for (const auto& [i, j] : grid_edges(9, 8)) join(i, j);
        for (const int choice : {ORDERING_AMD, ORDERING_METIS}) {
            EXPECT_TRUE(chosen(spd(72 * d, edges), choice, perm).compressed);
            for (std::int32_t k = 0; k < 72 * d; ++k) EXPECT_EQ(perm[k], perm[k / d * d] - k % d);
            EXPECT_FALSE(chosen(grid(9, 8), choice, perm).compressed);
        }
    }
}

TEST(AnalysisOnThreads, IsTheSameOnAnyNumberOfThem) {
    const Csc a = grid(210, 200);
    const auto lists = [&](std::int32_t n_threads) {
        TestContext test;
        Analysis made;
        double ordering_ms = 0;
        test.context.settings.ordering = ORDERING_AMD;
        test.context.settings.tree_schedule = true;
        test.context.settings.n_threads = n_threads;
        EXPECT_EQ(mf_analyse(test.context, pattern_of(a), made, ordering_ms), Status::OK);
        std::vector<std::int64_t> all(made.value_map.get(), made.value_map.get() + a.nnz());
        for (const auto* slab : {&made.row_slab, &made.rel_slab, &made.anc_slab})
            all.insert(all.end(), slab->get(), slab->get() + slab->count());
        return all;
    };
    const auto one = lists(1);
    for (const int n_threads : {2, 5}) EXPECT_EQ(lists(n_threads), one);
}
