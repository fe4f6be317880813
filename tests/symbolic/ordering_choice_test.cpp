// The choices of an ordering: each is right, and the automatic one takes what fits.
#include "support/engine.h"
#include "symbolic/ordering.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <utility>

using namespace vyr;
using namespace vyr::test;
using Ints = std::vector<std::int32_t>;

namespace {

/// Entries of L when A is eliminated in the order perm.
std::int64_t eliminated(const Csc& lower, const Ints& perm) {
    const Csc full = both_triangles(lower);
    std::vector<std::vector<char>> fill(full.n, std::vector<char>(full.n));
    for (std::int32_t j = 0; j < full.n; ++j)
        for (std::int32_t e = full.colptr[j]; e < full.colptr[j + 1]; ++e) fill[full.rowind[e]][j] = 1;
    std::int64_t entries = 0;
    for (std::int32_t k = 0; k < full.n; ++k)
        for (std::int32_t i = k; i < full.n; ++i) {
            if (fill[perm[i]][perm[k]] == 0) continue;
            ++entries;
            for (std::int32_t j = k; j < full.n; ++j) fill[perm[i]][perm[j]] |= fill[perm[k]][perm[j]];
        }
    return entries;
}

OrderingMade ordered(const Csc& lower, int ordering, Ints& perm) {
    TestContext test;
    test.context.settings.ordering = ordering;
    test.context.settings.compress_when_it_pays = true;
    perm.assign(lower.n, -1);
    OrderingMade made;
    EXPECT_EQ(mf_order(test.context, pattern_of(both_triangles(lower)), perm.data(), &made), Status::OK);
    return made;
}

Csc grid(std::int32_t nx, std::int32_t ny, std::int32_t nz = 1) {
    return spd(nx * ny * nz, grid_edges(nx, ny, nz));
}

} // namespace

TEST(OrderingChoice, EveryOneIsSolvedWithAndAGivenOrderIsKept) {
    Rng rng(test_seed());
    for (int trial = 0; trial < 100; ++trial) {
        const auto n = static_cast<std::int32_t>(1 + rng() % 60);
        const Csc a = spd(n, random_edges(n, static_cast<std::int64_t>(rng() % (3 * n)), rng), rng());
        Ints natural(n);
        std::iota(natural.begin(), natural.end(), 0);
        Ints user = natural;
        std::shuffle(user.begin(), user.end(), rng);
        for (int choice = ORDERING_AUTOMATIC; choice <= ORDERING_USER; ++choice) {
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
            EXPECT_TRUE(choice < ORDERING_NATURAL ||
                        eliminated(a, perm) == entries); // a postorder is harmless
            std::sort(perm.begin(), perm.end());
            EXPECT_EQ(perm, natural);
        }
    }
}

TEST(OrderingChoice, AmdFillsLittleAndAutomaticTakesWhatFits) {
    Ints perm;
    const Csc plane = grid(15, 15);
    ordered(plane, ORDERING_AMD, perm);
    EXPECT_LT(eliminated(plane, perm), 2200); // the band has 3,480
    const auto chosen = [&](const Csc& a) { return ordered(a, ORDERING_AUTOMATIC, perm).ordering; };
    EXPECT_EQ(chosen(spd(500, band_edges(500, 4))), ORDERING_NATURAL);
    EXPECT_EQ(chosen(grid(80, 80)), ORDERING_AMD);
    EXPECT_EQ(chosen(grid(42, 42, 42)), ORDERING_METIS);
    EXPECT_EQ(chosen(grid(29, 29, 170)), ORDERING_METIS); // too long for a body: both are tried
    Rng rng(test_seed());
    EXPECT_EQ(chosen(spd(8000, random_edges(8000, 16000, rng))), ORDERING_AMD); // nothing to dissect
}

TEST(OrderingChoice, SeveralUnknownsANodeAreOrderedTogether) {
    Edges edges = grid_edges(9, 8);
    for (auto& [i, j] : edges) i *= 3, j *= 3; // three a point, each point a run of three numbers
    for (std::int32_t i = 0; i < 216; i += 3) edges.emplace_back(i, i);
    const Edges points = std::exchange(edges, {});
    for (const auto& [i, j] : points)
        for (std::int32_t p = 0; p < 9; ++p) edges.emplace_back(i + p / 3, j + p % 3);
    Ints perm;
    for (const int choice : {ORDERING_AMD, ORDERING_METIS}) {
        EXPECT_TRUE(ordered(spd(216, edges), choice, perm).compressed);
        for (std::int32_t k = 0; k < 216; ++k) EXPECT_EQ(perm[k], perm[k / 3 * 3] - k % 3);
        EXPECT_FALSE(ordered(grid(9, 8), choice, perm).compressed);
    }
}

TEST(OrderingChoice, EndsWithoutMemoryOrCancelledAndHoldsNothing) {
    const Csc full = both_triangles(grid(25, 24));
    Ints perm(full.n);
    Status status = Status::FACTOR_STORAGE;
    for (std::int64_t k = 1; status != Status::OK; ++k) {
        TestContext test;
        test.context.settings.ordering = ORDERING_AUTOMATIC;
        test.faults.allocation.set(k);
        status = mf_order(test.context, pattern_of(full), perm.data());
        ASSERT_EQ(status, test.faults.allocation.armed() ? Status::OK : Status::FACTOR_STORAGE) << k;
    }
    const Csc large = both_triangles(grid(500, 500));
    perm.resize(large.n);
    for (int looks = 1; looks < 4; ++looks) { // the host cancels when it is asked for the looks-th time
        TestContext test;
        test.context.settings.ordering = ORDERING_AMD;
        int left = looks;
        Progress progress([](void* asked, int, double) { return --*static_cast<int*>(asked) < 1 ? 1 : 0; },
                          &left);
        test.context.progress = &progress;
        progress.begin(PHASE_ANALYSE, 1);
        EXPECT_EQ(mf_order(test.context, pattern_of(large), perm.data()), Status::CANCELLED) << looks;
    }
}
