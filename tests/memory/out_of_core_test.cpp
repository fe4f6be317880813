// Factorizations and solves whose factor is not in core: whatever fails, no answer is wrong.
#include "engine/memory_share.h"
#include "memory/factor_files.h"
#include "memory/file_calls.h"
#include "support/capture.h"
#include "support/engine.h"

#include <cstring>
#include <fstream>

#ifdef __linux__
#include <sys/resource.h>
#include <sys/stat.h>
#endif

using namespace vyr;
using namespace vyr::test;
namespace fs = std::filesystem;

namespace {

/// With the directory as the settings have it: empty, or ending in a slash.
std::string path_of(const std::string& directory, std::int32_t number) {
    char name[FILE_NAME_BYTES];
    mf_file_name(number, name);
    return directory + name;
}

std::string contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A matrix and a way to factorise it.
struct Road {
    int type = TYPE_SPD, core_mode = CORE_OUT;
    std::int32_t threads = 1;
    bool blocked = false;
    double limit_share = 0; ///< of the least that can be enough; 0: none
    double free_share = 0;  ///< memory that is free, as a share of the factor; 0: what the machine has
    const char* directory = "";
    Csc a;
};

/// A Laplacian less a shift, which takes 2 x 2 pivots, or a positive definite matrix.
Csc system(int type, std::int32_t nx, std::int32_t ny, Rng& rng, std::int32_t nz = 1) {
    Csc a = spd(nx * ny * nz, grid_edges(nx, ny, nz), rng());
    if (type != TYPE_SPD) each_entry(a, [](auto i, auto j, double& value) { value = i == j ? 2.3 : -1; });
    return a;
}

Road random_road(Rng& rng) {
    const auto below = [&rng](int bound) { return static_cast<int>(rng() % static_cast<unsigned>(bound)); };
    const int types[] = {TYPE_SPD, TYPE_SPD, TYPE_LDLT, TYPE_CSYM}, modes[] = {1, 1, CORE_LIMITED, CORE_GPU};
    Road road{types[below(4)], modes[below(4)], below(3) ? 1 : 4, below(2) == 0, 0, 0, "", {}};
    (below(2) ? road.limit_share : road.free_share) = below(3) ? 0.03 + 0.01 * below(300) : 0;
    road.directory = below(2) ? "" : "files/";
    road.a = system(road.type, 6 + below(6), 5 + below(6), rng, 1 + below(2));
    return road;
}

/// One road travelled, in a context of its own.
struct Trip : TestContext {
    explicit Trip(const Road& which) : road(which) {
        Settings& settings = context.settings;
        settings.type = road.type;
        settings.core_mode = road.core_mode;
        settings.n_threads = road.threads;
        settings.blocked = road.blocked;
        settings.directory = road.directory;
        settings.reserve_bytes = 1e6;
    }
    Status analyse() {
        const Status status = run.analyse(road.a);
        if (status != Status::OK) return status;
        limit(road.limit_share);
        const double factor_bytes = 8 * static_cast<double>(run.analysis.factor_entries);
        free.available_physical = static_cast<std::uint64_t>(1e6 + road.free_share * factor_bytes);
        if (road.free_share > 0) faults.memory_status = &free;
        return status;
    }
    Status factorise() {
        context.reason[0] = '\0';
        const Status status = run.factorise(road.a);
        EXPECT_EQ(status == Status::OK, context.reason[0] == '\0') << context.reason;
        return status;
    }
    Status solve(std::vector<double>& b) {
        return mf_solve_system(context, run.factor, matrix_of(road.a), b.data(), 1, false);
    }
    void limit(double share) {
        Accounting other;
        Context own(other);
        double path_bytes = 0;
        EXPECT_EQ(mf_path_bytes(own, run.analysis, context.settings.type, path_bytes), Status::OK);
        context.settings.block_limit_bytes = share * path_bytes;
    }
    /// The factor solves, and what is said of files and memory is so.
    void expect_right() {
        const FactorFiles& files = run.factor.files;
        std::int64_t held = 0, doubles = 0, largest = 0;
        for (std::int32_t s = 0; s < run.analysis.n_snodes; ++s) {
            const FactorBlock& block = run.factor.blocks[s];
            EXPECT_NE(block.values != nullptr, (block.flags & BLOCK_WRITTEN) != 0) << s;
            if (block.bytes != 0) held += mf_block_cost(block.bytes);
            if (block.values == nullptr) doubles += run.analysis.snodes[s].n_entries();
        }
        for (std::int32_t f = 0; f < files.count; ++f)
            largest = std::max(largest, static_cast<std::int64_t>(fs::file_size(path_of(road.directory, f))));
        EXPECT_TRUE(files.doubles == doubles && files.max_bytes == largest && files.held_bytes == held);
        EXPECT_GE(run.factor.read_buffer.bytes(), largest);
        const double limit = context.settings.block_limit_bytes;
        EXPECT_TRUE(limit == 0 || static_cast<double>(held + run.factor.read_buffer.bytes()) <= limit);
        EXPECT_LE(solve_error(run, road.a), 1e-11);
    }
    Road road;
    platform::MemoryStatus free{0, UINT64_MAX, UINT64_MAX};
    EngineRun run{*this};
};

/// Makes the calls of a factorization and a solve fail, each alone and each with all that follow.
void sweep(const Road& road, Countdown Faults::*calls, Rng& rng) {
    const std::vector<double> b(road.a.n, 1.0);
    const bool limited = road.limit_share > 0, memory = calls == &Faults::allocation;
    const Status told = memory ? Status::MEMORY : Status::FACTOR_FILE; // by a solve
    std::int64_t n_calls = INT64_MAX;
    for (const bool every_later : {false, true})
        for (std::int64_t k = 1; k <= n_calls;
             k += std::getenv("VYR_EVERY_CALL") != nullptr ? 1 : 1 + static_cast<std::int64_t>(rng() % 4)) {
            SCOPED_TRACE("call " + std::to_string(k) + (every_later ? " and all later ones" : ""));
            for (std::int32_t f = 0; f <= LAST_FACTOR_FILE; ++f) fs::remove(path_of(road.directory, f));
            Trip trip(road);
            Countdown& countdown = trip.faults.*calls;
            countdown.set(k, every_later);
            const Status analysed = trip.analyse();
            const Status status = analysed == Status::OK ? trip.factorise() : analysed;
            std::vector<double> x = b; // without a factor a solve is of no use, but no crash
            const Status solved = analysed == Status::OK ? trip.solve(x) : analysed;
            if (!every_later && countdown.armed()) n_calls = k - 1;
            countdown.set(0);
            const bool done = status == Status::OK;
            ASSERT_TRUE(done || status == Status::FACTOR_STORAGE || status == Status::MEMORY) << code(status);
            ASSERT_TRUE(done || limited || memory);
            if (analysed != Status::OK) continue;
            const bool right = backward_error(road.a, x.data(), b.data()) <= 1e-11;
            ASSERT_TRUE(!done || (solved == Status::OK ? right : solved == told)) << code(solved);
            const bool enough = done || trip.factorise() == Status::OK;
            ASSERT_TRUE(enough ? road.limit_share >= 1 || !limited : limited);
            if (enough) trip.expect_right();
        }
}

} // namespace

