// Several matrices, factors and solves at a time: what threads do together equals what each does alone.
#include "engine/engine.h"
#include "support/capture.h"
#include "support/engine.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <thread>

namespace vyr::test {
namespace {

constexpr int THREADS = 4;

/// One kind of work: a matrix, how it is factorised and where.
struct Job {
    Csc matrix;
    int type = TYPE_SPD;
    std::string directory; ///< empty: in core
};

/// Everything a job finds out, to be compared bit by bit.
struct Outcome {
    std::vector<std::int32_t> perm;
    std::vector<double> solution;
    Status status = Status::OK;
};

Outcome work(const Job& job, std::int32_t n_threads) {
    TestContext test;
    test.context.settings.type = job.type;
    test.context.settings.n_threads = n_threads;
    test.context.settings.directory = job.directory.c_str();
    if (!job.directory.empty()) test.context.settings.core_mode = CORE_OUT;
    EngineRun run(test);
    Outcome outcome;
    outcome.status = run.run(job.matrix);
    if (outcome.status != Status::OK) return outcome;
    outcome.perm.assign(run.analysis.perm.get(), run.analysis.perm.get() + job.matrix.n);
    outcome.solution = run.solve(job.matrix, random_vector(job.matrix.n, 3));
    return outcome;
}

Csc shifted(Csc a, double shift) {
    for (std::int32_t j = 0; j < a.n; ++j) a.values[a.colptr[j]] -= shift;
    return a;
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

void together(int count, const std::function<void(int)>& body) {
    std::vector<std::thread> threads;
    for (int k = 0; k < count; ++k) threads.emplace_back(body, k);
    for (std::thread& thread : threads) thread.join();
}

void expect_close(const std::vector<double>& x, const std::vector<double>& y) {
    ASSERT_EQ(x.size(), y.size());
    double largest = 0, difference = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        largest = std::max(largest, std::abs(y[i]));
        difference = std::max(difference, std::abs(x[i] - y[i]));
    }
    EXPECT_LE(difference, 1e-13 * largest);
}

TEST(Concurrency, ThreadsWithMatricesOfTheirOwnDoWhatEachDoesAlone) {
    const TempDirectory place;
    const std::vector<Job> list = jobs(place.path());
    for (const std::int32_t n_threads : {1, 2}) {
        std::vector<Outcome> alone, at_once(list.size());
        for (const Job& job : list) alone.push_back(work(job, n_threads));
        together(THREADS, [&](int thread) {
            for (std::size_t k = thread; k < list.size(); k += THREADS) at_once[k] = work(list[k], n_threads);
        });
        for (std::size_t k = 0; k < list.size(); ++k) {
            EXPECT_EQ(at_once[k].status, Status::OK);
            EXPECT_EQ(at_once[k].perm, alone[k].perm);
            if (n_threads == 1)
                EXPECT_EQ(at_once[k].solution, alone[k].solution);
            else
                expect_close(at_once[k].solution, alone[k].solution);
        }
    }
}

TEST(Concurrency, ThreadsSolveWithOneFactorAtTheSameTime) {
    const TempDirectory place;
    for (const Job& job : jobs(place.path())) {
        TestContext test;
        test.context.settings.type = job.type;
        test.context.settings.directory = job.directory.c_str();
        test.context.settings.core_mode = job.directory.empty() ? CORE_IN : CORE_OUT;
        EngineRun run(test);
        ASSERT_EQ(run.run(job.matrix), Status::OK);
        const Settings settings = test.context.settings;
        const auto solve_alone = [&](int thread) {
            Accounting memory;
            Context context(memory);
            context.settings = settings;
            std::vector<double> x = random_vector(job.matrix.n, thread);
            EXPECT_EQ(mf_solve_system(context, run.factor, matrix_of(job.matrix), x.data(), 1, false),
                      Status::OK);
            return x;
        };
        std::vector<std::vector<double>> at_once(THREADS);
        together(THREADS, [&](int thread) { at_once[thread] = solve_alone(thread); });
        for (int thread = 0; thread < THREADS; ++thread) EXPECT_EQ(at_once[thread], solve_alone(thread));
    }
}

TEST(Concurrency, TwoFactorsOfOneAnalysisLiveSideBySide) {
    TestContext first, second;
    Csc a = spd(20 * 30, grid_edges(20, 30), 1);
    Csc b = a;
    refill(b, 9);
    EngineRun run(first);
    ASSERT_EQ(run.run(a), Status::OK);
    Factor other(second.memory, run.analysis);
    // An analysis reserves the storage of one factor; another one reserves its own when it is factorised.
    std::thread factorise_other([&] {
        EXPECT_EQ(mf_reserve(second.context, other), Status::OK);
        EXPECT_EQ(mf_factorise(second.context, b.values.data(), other), Status::OK);
    });
    EXPECT_EQ(run.factorise(a), Status::OK);
    factorise_other.join();
    std::vector<double> x = random_vector(a.n, 4);
    const std::vector<double> right = x;
    ASSERT_EQ(mf_solve_system(second.context, other, matrix_of(b), x.data(), 1, false), Status::OK);
    EXPECT_LT(backward_error(b, x.data(), right.data()), 1e-14);
    EXPECT_LT(solve_error(run, a), 1e-14);
}

} // namespace
} // namespace vyr::test
