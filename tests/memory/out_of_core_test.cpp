// Factorizations and solves whose factor is not in core: whatever fails, no answer is wrong.
#include "engine/engine.h"
#include "engine/memory_share.h"
#include "memory/factor_files.h"
#include "memory/file_calls.h"
#include "support/capture.h"
#include "support/engine.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <thread>

using namespace vyr;
using namespace vyr::test;
namespace fs = std::filesystem;

namespace {

using Records = std::map<std::int32_t, std::string>; // by node

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

/// The old file is removed first: truncating it makes some systems wait for the disk.
void overwrite(const std::string& path, const std::string& bytes) {
    fs::remove(path);
    std::ofstream(path, std::ios::binary) << bytes;
}

/// Every node's record, from its file or made from its block. Checks that the files hold what is said of them
/// and nothing else, and that what is said of memory is so.
Records records(const Factor& factor) {
    const Analysis& analysis = *factor.analysis;
    const FactorFiles& files = factor.files;
    Records all;
    std::int64_t held = 0, doubles = 0, largest = 0;
    std::int32_t header[2];
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
        const FactorBlock& block = factor.blocks[s];
        EXPECT_NE(block.values != nullptr, (block.flags & BLOCK_WRITTEN) != 0) << s;
        if (block.bytes != 0) held += mf_block_cost(block.bytes);
        if (block.values == nullptr) continue;
        header[0] = analysis.snodes[s].first();
        header[1] = static_cast<std::int32_t>(analysis.snodes[s].n_entries());
        all[s].append(reinterpret_cast<const char*>(header), sizeof header);
        all[s].append(reinterpret_cast<const char*>(block.values), header[1] * sizeof(double));
    }
    for (std::int32_t f = 0; f < files.count; ++f) {
        const std::string bytes = contents(path_of(files.directory ? files.directory.get() : "", f));
        for (std::size_t at = 0, previous = 0; at < bytes.size();) {
            std::memcpy(header, &bytes.at(at), sizeof header);
            const std::int32_t s = analysis.column_map[header[0]];
            EXPECT_EQ(factor.blocks[s].file_number, static_cast<std::uint32_t>(f));
            EXPECT_GT(s + 1u, std::exchange(previous, s + 1u));
            all[s] = bytes.substr(at, 8 + static_cast<std::size_t>(header[1]) * 8);
            at += 8 + static_cast<std::size_t>(header[1]) * 8;
            doubles += header[1];
        }
        largest = std::max(largest, static_cast<std::int64_t>(bytes.size()));
    }
    EXPECT_EQ(all.size(), static_cast<std::size_t>(analysis.n_snodes));
    EXPECT_EQ(files.doubles, doubles);
    EXPECT_EQ(files.max_bytes, largest);
    EXPECT_EQ(files.held_bytes, held);
    EXPECT_GE(factor.read_buffer.bytes(), largest);
    return all;
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
    for (std::int32_t j = 0; j < a.n && type != TYPE_SPD; ++j)
        for (std::int32_t k = a.colptr[j]; k < a.colptr[j + 1]; ++k)
            a.values[k] = a.rowind[k] == j ? 2.3 : -1;
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
        context.settings.block_limit_bytes = road.limit_share > 0 ? road.limit_share * path_bytes() : 0;
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
    Status solve(std::vector<double>& b) { // in place
        return mf_solve_system(context, run.factor, matrix_of(road.a), b.data(), 1, false);
    }
    double path_bytes() {
        Accounting other;
        Context own(other);
        double bytes = 0;
        EXPECT_EQ(mf_path_bytes(own, run.analysis, bytes), Status::OK);
        return bytes;
    }
    void expect_right(const Records& expected) {
        EXPECT_TRUE(records(run.factor) == expected || road.threads > 1);
        const auto held = static_cast<double>(run.factor.files.held_bytes + run.factor.read_buffer.bytes());
        const double limit = context.settings.block_limit_bytes;
        EXPECT_TRUE(limit == 0 || held <= limit) << held;
        EXPECT_LE(solve_error(run, road.a), 1e-11);
    }
    Road road;
    platform::MemoryStatus free{0, UINT64_MAX, UINT64_MAX};
    EngineRun run{*this};
};

