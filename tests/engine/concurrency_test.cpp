// Several matrices, factors and solves at a time: what threads do together equals what each does alone.
#include "support/capture.h"
#include "support/engine.h"

#include <cmath>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace vyr::test {
namespace {

constexpr int THREADS = 4;

/// One kind of work: a matrix, how it is factorised and where.
struct Job {
    Csc matrix;
    int type = TYPE_SPD;
    std::string directory; ///< empty: in core

    void set(Settings& settings) const {
        settings.type = type;
        settings.directory = directory.c_str();
        settings.core_mode = directory.empty() ? CORE_IN : CORE_OUT;
    }
};

std::vector<double> work(const Job& job, std::int32_t n_threads) {
    TestContext test;
    job.set(test.context.settings);
    test.context.settings.n_threads = n_threads;
    EngineRun run(test);
    EXPECT_EQ(run.run(job.matrix), Status::OK);
    return run.solve(job.matrix, random_vector(job.matrix.n, 3));
}

std::vector<Job> jobs(const std::filesystem::path& place) {
    std::vector<Job> list;
    for (int k = 0; k < THREADS; ++k) {
        const std::filesystem::path directory = place / std::to_string(k);
        std::filesystem::create_directories(directory);
        list.push_back({spd(11 * 12 * 9, grid_edges(11, 12, 9), k + 1), TYPE_SPD, ""});
        list.push_back({shifted(spd(30 * (20 + k), grid_edges(30, 20 + k), k), 2.3), TYPE_LDLT, ""});
        list.push_back({spd(40 * (30 + k), grid_edges(40, 30 + k), k), TYPE_SPD, directory.string()});
    }
    return list;
}

/// The threads end together: LLVM's OpenMP, under which ThreadSanitizer runs, keeps tasks of host threads
/// that are gone, and stumbles over them.
void together(const std::function<void(int)>& body) {
    std::vector<std::thread> threads;
    std::mutex mutex;
    std::condition_variable changed;
    int n_done = 0;
    for (int k = 0; k < THREADS; ++k)
        threads.emplace_back([&, k] {
            body(k);
            std::unique_lock lock(mutex);
            ++n_done;
            changed.notify_all();
            changed.wait(lock, [&] { return n_done == THREADS; });
        });
    for (std::thread& thread : threads) thread.join();
}

TEST(Concurrency, ThreadsWithMatricesOfTheirOwnDoWhatEachDoesAlone) {
    const TempDirectory place;
    const std::vector<Job> list = jobs(place.path());
    for (const std::int32_t n_threads : {2, 1}) {
        std::vector<std::vector<double>> alone(list.size()), at_once(list.size());
        for (std::size_t k = 0; k < list.size(); ++k) alone[k] = work(list[k], n_threads);
        together([&](int thread) {
            for (std::size_t k = thread; k < list.size(); k += THREADS) at_once[k] = work(list[k], n_threads);
        });
        for (std::size_t k = 0; k < list.size(); ++k) {
            const double largest = *std::max_element(alone[k].begin(), alone[k].end());
            for (std::size_t i = 0; i < alone[k].size(); ++i)
                ASSERT_NEAR(at_once[k][i], alone[k][i], n_threads == 1 ? 0 : 1e-13 * largest);
        }
    }
}

TEST(Concurrency, ThreadsSolveWithOneFactorAtTheSameTime) {
    const TempDirectory place;
    for (const Job& job : jobs(place.path())) {
        TestContext test;
        job.set(test.context.settings);
        EngineRun run(test);
        ASSERT_EQ(run.run(job.matrix), Status::OK);
        const auto solve_alone = [&](int thread) {
            TestContext own;
            job.set(own.context.settings);
            std::vector<double> x = random_vector(job.matrix.n, thread);
            EXPECT_EQ(mf_solve_system(own.context, run.factor, matrix_of(job.matrix), x.data(), 1, false),
                      Status::OK);
            return x;
        };
        std::vector<std::vector<double>> at_once(THREADS);
        together([&](int thread) { at_once[thread] = solve_alone(thread); });
        for (int thread = 0; thread < THREADS; ++thread) EXPECT_EQ(at_once[thread], solve_alone(thread));
    }
}

TEST(Concurrency, TwoFactorsOfOneAnalysisLiveSideBySide) {
    TestContext first, second;
    const Csc a = spd(20 * 30, grid_edges(20, 30), 1);
    Csc b = a;
    refill(b, 9);
    EngineRun run(first);
    ASSERT_EQ(run.run(a), Status::OK);
    Factor other(second.memory, run.analysis); // reserves storage of its own
    std::thread factorise_other([&] {
        EXPECT_EQ(mf_reserve(second.context, other), Status::OK);
        EXPECT_EQ(mf_factorise(second.context, b.values.data(), other), Status::OK);
    });
    EXPECT_EQ(run.factorise(a), Status::OK);
    factorise_other.join();
    const std::vector<double> right = random_vector(a.n, 4);
    std::vector<double> x = right;
    ASSERT_EQ(mf_solve_system(second.context, other, matrix_of(b), x.data(), 1, false), Status::OK);
    EXPECT_LT(backward_error(b, x.data(), right.data()), 1e-14);
    EXPECT_LT(solve_error(run, a), 1e-14);
}

} // namespace
} // namespace vyr::test
