// Systems of every kind through the library interface.
#include "api/host.h"
#include "support/capture.h"

#include <cmath>
#include <thread>

#include <omp.h>

namespace vyr::test {
namespace {

/// Applies P, L, D, L^T and P^T one after the other.
std::vector<double> by_parts(const Factor& factor, std::vector<double> x) {
    for (const std::int32_t part : {VYR_PART_P, VYR_PART_L, VYR_PART_D, VYR_PART_LT, VYR_PART_PT})
        factor.solve_part(part, x);
    return x;
}

TEST(Solver, EveryKindInEveryPlaceSolvesForNewValuesToo) {
    const TempDirectory place;
    const std::uint64_t seed = test_seed();
    struct Row {
        Csc a;
        std::int32_t kind, analysed, used;
    };
    constexpr std::int32_t P = VYR_KIND_POSITIVE, I = VYR_KIND_INDEFINITE, A = VYR_KIND_AUTOMATIC;
    const Row rows[] = {{spd(600, grid_edges(10, 10, 6), seed), P, P, P},
                        {spd(50, dense_edges(50), seed), A, P, P},
                        {shifted(spd(400, grid_edges(20, 20), seed), 2.5), I, I, I},
                        {shifted(spd(400, grid_edges(20, 20), seed), 1.2), A, P, I},
                        {saddle(15, seed), A, I, I},
                        {saddle(15, seed), I, I, I}};
    for (const Row& row : rows)
        for (const bool files : {false, true})
            for (const std::int32_t threads : {1, 3}) {
                Options options;
                options.kind = row.kind, options.threads = threads;
                options.directory = files ? "." : nullptr;
                Csc a = row.a;
                const Analysis analysis(view_of(a), options);
                EXPECT_EQ(analysis.info().kind, row.analysed);
                Factor factor(analysis);
                for (int round = 0; round < 2; ++round) {
                    factor.factorise(view_of(a));
                    EXPECT_EQ(factor.info().kind, row.used);
                    EXPECT_EQ(factor.info().threads, threads);
                    EXPECT_EQ(factor.info().files > 0, files);
                    EXPECT_GT(factor.info().seconds_factorise, 0);
                    std::vector<double> b = random_vector(3 * a.n, seed + round), x(b.size());
                    std::vector<double> in_place = b;
                    std::thread other([&] { factor.solve(in_place, in_place, 3); });
                    const vyr_solve_info info = factor.solve(b, x, 3);
                    other.join();
                    EXPECT_EQ(in_place, x);
                    EXPECT_LT(worst_error(a, x, b), 1e-13);
                    EXPECT_NEAR(info.backward_error, worst_error(a, x, b), 1e-16);
                    const std::vector<double> one(b.begin(), b.begin() + a.n);
                    EXPECT_LT(backward_error(a, by_parts(factor, one).data(), one.data()), 1e-9);
                    for (double& value : a.values) value *= 1.5;
                }
            }
    EXPECT_TRUE(std::filesystem::is_empty(place.path())) << "the files go with their factor";
}

TEST(Solver, TellsInertiaDeterminantPivotsAndConditionOfADiagonal) {
    const Csc a = diagonal({4, -2, 1, -0.5, 8});
    Options options;
    options.kind = VYR_KIND_AUTOMATIC;
    Factor factor{Analysis(view_of(a), options)};
    factor.factorise(view_of(a));
    const vyr_factor_info info = factor.info();
    EXPECT_TRUE(info.positive == 3 && info.negative == 2 && info.zero == 0);
    EXPECT_TRUE(info.pivot_smallest == 0.5 && info.pivot_largest == 8);
    const auto [logarithm, sign] = factor.log_determinant();
    EXPECT_NEAR(logarithm, std::log(32.0), 1e-14);
    EXPECT_EQ(sign, 1);
    EXPECT_DOUBLE_EQ(factor.condition(), 16);
    EXPECT_DOUBLE_EQ(factor.condition(true), 2) << "scales are powers of two";
    std::vector<double> pivots(5);
    EXPECT_TRUE(vyr_factor_pivots(factor.get(), pivots.data()) == VYR_STATUS_OK && pivots == a.values);
}

TEST(Solver, InsideAParallelRegionOfTheHostItTakesOneThreadAndLeavesItsSettingsAlone) {
#ifdef _WIN32
    GTEST_SKIP() << "the DLL brings an OpenMP of its own, which sees no region of the host's";
#endif
    const Csc a = spd(400, grid_edges(20, 20));
    omp_set_num_threads(3);
    std::int32_t inside = 0;
#pragma omp parallel num_threads(2)
    {
#pragma omp single
        inside = Analysis(view_of(a)).info().threads;
    }
    EXPECT_EQ(inside, 1);
    Factor factor{Analysis(view_of(a))};
    factor.factorise(view_of(a));
    EXPECT_EQ(factor.info().threads, 3);
    EXPECT_EQ(omp_get_max_threads(), 3);
}

struct Host {
    std::vector<double> fractions;
    std::string log;
    int calls_left = 1 << 30;
    vyr_factor* factor = nullptr;
    vyr_status inner = VYR_STATUS_OK;
    std::thread::id thread = std::this_thread::get_id();