/// The records of the factor made in core on one thread.
Records in_core_records(Road road) {
    road.core_mode = CORE_IN;
    road.threads = 1;
    Trip trip(road);
    EXPECT_EQ(trip.run.run(road.a), Status::OK);
    return records(trip.run.factor);
}

/// Makes the calls of a factorization fail, each alone and each with all that follow.
void sweep(const Road& road, Countdown Faults::*calls, Rng& rng) {
    const Records expected = in_core_records(road);
    std::int64_t n_calls = INT64_MAX;
    for (const bool every_later : {false, true})
        for (std::int64_t k = 1; k <= n_calls; k += 1 + static_cast<std::int64_t>(rng() % 4)) {
            SCOPED_TRACE("call " + std::to_string(k) + (every_later ? " and all later ones" : ""));
            for (std::int32_t f = 0; f <= LAST_FACTOR_FILE; ++f) fs::remove(path_of(road.directory, f));
            Trip trip(road);
            Countdown& countdown = trip.faults.*calls;
            countdown.set(k, every_later);
            const Status analysed = trip.analyse();
            const Status status = analysed == Status::OK ? trip.factorise() : analysed;
            if (!every_later && countdown.armed()) n_calls = k - 1;
            countdown.set(0);
            ASSERT_TRUE(status == Status::OK || status == Status::FACTOR_STORAGE || status == Status::MEMORY)
                << code(status);
            const bool limited = road.limit_share > 0;
            ASSERT_TRUE(status == Status::OK || limited || calls == &Faults::allocation);
            if (analysed != Status::OK) continue;
            std::vector<double> b(road.a.n, 1.0);
            if (status != Status::OK) (void)trip.solve(b); // of no use, but no crash
            const bool enough = status == Status::OK || trip.factorise() == Status::OK;
            ASSERT_TRUE(enough ? road.limit_share >= 1 || !limited : limited);
            if (enough) trip.expect_right(expected);
        }
}

} // namespace

TEST(OutOfCore, WhateverCallFailsNoFactorIsWrong) {
    Rng rng(test_seed());
    const TempDirectory directory;
    fs::create_directory("files");
    for (int round = 0; round < 10; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        sweep(random_road(rng), round % 2 ? &Faults::allocation : &Faults::file_call, rng);
    }
}

TEST(OutOfCore, WhateverCallOfASolveFailsIsToldAndTheNextSolveIsRight) {
    Rng rng(test_seed());
    const TempDirectory directory;
    for (const int type : {TYPE_SPD, TYPE_LDLT, TYPE_CSYM}) {
        Trip trip({.type = type, .a = system(type, 9, 7, rng)});
        ASSERT_EQ(trip.run.run(trip.road.a), Status::OK);
        const std::vector<double> b = random_vector(trip.road.a.n, 3), x = trip.run.solve(trip.road.a, b);
        std::int64_t n_calls = 0, n_told = 0;
        const auto one_more_fails = [&](Countdown& calls, Status expected) {
            std::vector<double> y = b;
            calls.set(++n_calls);
            const Status status = trip.solve(y);
            const bool fired = !calls.armed();
            calls.set(0);
            EXPECT_TRUE(status == expected || (status == Status::OK && y == x)) << n_calls;
            EXPECT_TRUE(status != Status::MEMORY || y == b);
            n_told += status == expected;
            EXPECT_EQ(trip.run.solve(trip.road.a, b), x);
            return fired;
        };
        while (one_more_fails(trip.faults.file_call, Status::FACTOR_FILE)) {
        }
        const std::int32_t n_files = trip.run.factor.files.count;
        EXPECT_EQ(n_calls - 1, 12 * n_files); // two sweeps: open, seek, tell, seek, read, close
        EXPECT_EQ(n_told, 10 * n_files);      // a close loses nothing
        n_calls = n_told = 0;
        while (one_more_fails(trip.faults.allocation, Status::MEMORY))
            trip.run.factor.read_buffer.reset(); // lent to another solve
        EXPECT_GE(n_told, 4);
    }
}