TEST(OutOfCore, WhateverCallFailsNoFactorAndNoAnswerIsWrong) {
    Rng rng(test_seed());
    const TempDirectory directory;
    fs::create_directory("files");
    for (int round = 0; round < 10; ++round)
        sweep(random_road(rng), round % 2 ? &Faults::allocation : &Faults::file_call, rng);
}

TEST(OutOfCore, AFileThatIsNotWhatWasWrittenIsRefused) {
    Rng rng(test_seed());
    const TempDirectory directory;
    Trip trip({.type = TYPE_LDLT, .a = system(TYPE_LDLT, 11, 8, rng)});
    ASSERT_EQ(trip.run.run(trip.road.a), Status::OK);
    for (int round = 0; round < 320; ++round) {
        const int number = static_cast<int>(rng() % 4), mutation = round % 8;
        const std::string path = path_of("", number), whole = contents(path);
        std::int32_t count; // of doubles in the first record
        std::memcpy(&count, &whole[4], sizeof count);
        const std::size_t second =
            (8 + 8 * static_cast<std::size_t>(count)) % whole.size(); // record; 0: none
        std::string bad = whole;
        const std::size_t at = rng() % 2 ? second : 0, length = mutation < 2 ? 8 : whole.size() - at;
        if (mutation < 3) bad[at + rng() % length] ^= static_cast<char>(1 << rng() % 8);
        if (mutation == 3) bad.resize(rng() % whole.size());
        if (mutation == 4) bad.resize(second); // whole records alone
        if (mutation == 5) bad += rng() % 2 ? std::string(1 + rng() % 20, '\0') : whole.substr(second);
        if (mutation == 6) bad = contents(path_of("", number ^ 1));
        fs::remove(path); // truncating it makes some systems wait for the disk
        if (mutation < 7) std::ofstream(path, std::ios::binary) << bad;
        if (mutation == 7 && rng() % 2) fs::create_directory(path);
        std::vector<double> x(trip.road.a.n, 1.0);
        ASSERT_EQ(trip.solve(x), Status::FACTOR_FILE) << mutation;
        ASSERT_EQ(trip.context.reason, path + " cannot be read, or is not what was written");
        fs::remove(path);
        std::ofstream(path, std::ios::binary) << whole;
        trip.expect_right();
    }
}