    static std::int32_t progress(void* user, std::int32_t, double fraction) {
        Host& host = *static_cast<Host*>(user);
        EXPECT_EQ(std::this_thread::get_id(), host.thread);
        host.fractions.push_back(fraction);
        double x[1] = {};
        if (host.factor != nullptr) host.inner = vyr_solve(host.factor, 1, x, 1, x, 1, nullptr);
        return --host.calls_left < 0;
    }
    static void write(void* user, std::int32_t, const char* text) {
        static_cast<Host*>(user)->log += std::string(text) + "\n";
    }
};

TEST(Solver, ACallbackIsToldOfProgressAndIsRefusedTheObject) {
    const Csc a = spd(8000, grid_edges(20, 20, 20));
    Host host;
    Options options;
    options.progress = Host::progress;
    options.log = Host::write;
    options.progress_user = options.log_user = &host;
    const Analysis analysis(view_of(a), options);
    EXPECT_FALSE(host.fractions.empty());
    Factor factor(analysis);
    host.factor = factor.get();
    host.fractions.clear();
    factor.factorise(view_of(a));
    EXPECT_EQ(host.inner, VYR_STATUS_BUSY);
    EXPECT_TRUE(std::is_sorted(host.fractions.begin(), host.fractions.end()));
}

TEST(Solver, CancelledAtAnyMomentACallLeavesNothingBehindAndTheNextOneIsRight) {
    const TempDirectory place;
    Rng rng(test_seed());
    const int n_rounds = small_sizes() ? 4 : 20;
    for (int round = 0; round < n_rounds; ++round) {
        const bool definite = round % 2 == 0;
        const Csc a = shifted(spd(8000, grid_edges(20, 20, 20), rng()), definite ? 0 : 2.3);
        const vyr_matrix matrix = view_of(a);
        Host host;
        Options options;
        options.kind = definite ? VYR_KIND_POSITIVE : VYR_KIND_INDEFINITE;
        options.directory = round % 4 < 2 ? nullptr : ".";
        options.progress = Host::progress, options.progress_user = &host;
        const auto attempt = [&](const auto& call) {
            const int calls = static_cast<int>(rng() % 3);
            host.calls_left = calls;
            const vyr_status status = call();
            EXPECT_EQ(status, host.calls_left < 0 ? VYR_STATUS_CANCELLED : VYR_STATUS_OK);
            EXPECT_TRUE(calls > 0 || status == VYR_STATUS_CANCELLED) << "the host is asked at least once";
            host.calls_left = 1 << 30;
            return status;
        };
        (void)attempt([&] {
            vyr_analysis* cancelled = nullptr;
            const vyr_status status = vyr_analyse(&matrix, &options, &cancelled);
            vyr_analysis_free(cancelled);
            return status;
        });
        Factor factor{Analysis(view_of(a), options)};
        const std::vector<double> b = random_vector(a.n, rng());
        std::vector<double> x(b.size());
        const auto solve = [&] { return vyr_solve(factor.get(), 1, b.data(), a.n, x.data(), a.n, nullptr); };
        const vyr_status factorised = attempt([&] { return vyr_factorise(factor.get(), &matrix); });
        EXPECT_EQ(solve(), factorised == VYR_STATUS_OK ? VYR_STATUS_OK : VYR_STATUS_NOT_FACTORISED);
        factor.factorise(view_of(a));
        (void)attempt(solve);
        EXPECT_EQ(solve(), VYR_STATUS_OK);
        EXPECT_LT(backward_error(a, x.data(), b.data()), 1e-13);
    }
    EXPECT_TRUE(std::filesystem::is_empty(place.path()));
}

} // namespace
} // namespace vyr::test
