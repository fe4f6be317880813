// Indefinite matrices of every class against their eigenvalues.
#include "api/host.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace vyr::test {
namespace {

constexpr int N_CLASSES = 7;

Csc random_indefinite(int kind, Rng& rng) {
    const auto side = static_cast<std::int32_t>(2 + rng() % 15), n = side * side;
    std::uniform_real_distribution<double> value(-1, 1);
    Csc a = kind == 1                ? saddle(std::max(side, 3), rng())
            : kind == 2              ? spd(n, grid_edges(side, side), rng())
            : kind == 5 || kind == 6 ? spd(side * (side + 1), grid_edges(side, side + 1), rng())
                                     : spd(n, random_edges(n, (1 + rng() % 3) * n, rng), rng());
    if (kind == 2) a = shifted(a, 2 * (1 + value(rng)));
    for (std::int32_t j = 0; j < a.n; ++j) {
        double& d = a.values[a.colptr[j]];
        if (kind == 0) d = rng() % 4 == 0 ? 0 : value(rng);
        if (kind == 3 || kind == 6) d = 0;
        if (kind == 4) d *= 1e-9;
        if (kind == 5) d *= (rng() % 2 == 0 ? 1 : -1) * std::pow(10, 8 * value(rng));
    }
    if (kind == 6) // the adjacency of a grid, whose elimination cancels exactly
        for (double& entry : a.values) entry = entry == 0 ? 0 : 1;
    return a;
}

/// S A S: the same inertia.
Csc rescaled(Csc a, Rng& rng) {
    std::vector<double> s(a.n);
    for (double& scale : s) scale = std::ldexp(1.0, static_cast<int>(rng() % 41) - 20);
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t k = a.colptr[j]; k < a.colptr[j + 1]; ++k) a.values[k] *= s[j] * s[a.rowind[k]];
    return a;
}

struct Tally {
    int regular = 0, singular = 0, perturbed = 0;
};

/// One matrix through the library, its rank and inertia within what the eigenvalues allow, its solutions
/// good.
void expect_right(const Csc& base, const Csc& a, const Options& options, std::uint64_t seed, Tally& tally) {
    const Dense whole = dense(base);
    const double unclear = a.n * 2.2e-16 * norm(whole);
    const std::int64_t negative = eigenvalues_below(whole, -unclear),
                       positive = a.n - eigenvalues_below(whole, unclear);
    const bool regular = negative + positive == a.n;
    const Analysis analysis(view_of(a), options);
    Factor factor(analysis, options);
    const vyr_matrix view = view_of(a);
    const vyr_status status = vyr_factorise(factor.get(), &view);
    const vyr_factor_info info = factor.info();
    ASSERT_TRUE(status == VYR_STATUS_OK || (status == VYR_STATUS_SINGULAR && !regular))
        << status << vyr_factor_message(factor.get());
    ++(regular ? tally.regular : tally.singular);
    tally.perturbed += info.perturbed > 0;
    if (info.rank >= 0 && info.perturbed == 0) {
        EXPECT_EQ(info.positive + info.negative, info.rank);
        EXPECT_EQ(info.rank + info.zero, a.n);
        EXPECT_GE(info.positive, positive);
        EXPECT_GE(info.negative, negative);
    }
    EXPECT_TRUE(info.structural_rank < 0 || info.structural_rank >= positive + negative);
    if (status != VYR_STATUS_OK) return;
    std::vector<double> b, x(a.n * 3), error;
    for (int k = 0; k < 3; ++k) { // systems that have a solution, whatever the rank
        const std::vector<double> image = multiply(a, random_vector(a.n, seed + k));
        b.insert(b.end(), image.begin(), image.end());
    }
    const vyr_status solved = vyr_solve(factor.get(), 3, b.data(), a.n, x.data(), a.n, nullptr);
    const bool sure = regular && info.perturbed == 0;
    ASSERT_TRUE(solved == VYR_STATUS_OK || (solved == VYR_STATUS_INACCURATE && !sure)) << solved;
    if (solved != VYR_STATUS_OK) return;
    EXPECT_LE(worst_error(a, x, b), sure ? 1e-14 : 1e-10);
}

TEST(Indefinite, InertiaRankAndSolutionsAreRightWhateverTheMatrix) {
    Rng rng(test_seed());
    const char* wanted = std::getenv("VYR_INDEFINITE_MATRICES");
    const int count = wanted != nullptr ? std::atoi(wanted) : 42;
    Tally tally;
    for (int round = 0; round < count && !HasFatalFailure(); ++round) {
        SCOPED_TRACE(round);
        const Csc base = random_indefinite(round % N_CLASSES, rng);
        Options options;
        options.kind = VYR_KIND_INDEFINITE;
        options.refinements = 2;
        options.threads = 1 + static_cast<int>(rng() % 2);
        options.matching = static_cast<int>(rng() % 3);
        options.zero_pivots = static_cast<int>(rng() % 2);
        options.pivoting = rng() % 2 == 0 ? VYR_PIVOTING_STATIC : VYR_PIVOTING_DELAYED;
        if (options.pivoting == VYR_PIVOTING_STATIC) options.refinements = 20;
        // Only a matching sees through any scaling.
        const Csc a = rng() % 2 == 0 ? base : rescaled(base, rng);
        expect_right(options.matching == VYR_MATCHING_OFF ? a : base, a, options, rng(), tally);
    }
    EXPECT_GT(tally.regular, count / 2);
    EXPECT_GT(tally.singular, 0);
    EXPECT_GT(tally.perturbed, 0);
}

TEST(Indefinite, RefinementHelpsTheColumnsOfABlockThatNeedItAndLeavesTheOthers) {
    Csc a = spd(800, disconnected_grid_edges(2, 20, 20), 3);
    for (int j = 400; j < a.n; ++j) a.values[a.colptr[j]] *= 1e-5; // solutions there suffer from tiny pivots
    Options options;
    options.kind = VYR_KIND_INDEFINITE;
    options.matching = VYR_MATCHING_OFF;
    options.pivot_share = 1e-8;
    std::vector<double> b(a.n * 6), x[2] = {b, b};
    for (int k = 0; k < 6; ++k)
        std::generate_n(&b[k * a.n + k % 2 * 400], 400, [i = k]() mutable { return std::sin(++i); });
    for (const int refinements : {0, 2}) {
        options.refinements = refinements;
        Factor factor(Analysis(view_of(a), options), options);
        factor.factorise(view_of(a));
        factor.solve(b, x[refinements / 2], 6);
    }
    for (int k = 0; k < 6; ++k) {
        const auto error = [&](int which) { return backward_error(a, &x[which][k * a.n], &b[k * a.n]); };
        const bool same = std::equal(&x[0][k * a.n], &x[0][k * a.n] + a.n, &x[1][k * a.n]);
        EXPECT_EQ(error(0) > 1e-14, k % 2 == 1);
        EXPECT_TRUE(k % 2 == 1 ? error(1) < 0.5 * error(0) : same) << error(0) << " " << error(1);
    }
}

} // namespace
} // namespace vyr::test