TEST(OutOfCore, AFileThatIsNotWhatWasWrittenIsRefused) {
    Rng rng(test_seed());
    const TempDirectory directory;
    for (const int type : {TYPE_SPD, TYPE_LDLT}) {
        Trip foreign({.type = type, .a = system(type, 10, 6, rng)});
        ASSERT_EQ(foreign.run.run(foreign.road.a), Status::OK);
        const std::string other = contents("VYR_ 0.mmf");
        Trip trip({.type = type, .a = system(type, 11, 8, rng)});
        ASSERT_EQ(trip.run.run(trip.road.a), Status::OK);
        const std::vector<double> b = random_vector(trip.road.a.n, 3), x = trip.run.solve(trip.road.a, b);
        for (int round = 0; round < 160; ++round) {
            const int number = static_cast<int>(rng() % 4), mutation = round % 8;
            SCOPED_TRACE("file " + std::to_string(number) + " mutation " + std::to_string(mutation));
            const std::string path = path_of("", number), whole = contents(path);
            std::vector<std::size_t> starts; // of the records
            std::size_t end = 0;
            for (std::int32_t count; end < whole.size(); end += 8 + static_cast<std::size_t>(count) * 8) {
                starts.push_back(end);
                std::memcpy(&count, &whole[end + 4], sizeof count);
            }
            const std::size_t at = starts[rng() % starts.size()];
            std::string bad = whole;
            if (mutation < 3) bad[at + rng() % 8] ^= static_cast<char>(1 << rng() % 8); // key or count
            if (mutation == 3) bad.resize(rng() % whole.size());
            if (mutation == 4) bad.resize(at); // whole records alone
            if (mutation == 5) bad += rng() % 2 ? std::string(1 + rng() % 20, '\0') : whole.substr(at);
            if (mutation == 6) bad = rng() % 2 ? other : contents(path_of("", number ^ 1));
            overwrite(path, bad);
            if (mutation == 7) fs::remove(path);
            if (mutation == 7 && rng() % 2) fs::create_directory(path);
            std::vector<double> y = b;
            ASSERT_EQ(trip.solve(y), Status::FACTOR_FILE);
            ASSERT_EQ(trip.context.reason, "factor file " + std::to_string(number) +
                                               " cannot be read or belongs to another factor");
            overwrite(path, whole);
            ASSERT_EQ(trip.run.solve(trip.road.a, b), x);
        }
    }
}

TEST(OutOfCore, TwoFactorsInTwoDirectoriesServeFourSolvesAtATime) {
    Rng rng(test_seed());
    const TempDirectory directory;
    fs::create_directory("a");
    fs::create_directory("b");
    Trip first({.directory = "a/", .a = system(TYPE_SPD, 12, 9, rng)});
    Trip second({.type = TYPE_LDLT, .directory = "b", .a = system(TYPE_LDLT, 9, 8, rng)});
    for (Trip* trip : {&first, &second}) ASSERT_EQ(trip->run.run(trip->road.a), Status::OK);
    EXPECT_TRUE(fs::exists("b/VYR_ 0.mmf") && !fs::exists("VYR_ 0.mmf"));
    std::vector<std::thread> threads;
    for (std::uint64_t t = 0; t < 4; ++t)
        threads.emplace_back([&trip = t % 2 ? first : second, t] {
            Context own(trip.memory);
            own.settings = trip.context.settings;
            for (std::uint64_t round = 0; round < 10; ++round) {
                const std::vector<double> b = random_vector(trip.road.a.n, 10 * t + round);
                std::vector<double> x = b;
                EXPECT_EQ(mf_solve_system(own, trip.run.factor, matrix_of(trip.road.a), x.data(), 1, false),
                          Status::OK);
                EXPECT_LE(backward_error(trip.road.a, x.data(), b.data()), 1e-11);
            }
        });
    for (std::thread& thread : threads) thread.join();
    first.expect_right(in_core_records(first.road));
}

