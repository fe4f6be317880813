// The finished program as a user runs it.
#include "support/capture.h"
#include "tools/vyr/generators.h"
#include "tools/vyr/matrix_market.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

#include <sys/wait.h>

namespace vyr::tool {
namespace {

struct Outcome {
    int code;
    std::string output;
};

/// Runs a command line of the shell with `vyr` standing for the program.
Outcome shell(const std::string& command) {
    std::FILE* pipe = popen(("vyr() { '" VYR_PROGRAM "' \"$@\"; }\n" + command).c_str(), "r");
    std::string output;
    char piece[4096];
    while (const std::size_t got = std::fread(piece, 1, sizeof piece, pipe)) output.append(piece, got);
    const int status = pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

/// Runs in a directory of its own with a small good and some bad matrices at hand.
class Program : public testing::Test {
protected:
    void SetUp() override {
        write("good.mtx",
              "%%MatrixMarket matrix coordinate real symmetric\r\n2 2 3\r\n1 1 4\r\n2 1 1\r\n2 2 3\r\n");
        write("negative.mtx", "%%MatrixMarket matrix coordinate integer symmetric\n2 2 2\n1 1 4\n2 2 -3\n");
        write("broken.mtx", "%%MatrixMarket matrix coordinate real symmetric\n2 2 2\n1 1 4\n2 2 oops\n");
    }
    static void write(const char* name, const char* text) { std::ofstream(name, std::ios::binary) << text; }

    test::TempDirectory directory_;
};

TEST_F(Program, SolvesAndWritesTheSolution) {
    write("b.mtx", "%%MatrixMarket matrix array real general\n2 1\n9\n5\n");
    const Outcome run = shell("vyr solve good.mtx --rhs b.mtx --output x.mtx --threads 1");
    EXPECT_EQ(run.code, 0);
    EXPECT_NE(run.output.find("backward error"), std::string::npos) << run.output;
    EXPECT_EQ(run.output.find('\r'), std::string::npos) << "no live line when the output is not a terminal";
    const DenseMatrix x = read_dense("x.mtx", 2);
    EXPECT_NEAR(x.values[0], 2, 1e-15);
    EXPECT_NEAR(x.values[1], 1, 1e-15);
}

TEST_F(Program, GeneratesWhatItThenSolvesToJson) {
    const Outcome run =
        shell("vyr generate elasticity3d 5 -o a.mtx && vyr solve a.mtx --nrhs 3 --repeat 3 --json >a.json && "
              "'" VYR_PYTHON "' -c 'import json; r = json.load(open(\"a.json\"));"
              "print(r[\"n\"], r[\"status\"], r[\"backward_error\"] < 1e-14, len(r), "
              "r[\"seconds_factorise\"] > 0)'");
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.output, "540 0 True 12 True\n");
}

TEST_F(Program, AFailureOfTheLibraryIsASentenceAndExitCode1) {
    const Outcome table = shell("vyr solve negative.mtx 2>&1");
    EXPECT_EQ(table.code, 1);
    EXPECT_EQ(table.output.find("vyr: The matrix is not positive definite: the pivot of equation 2 is -3."),
              0U)
        << table.output;
    const Outcome json = shell("vyr solve negative.mtx --json 2>/dev/null >a.json; echo $?; '" VYR_PYTHON
                               "' -m json.tool <a.json");
    EXPECT_EQ(json.output.substr(0, 2), "1\n");
    EXPECT_EQ(json.code, 0);
    EXPECT_NE(json.output.find("\"status\": -35"), std::string::npos) << json.output;
}

TEST_F(Program, SolvesIndefiniteSystemsOrSaysWhyNot) {
    const Outcome good =
        shell("vyr generate kkt 9 -o a.mtx && vyr solve a.mtx --indefinite --threads 2 --nrhs 2 "
              "--repeat 2 --output x.mtx --report .");
    EXPECT_EQ(good.code, 0);
    EXPECT_NE(good.output.find("backward error"), std::string::npos) << good.output;
    const DenseMatrix x = read_dense("x.mtx", 121);
    for (std::int32_t i = 0; i < x.n_rows; ++i) {
        ASSERT_NEAR(x.column(0)[i], 1, 1e-10);
        ASSERT_NEAR(x.column(1)[i], 1 + i % 8 / 8.0, 1e-10);
    }
    // The report has the figures of the analysis as well as the type of the factorization.
    EXPECT_EQ(shell("tr -d '\\t\\r' <'VYR_spd 2.2.info' | grep -c -e '<NODEs>[1-9]' -e '<T_SYM>.*[1-9].*<' "
                    "-e '<NZLU_SYM>[1-9]' -e '<stra>12<'")
                  .output,
              "4\n");
    EXPECT_EQ(shell("vyr solve a.mtx 2>&1 >/dev/null | grep -c -e --indefinite").output, "1\n");

    write("hopeless.mtx", "%%MatrixMarket matrix coordinate real symmetric\n3 3 3\n1 1 4\n2 1 1\n3 1 1\n");
    const Outcome hopeless = shell("vyr solve hopeless.mtx --indefinite 2>&1");
    EXPECT_EQ(hopeless.code, 1);
    EXPECT_EQ(hopeless.output.find("vyr: No pivot could be found for some equation: "), 0U)
        << hopeless.output;
}

// A sanitizer's memory would count as the program's.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

/// `blocks` times the matrix on one diagonal, with nothing between.
SparseMatrix repeated(const SparseMatrix& a, std::int32_t blocks) {
    SparseMatrix all{a.n * blocks, {0}, {}, {}};
    for (std::int32_t block = 0; block < blocks; ++block) {
        for (std::int32_t j = 1; j <= a.n; ++j)
            all.col_ptr.push_back(block * a.nnz() + a.col_ptr[static_cast<std::size_t>(j)]);
        for (const std::int32_t i : a.row_ind) all.row_ind.push_back(block * a.n + i);
        all.values.insert(all.values.end(), a.values.begin(), a.values.end());
    }
    return all;
}

TEST_F(Program, StaysUnderTheMemoryLimitItAdvises) {
    // Eight trees, of which two at a time would not fit. All of the factor is larger than the limit.
    write_symmetric("a.mtx", repeated(poisson3d(26), 8), "");
    const std::string solve = "vyr solve a.mtx --threads 2 --json --out-of-core . --memory-limit ";
    const Outcome refused = shell(solve + "1 2>&1 >/dev/null");
    EXPECT_EQ(refused.code, 1);
    const std::size_t about = refused.output.find("about ");
    ASSERT_NE(about, std::string::npos) << refused.output;
    const std::string limit = std::to_string(std::stoi(refused.output.substr(about + 6)));
    const Outcome run =
        shell(solve + limit +
              " 2>&1 >a.json && '" VYR_PYTHON "' -c 'import json; r = json.load(open(\"a.json\"));"
              "print(r[\"peak_bytes\"] < " +
              limit + "e6 < r[\"file_bytes\"], r[\"backward_error\"] < 1e-14)'");
    EXPECT_EQ(run.output, "True True\n") << limit;
}

#endif

TEST_F(Program, SetsForItselfHowThreadsWaitUnlessTheUserDid) {
    const std::string last_spin_count =
        " OMP_DISPLAY_ENV=verbose '" VYR_PROGRAM "' --version 2>&1 | grep -a GOMP_SPINCOUNT | tail -n 1";
    if (shell(last_spin_count).output.empty()) GTEST_SKIP() << "not gcc's OpenMP";
    const std::string unset = "unset OMP_WAIT_POLICY GOMP_SPINCOUNT VYR_TOOL_ENVIRONMENT;";
    const auto shown = [&](const std::string& setting) {
        const std::string line = shell(unset + setting + last_spin_count).output;
        return line.substr(line.find("GOMP_"));
    };
    EXPECT_EQ(shown(""), "GOMP_SPINCOUNT = '1000'\n");
    EXPECT_EQ(shown("GOMP_SPINCOUNT=77"), "GOMP_SPINCOUNT = '77'\n");
    EXPECT_NE(shown("OMP_WAIT_POLICY=active"), "GOMP_SPINCOUNT = '1000'\n");
    EXPECT_NE(shown("VYR_TOOL_ENVIRONMENT=1"), "GOMP_SPINCOUNT = '1000'\n") << "or it would restart for ever";
}

TEST_F(Program, ShowsThePivotsAndTheEquationThatFails) {
    const Outcome good = shell("vyr pivots good.mtx --count 1");
    EXPECT_EQ(good.code, 0);
    EXPECT_NE(good.output.find("Smallest pivots"), std::string::npos) << good.output;
    const Outcome negative = shell("vyr pivots negative.mtx");
    EXPECT_EQ(negative.code, 1);
    EXPECT_NE(negative.output.find(" 2              -3  negative: the matrix is not positive definite\n"),
              std::string::npos)
        << negative.output;
    EXPECT_EQ(shell("vyr pivots good.mtx --growth 1.0001 2>&1").code, 1);
    EXPECT_EQ(shell("vyr pivots broken.mtx 2>/dev/null").code, 2);
}

TEST_F(Program, WritesTheReportOfGoodAndBadRunsWhereItIsTold) {
    for (const char* matrix : {"good", "negative"}) {
        const std::string directory = std::string("report_") + matrix;
        std::filesystem::create_directory(directory);
        const Outcome run =
            shell("vyr solve " + directory.substr(7) + ".mtx --report " + directory +
                  " >/dev/null 2>&1; grep -c '<STATUS>' '" + directory + "/VYR_spd 2.2.info'");
        EXPECT_EQ(run.output, "1\n") << matrix;
    }
    EXPECT_EQ(shell("vyr solve good.mtx --report absent 2>/dev/null").code, 2);
}

TEST_F(Program, UselessInputIsExitCode2WithOneLineOfReason) {
    const struct {
        const char* arguments;
        const char* message;
    } cases[] = {
        {"solve broken.mtx", "vyr: broken.mtx:4: expected the value, found 'oops'\n"},
        {"solve broken.mtx --json", "vyr: broken.mtx:4: expected the value, found 'oops'\n"},
        {"solve good.mtx --rhs good.mtx",
         "vyr: good.mtx:1: the symmetry of a right-hand side must be 'general'\n"},
        {"solve absent.mtx", "vyr: absent.mtx: cannot be opened: No such file or directory\n"},
        {"solve good.mtx --output /dev/full",
         "vyr: /dev/full: cannot be written in full: No space left on device\n"},
        {"generate poisson2d 100000 -o a.mtx",
         "vyr: the matrix would have more than 2147483647 equations or entries\n"},
    };
    for (const auto& c : cases) {
        const Outcome run = shell(std::string("vyr ") + c.arguments + " 2>&1 >/dev/null");
        EXPECT_EQ(run.code, 2) << c.arguments;
        EXPECT_EQ(run.output, c.message);
    }
    EXPECT_EQ(shell("vyr solve good.mtx >/dev/full 2>&1").code, 2);
    for (const char* arguments :
         {"", "solve", "solve good.mtx --threads 0", "solve good.mtx --nrhs x", "fly",
          "solve good.mtx --nrhs 2 --rhs good.mtx", "generate cube 3 -o a", "generate kkt 3"})
        EXPECT_EQ(shell(std::string("vyr ") + arguments + " >/dev/null 2>&1").code, 2) << arguments;
}

TEST_F(Program, AnswersForVersionAndHelp) {
    EXPECT_EQ(shell("vyr --version").output, "vyr 2.2\n");
    const Outcome help = shell("vyr solve --help && vyr generate --help");
    EXPECT_EQ(help.code, 0);
    EXPECT_NE(help.output.find("all ones for the first"), std::string::npos);
    EXPECT_NE(help.output.find("saddle point"), std::string::npos);
}

} // namespace
} // namespace vyr::tool
