// Scaling and refinement around a substitution, against their definitions.
#include "platform/platform.h"
#include "solve/solve.h"
#include "solve/substitution.h"
#include "support/engine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>

using namespace vyr;
using namespace vyr::test;

namespace {

struct Refined {
    std::vector<double> x;
    double condition = 0;
    std::string text;
};

/// Refinement by its definition, on top of single substitutions. `entries` are those of the whole matrix.
Refined refine(EngineRun& run, const Csc& entries, bool mirrored, const std::vector<double>& b) {
    Context& context = run.context;
    Refined result{std::vector<double>(b.size(), 0.0), 0, ""};
    std::vector<double> r = b;
    double w_before = DBL_MAX, w_first = 0;
    int accepted = 0;
    for (bool more = true; more;) {
        EXPECT_EQ(mf_substitute(context, run.factor, r.data(), 1, false), Status::OK);
        std::vector<double> x = result.x;
        for (std::size_t i = 0; i < x.size(); ++i) x[i] += r[i];
        r = b;
        for (std::int32_t j = 0; j < entries.n; ++j)
            for (std::int32_t k = entries.colptr[j]; k < entries.colptr[j + 1]; ++k) {
                const std::int32_t i = entries.rowind[k];
                r[i] -= x[j] * entries.values[k];
                if (mirrored && i != j) r[j] -= x[i] * entries.values[k];
            }
        double w = 0, r_largest = 0, x_largest = 0;
        for (std::size_t i = 0; i < x.size(); ++i) {
            if (b[i] != 0 && w == w && !(std::abs(r[i] / b[i]) <= w)) w = std::abs(r[i] / b[i]);
            r_largest = std::max(r_largest, std::abs(r[i]));
            x_largest = std::max(x_largest, std::abs(x[i]));
        }
        if (accepted == 0) w_first = w, result.condition = r_largest / x_largest * std::pow(2.0, 52);
        if (w > w_before / 10) break;
        result.x = x, w_before = w, ++accepted;
        more = !(w < std::pow(2.0, -52)) && accepted < context.settings.refinement_limit;
    }
    char line[200];
    std::snprintf(line, sizeof line, "\r\n\t\tcond=%g,iter=%d,w_0=%g", result.condition, accepted, w_first);
    result.text = line;
    return result;
}

bool same(double a, double b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

} // namespace

TEST(Refinement, FollowsItsDefinitionForEveryLimitTypeAndMatrix) {
    Rng rng(test_seed());
    for (int round = 0; round < 400; ++round) {
        TestContext test;
        EngineRun run(test);
        const auto n = static_cast<std::int32_t>(1 + rng() % 6);
        const Csc a = spd(n, random_edges(n, n, rng), rng());
        test.context.settings.n_threads = 1;
        ASSERT_EQ(run.run(a), Status::OK);
        Csc given = round % 2 == 0 ? a : both_triangles(a);
        const double change[] = {0, 1e-9, 0.03, 0.08, 0.2, 1.5}, by = change[rng() % 6];
        for (double& value : given.values) value *= 1 + by;
        if (round % 23 == 0) given.values[0] = 1e308;
        if (round % 29 == 0) given.values[0] = NAN;
        std::vector<double> b = random_vector(n, rng());
        for (double& value : b) value = rng() % 8 == 0 ? 0 : std::round(value * 64);
        const int types[] = {TYPE_SPD, TYPE_EXPAND}, limits[] = {2, 3, 5};
        test.context.settings.type = types[round % 2];
        test.context.settings.refinement_limit = limits[rng() % 3];
        const Refined expected = refine(run, given, round % 2 == 0, b);

        test.context.log.messages = true;
        test.context.statistics.t_solve = -1;
        std::vector<double> x = b;
        x.push_back(7); // what lies beyond the first column stays
        const double start_ms = platform::clock_ms();
        EXPECT_EQ(mf_solve(test.context, run.factor, matrix_of(given), x.data(), 1, rng() % 2 == 0),
                  Status::OK);
        EXPECT_LE(test.context.statistics.t_solve, (platform::clock_ms() - start_ms) / 1000);
        EXPECT_GE(test.context.statistics.t_solve, 0);
        EXPECT_EQ(x[n], 7);
        x.pop_back();
        ASSERT_TRUE(std::equal(x.begin(), x.end(), expected.x.begin(), same)) << "round " << round;
        EXPECT_TRUE(same(test.context.statistics.condition, expected.condition)) << round;
        EXPECT_EQ(test.text, expected.text) << round;
    }
}

TEST(Refinement, ScalingDividesBeforeAndAfterTheOneSubstitutionOfALimitUpToOne) {
    constexpr int N = 40;
    Rng rng(test_seed());
    TestContext test;
    EngineRun run(test);
    const Csc a = spd(N, random_edges(N, 60, rng), rng());
    test.context.settings.n_threads = 1;
    ASSERT_EQ(run.run(a), Status::OK);
    const std::vector<double> rhs = random_vector(N, rng()), sol = random_vector(N, rng());
    run.factor.scale_rhs = Buffer<double>(test.memory, N);
    run.factor.scale_sol = Buffer<double>(test.memory, N);
    std::copy_n(rhs.begin(), N, run.factor.scale_rhs.get());
    std::copy_n(sol.begin(), N, run.factor.scale_sol.get());
    test.context.log.messages = true;
    test.context.statistics.condition = 321;
    for (const int limit : {-3, 0, 1})
        for (const int mode : {0, 1, 2, 3, 4, -1}) {
            test.context.settings.scaling = mode;
            test.context.settings.refinement_limit = limit;
            const std::vector<double> b = random_vector(2 * N, rng());
            std::vector<double> x = b, ax(b);
            ASSERT_EQ(mf_solve(test.context, run.factor, {{N, nullptr, nullptr}, nullptr}, x.data(), 2, true),
                      Status::OK);
            for (int i = 0; i < N && (mode == 2 || mode == 3); ++i) x[i] *= sol[i];
            for (int i = 0; i < N && (mode == 1 || mode == 3); ++i) ax[i] /= rhs[i];
            for (const int column : {0, N})
                EXPECT_LE(backward_error(a, &x[column], &ax[column]), 1e-14) << mode;
        }
    EXPECT_EQ(test.text, "");
    EXPECT_EQ(test.context.statistics.condition, 321);
}

TEST(Refinement, WithoutMemoryOrWithAnotherOrderTheRightHandSideStays) {
    for (const int limit : {1, 2})
        for (const int type : {TYPE_SPD, TYPE_LDLT})
            for (const int nrhs : {1, 2}) {
                TestContext test;
                EngineRun run(test);
                const Csc a = spd(10, band_edges(10, 1));
                test.context.settings.n_threads = 1, test.context.settings.type = type;
                ASSERT_EQ(run.run(a), Status::OK);
                test.context.settings.refinement_limit = limit;
                const std::vector<double> b = random_vector(20, 2);
                std::vector<double> x = b;
                Matrix matrix = matrix_of(a);
                for (std::int64_t k = 1; k <= limit; ++k) {
                    test.faults.allocation.set(k);
                    EXPECT_EQ(mf_solve(test.context, run.factor, matrix, x.data(), nrhs, nrhs > 1),
                              Status::MEMORY);
                }
                matrix.n = 9;
                EXPECT_EQ(mf_solve(test.context, run.factor, matrix, x.data(), nrhs, nrhs > 1),
                          Status::HANDLE);
                EXPECT_STREQ(test.context.reason, "the matrix has order 9, the factor has order 10");
                EXPECT_EQ(x, b);
            }
}