TEST(OutOfCore, EachFactorizationStartsAfreshAndAFailedOneTellsWhy) {
    Rng rng(test_seed());
    const TempDirectory directory;
    fs::create_directory("files");
    Trip trip({.a = system(TYPE_SPD, 20, 15, rng)});
    ASSERT_EQ(trip.analyse(), Status::OK);
    Settings& settings = trip.context.settings;
    const std::string longest(4071, 'x'), too_long(4072, 'x');
    const struct {
        int core_mode;
        double limit_share;
        const char* directory;
        bool files;
        Status status;
        const char* reason;
    } runs[] = {
        {CORE_OUT, 0, "", true, Status::OK, ""},
        {CORE_OUT, 1.2, "files/", true, Status::OK, ""},
        {CORE_OUT, 1.2, "nowhere/", false, Status::FACTOR_STORAGE,
         "a factor file could not be written, and memory cannot hold the factor"},
        {CORE_OUT, 0, longest.c_str(), false, Status::OK, ""}, // no such directory: all in memory
        {CORE_OUT, 0, too_long.c_str(), false, Status::FACTOR_FILE,
         "the path of the directory for the factor files is longer than 4071 bytes"},
        {CORE_LIMITED, 0, "", false, Status::OK, ""},
        {CORE_LIMITED, 0.5, "", false, Status::FACTOR_STORAGE,
         "the memory limit of 0.0 MB is too small for the factor blocks in use at a time"},
        {CORE_LIMITED, 1.2, "", true, Status::OK, ""},
        {CORE_MAPPED, 0, "", false, Status::MAPPING, "the mapped factor store could not be created"},
        {CORE_IN, 0, "", false, Status::OK, ""},
        {CORE_OUT, 0, "", false, Status::OK, ""} // the storage in core stays
    };
    for (const auto& run : runs) {
        refill(trip.road.a, rng());
        settings.core_mode = run.core_mode;
        settings.block_limit_bytes = run.limit_share * trip.path_bytes();
        settings.directory = trip.road.directory = run.directory;
        ASSERT_EQ(trip.factorise(), run.status);
        EXPECT_STREQ(trip.context.reason, run.reason);
        if (run.status != Status::OK) continue;
        EXPECT_EQ(trip.run.factor.files.count > 0, run.files);
        EXPECT_TRUE(run.core_mode == CORE_OUT || (trip.context.statistics.t_file_write > 0) == run.files);
        trip.expect_right(in_core_records(trip.road));
    }
}

TEST(OutOfCore, ABlockThatFitsWhileItsRecordDoesNotIsReported) {
    const TempDirectory directory;
    Trip trip({.limit_share = 1, .a = spd(20, dense_edges(20))}); // a record is eight bytes longer
    ASSERT_EQ(trip.analyse(), Status::OK);
    trip.context.log.messages = true;
    EXPECT_EQ(trip.factorise(), Status::MEMORY);
    EXPECT_STREQ(trip.context.reason, "out of memory: reading the factor files needs a buffer of 0.0 MB");
    EXPECT_NE(trip.text.find("(M) memory.Error code="), std::string::npos) << trip.text;
    EXPECT_NE(trip.text.find("\r\n\tLU=0.0032(M),thresh=0.00032,reserve=1."), std::string::npos) << trip.text;
}

TEST(OutOfCore, FilesLastWhenMemoryTakesAFewNodesAtATime) {
    const TempDirectory directory;
    Trip trip({.core_mode = CORE_LIMITED, .free_share = 0.03, .a = diagonal(std::vector<double>(3000, 2.0))});
    ASSERT_EQ(trip.analyse(), Status::OK);
    ASSERT_EQ(trip.factorise(), Status::OK);
    EXPECT_GT(trip.run.factor.files.doubles, 2900);
    trip.expect_right(in_core_records(trip.road));
}