TEST(OutOfCore, TwoRunsKeepApartInOneDirectory) {
    Rng rng(test_seed());
    const TempDirectory directory;
    Trip first({.a = system(TYPE_SPD, 20, 15, rng)}), second({.a = system(TYPE_SPD, 20, 15, rng)});
    ASSERT_EQ(first.run.run(first.road.a), Status::OK);
    ASSERT_EQ(second.run.run(second.road.a), Status::OK); // its memory suffices
    EXPECT_EQ(second.run.factor.files.count, 0);
    second.limit(1.2);
    EXPECT_EQ(second.factorise(), Status::FACTOR_STORAGE);
    EXPECT_NE(std::strstr(second.context.reason, "the factor files of another run are in ."), nullptr);
    first.expect_right();
    first.run.factor.release();
    ASSERT_EQ(second.factorise(), Status::OK);
    second.expect_right();
}

#ifdef __linux__
TEST(OutOfCore, WhatStandsUnderAFilesNameIsNeitherFollowedNorWaitedFor) {
    Rng rng(test_seed());
    const TempDirectory directory;
    std::ofstream("target") << "mine";
    for (const char* target : {"target", "nowhere", "/dev/full"})
        fs::create_symlink(target, path_of("", target[0] % 4));
    Trip trip({.a = system(TYPE_SPD, 20, 15, rng)});
    ASSERT_EQ(trip.run.run(trip.road.a), Status::OK);
    trip.expect_right();
    EXPECT_EQ(contents("target"), "mine");
    EXPECT_FALSE(fs::exists("nowhere"));
    fs::remove(path_of("", 1));
    ASSERT_EQ(mkfifo(path_of("", 1).c_str(), 0600), 0);
    std::vector<double> x(trip.road.a.n, 1.0);
    EXPECT_EQ(trip.solve(x), Status::FACTOR_FILE);
    trip.limit(1.2);
    EXPECT_EQ(trip.factorise(), Status::FACTOR_STORAGE);
}

TEST(OutOfCore, AFileThatMayNotGrowIsAStatusAndLeavesNothing) {
    Rng rng(test_seed());
    const TempDirectory directory;
    Trip trip({.a = system(TYPE_SPD, 20, 15, rng)});
    rlimit limit{300, RLIM_INFINITY}; // what a full disk looks like, and by default the end of the process
    setrlimit(RLIMIT_FSIZE, &limit);
    ASSERT_EQ(trip.run.run(trip.road.a), Status::OK); // its memory suffices
    trip.limit(1.2);
    EXPECT_EQ(trip.factorise(), Status::FACTOR_STORAGE);
    EXPECT_NE(std::strstr(trip.context.reason, "VYR_ 0.mmf: File too large"), nullptr) << trip.context.reason;
    EXPECT_TRUE(fs::is_empty("."));
    limit.rlim_cur = RLIM_INFINITY;
    setrlimit(RLIMIT_FSIZE, &limit);
}
#endif

TEST(OutOfCore, EachFactorizationStartsAfresh) {
    Rng rng(test_seed());
    const TempDirectory directory;
    fs::create_directory("files");
    Trip trip({.a = system(TYPE_SPD, 20, 15, rng)});
    ASSERT_EQ(trip.analyse(), Status::OK);
    Settings& settings = trip.context.settings;
    const std::string too_long(4072, 'x');
    settings.directory = too_long.c_str();
    EXPECT_EQ(trip.factorise(), Status::FACTOR_FILE);
    settings.directory = "";
    trip.limit(0.99);
    EXPECT_EQ(trip.factorise(), Status::FACTOR_STORAGE);
    bool stored = false; // in core: that storage stays
    for (int step = 0; step < 30; ++step) {
        refill(trip.road.a, rng());
        const int modes[] = {CORE_OUT, CORE_LIMITED, CORE_IN};
        settings.core_mode = modes[rng() % (step < 20 ? 2 : 3)];
        stored |= settings.core_mode == CORE_IN;
        settings.directory = trip.road.directory = rng() % 2 ? "" : "files/";
        const bool limited = !stored && rng() % 2;
        trip.limit(limited ? 1.2 : 0);
        trip.context.statistics.t_file_write = 1e9; // of the run before
        ASSERT_EQ(trip.factorise(), Status::OK);
        EXPECT_LT(trip.context.statistics.t_file_write, 1e9);
        EXPECT_EQ(trip.run.factor.files.count > 0, limited || (!stored && settings.core_mode == CORE_OUT));
        trip.expect_right();
    }
}
