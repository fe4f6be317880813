// What the tool makes of it.
#include "ooc_run.h"
#include "support/capture.h"
#include "tools/vyr/generators.h"
#include "tools/vyr/norms.h"
#include "tools/vyr/solve_report.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace vyr;
using namespace vyr::test;
using namespace vyr::tool;
namespace fs = std::filesystem;

namespace {

struct Outcome {
    SolveResult result;
    DenseMatrix x;
};

Outcome run(const OutOfCore& out_of_core) {
    const SparseMatrix a = generate("poisson3d", 20);
    Outcome outcome;
    outcome.result = solve(a, known_right_hand_sides(a, 3), outcome.x, 2, false, out_of_core);
    return outcome;
}

} // namespace

TEST(ToolOutOfCore, SolvesAllRightHandSidesFromFilesInTheDirectory) {
    const TempDirectory directory;
    fs::create_directory("files");
    const Outcome in_core = run({});
    EXPECT_EQ(result_json(in_core.result).find("files"), std::string::npos);
    const double limit = static_cast<double>(platform::resident_bytes()) + 500e6;
    for (const double memory_limit : {0.0, limit}) {
        const Outcome outcome = run({"files", memory_limit});
        EXPECT_EQ(failure_sentence(outcome.result), "");
        EXPECT_LE(outcome.result.backward_error, 1e-14);
        EXPECT_LE(difference(outcome.x.values, in_core.x.values), 1e-13);
        EXPECT_TRUE(fs::exists("files/VYR_ 0.mmf")); // and the current directory is the old one
        EXPECT_GE(outcome.result.files.n_files, 5);
        EXPECT_NE(result_table(outcome.result).find("factor files"), std::string::npos);
        EXPECT_NE(result_json(outcome.result).find("\"file_bytes\": "), std::string::npos);
    }
}

TEST(ToolOutOfCore, TellsHowMuchMemoryItNeedsAndThatLimitWorks) {
    const TempDirectory directory;
    const SolveResult refused = run({".", 1e6}).result;
    EXPECT_EQ(refused.status, VYR_ERR_FACTOR_STORAGE);
    EXPECT_GT(refused.files.least_limit_bytes, 1e6);
    EXPECT_NE(failure_sentence(refused).find("The memory limit is too small."), std::string::npos);
    EXPECT_EQ(run({".", refused.files.least_limit_bytes * 1.2}).result.status, 0);
}

TEST(ToolOutOfCore, SolvesIndefiniteSystemsTooAndKnowsTheMemoryTheyNeed) {
    const TempDirectory directory;
    for (const SparseMatrix& a : {shifted3d(16), kkt(40)}) {
        const DenseMatrix b = known_right_hand_sides(a, 2);
        DenseMatrix x;
        const SolveResult refused = solve_indefinite(a, b, x, 1, false, {".", 1e6});
        ASSERT_EQ(refused.status, VYR_ERR_FACTOR_STORAGE);
        std::vector<double> limits{0.0};
#ifndef __SANITIZE_ADDRESS__ // whose own memory counts as the process's and grows as it runs
        limits.push_back(refused.files.least_limit_bytes * 1.2);
#endif
        for (const double limit : limits) {
            const SolveResult result = solve_indefinite(a, b, x, 2, false, {".", limit});
            ASSERT_EQ(failure_sentence(result), "") << a.n;
            EXPECT_LE(result.backward_error, 1e-13);
            EXPECT_GE(result.files.n_files, 2);
            for (std::int32_t i = 0; i < a.n; ++i) ASSERT_NEAR(x.column(1)[i], 1 + i % 8 / 8.0, 1e-8);
        }
    }
}

TEST(ToolOutOfCore, TellsWhenTheMachineHasTooLittleMemory) {
    const TempDirectory directory;
    const HookGuard hooks;
    const platform::MemoryStatus nothing_free{0, UINT64_MAX, UINT64_MAX};
    mf_test_hooks.memory_status = &nothing_free;
    const SolveResult refused = run({"."}).result;
    EXPECT_EQ(refused.status, VYR_ERR_BUFFER);
    EXPECT_EQ(failure_sentence(refused).find("The machine has too little free memory"), 0u);
}

TEST(ToolOutOfCore, TellsATooSmallLimitFromFilesThatCannotBeWritten) {
    const TempDirectory directory;
    const auto expect_sentence = [](const Csc& a, std::int64_t memory_limit, int status, const char* words) {
        Session session;
        analyse(session, a, {}, memory_limit);
        SolveResult result;
        result.status = session.numeric(a);
        EXPECT_EQ(result.status, status);
        result.files = OutOfCoreRun({".", 1e9}).use(session.solver(), result.status);
        EXPECT_NE(failure_sentence(result).find(words), std::string::npos) << failure_sentence(result);
    };
    const Csc a = grid_matrix();
    Session session;
    analyse(session, a);
    const std::int64_t path = path_bytes(session.solver());
    session.clear();
    expect_sentence(a, path * 15 / 16, VYR_ERR_FACTOR_STORAGE, "memory limit is too small");
    EXPECT_TRUE(fs::exists(file_name(1)));
    // One block, which fits, while the file it goes to does not: the flush ends with an empty second file.
    expect_sentence(spd(20, dense_edges(20)), 20 * 20 * 8, VYR_ERR_MEMORY, "memory limit is too small");
    fs::remove(file_name(0));
    fs::create_directory(file_name(0));
    expect_sentence(a, path, VYR_ERR_FACTOR_STORAGE, "factor files cannot be written");
}
