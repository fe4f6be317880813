// The finished program as a user runs it: command line -> exit code and what is shown.
#include "support/capture.h"
#include "tools/vyr/generators.h"
#include "tools/vyr/matrix_market.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <utility>
#include <vector>

#include <sys/wait.h>

namespace vyr::tool {
namespace {

struct Outcome {
    int code;
    std::string out, err;
};

/// Runs a command line of the shell with `vyr` standing for the program.
Outcome shell(const std::string& command) {
    const std::string line = "vyr() { '" VYR_PROGRAM "' \"$@\"; }\n" + command;
    std::ofstream("command.sh") << line;
    const int status = std::system("sh command.sh >out 2>err");
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file("out"), read_file("err")};
}

/// Runs in a directory of its own with a few matrices at hand.
class Program : public testing::Test {
protected:
    Program() {
        const std::pair<const char*, const char*> symmetric[] = {
            {"good.mtx", "2 2 3\r\n1 1 4\r\n2 1 1\r\n2 2 3\r\n"},
            {"negative.mtx", "3 3 4\n1 1 4\n2 2 -3\n3 3 9\n3 1 0\n"},
            {"loose.mtx", "3 3 3\n1 1 1\n2 2 0.01\n3 3 0\n"},
            {"steep.mtx", "3 3 3\n1 1 1e20\n2 2 1e-10\n3 3 1\n"},
            {"singular.mtx", "3 3 3\n1 1 4\n2 1 1\n3 1 1\n"},
            {"broken.mtx", "2 2 2\n1 1 4\n2 2 oops\n"},
            {"near.mtx", "2 2 3\n1 1 1\n2 1 1\n2 2 1.0000000000000002\n"},
            {"fortran.mtx", "2 2 3\n1 1 4.0D0\n2 1 1d+0\n2 2 0.3D1\n"}};
        for (const auto& [name, text] : symmetric)
            std::ofstream(name) << "%%MatrixMarket matrix coordinate real symmetric\n" << text;
        (void)std::system("gzip -f fortran.mtx; ln -s good.mtx soft.mtx; ln good.mtx hard.mtx");
        std::ofstream("complex.mtx")
            << "%%MatrixMarket matrix coordinate complex symmetric\n1 1 1\n1 1 1 0\n";
        std::ofstream("b.mtx") << "%%MatrixMarket matrix array real general\n2 1\n9\n5\n";
        write_symmetric("kkt.mtx", kkt(9), "");
        write_symmetric("grid.mtx", poisson3d(12), "");
    }

    test::TempDirectory directory_;
};

struct Row {
    const char* command;
    int code;
    const char* out; ///< part of the standard output; "": it must be empty; null: anything
    const char* err; ///< the same for standard error
};

void expect(const Row& row) {
    const Outcome run = shell(std::string("vyr ") + row.command);
    const auto shows = [](const std::string& text, const char* part) {
        return part == nullptr || (*part == '\0' ? text.empty() : text.find(part) != std::string::npos);
    };
    EXPECT_EQ(run.code, row.code) << row.command << "\n" << run.err;
    EXPECT_TRUE(shows(run.out, row.out)) << row.command << "\n" << run.out << "instead of\n" << row.out;
    EXPECT_TRUE(shows(run.err, row.err)) << row.command << "\n" << run.err << "instead of\n" << row.err;
    EXPECT_EQ(run.out.find('\r'), std::string::npos) << "a live line in a file";
}

TEST_F(Program, EveryCommandLineHasItsExitCodeAndItsText) {
    const Row rows[] = {
        {"--version", 0, "vyr 2.2\n", ""},
        {"solve --help", 0, "all ones for the first", ""},
        {"generate --help", 0, "kkt: saddle point", ""},
        {"pivots --help", 0, "the degrees of freedom a model does not hold", ""},
        {"solve good.mtx", 0,
         "good.mtx\n  equations                     2\n  entries of A                  3 ", ""},
        {"solve good.mtx --rhs b.mtx --output x.mtx", 0, " s   1 right-hand side\n", ""},
        {"solve good.mtx --nrhs 3 --repeat 2", 0, " s   3 right-hand sides\n", ""},
        {"solve good.mtx --threads 2", 0, "  threads                       2\n", ""},
        {"solve good.mtx --json", 0,
         "{\n  \"n\": 2,\n  \"nnz\": 3,\n  \"nnz_factor\": 3,\n  \"flops\": ", ""},
        {"solve good.mtx --out-of-core .", 0, "  factor files                  1   0.0 MB written in ", ""},
        {"solve good.mtx --out-of-core . --json", 0, "\"files\": 1,\n  \"file_bytes\": 32,", ""},
        {"solve good.mtx --out-of-core . --memory-limit 2000", 0, "  factor files                  1 ", ""},
        {"solve kkt.mtx --indefinite --threads 2 --nrhs 2 --repeat 2 --output y.mtx", 0, "  backward error ",
         ""},
        {"solve kkt.mtx", 1, "", " If it is meant to be indefinite, use --indefinite.\n"},
        {"solve negative.mtx", 1, "",
         "vyr: The matrix is not positive definite: the pivot of equation 2 is -3. "},
        {"solve negative.mtx --json", 1, "\"condition\": null,\n  \"status\": -30\n}\n",
         "equation 2 is -3. "},
        {"solve singular.mtx --indefinite", 1, "",
         "vyr: No pivot could be found for some equation: the matrix is"},
        {"solve singular.mtx --indefinite --zero-pivots --json", 0, "\"rank\": 2,\n", ""},
        {"solve kkt.mtx --automatic --matching on --scaling norm --pivot-share 0.1 --static-pivoting", 0,
         " positive, ", ""},
        {"solve kkt.mtx --matching off", 2, "", "vyr: --matching requires --indefinite or --automatic\n"},
        {"solve kkt.mtx --indefinite --scaling best", 2, nullptr, "--scaling: "},
        {"solve negative.mtx --automatic --condition", 0, "  condition ", ""},
        {"solve near.mtx", 1, "  backward error ", "vyr: The condition number of the matrix, "},
        {"solve good.mtx --ordering natural", 0, "   natural\n", ""},
        {"solve good.mtx --ordering best", 2, nullptr, "--ordering: "},
        {"solve - <good.mtx", 0, "  entries of A                  3 ", ""},
        {"solve fortran.mtx.gz", 0, "  entries of A                  3 ", ""},
        {"solve complex.mtx", 2, "", "vyr: complex.mtx:1: the field 'complex' is not served"},
        {"analyse kkt.mtx --indefinite --threads 1", 0, "  METIS ", ""},
        {"solve broken.mtx --json", 2, "", "vyr: broken.mtx:4: expected the value, found 'oops'\n"},
        {"solve good.mtx --rhs good.mtx", 2, "",
         "vyr: good.mtx:1: the symmetry of a right-hand side must be"},
        {"solve absent.mtx", 2, "", "vyr: absent.mtx: cannot be opened: No such file or directory\n"},
        {"solve good.mtx --output /dev/full", 2, nullptr,
         "vyr: /dev/full: cannot be written in full: No space"},
        {"solve good.mtx >/dev/full", 2, "", "vyr: standard output cannot be written\n"},
        {"generate poisson2d 100000 -o a.mtx", 2, "",
         "vyr: the matrix would have more than 2147483647 equations"},
        {"", 2, nullptr, "A subcommand is required"},
        {"solve good.mtx --threads 0", 2, nullptr, "--threads: "},
        {"solve good.mtx --nrhs x", 2, nullptr, "--nrhs"},
        {"solve good.mtx --nrhs 2 --rhs b.mtx", 2, nullptr, "--rhs excludes --nrhs"},
        {"solve good.mtx --memory-limit 9", 2, nullptr, "--memory-limit requires --out-of-core"},
        {"solve good.mtx --out-of-core absent", 2, nullptr, "--out-of-core: "},
        {"solve good.mtx --out-of-core . --memory-limit nan", 2, "", "--memory-limit: nan is not finite"},
        {"pivots good.mtx --growth inf", 2, "", "--growth: inf is not finite"},
        {"solve good.mtx --output ''", 2, "", "--output: the name is empty"},
        {"solve good.mtx --output soft.mtx", 2, "", "vyr: soft.mtx: the output would overwrite the input\n"},
        {"solve hard.mtx --output good.mtx", 2, "", "vyr: good.mtx: the output would overwrite the input\n"},
        {"solve - <good.mtx --output hard.mtx", 2, "", "vyr: hard.mtx: the output would overwrite"},
        {"solve grid.mtx --nrhs 1000000 --indefinite", 2, "",
         "vyr: 1000000 right-hand sides of 1728 equations take 41472.0 MB; there are "},
        {"solve \"$(printf 'a\\033[2J\\nb')\"", 2, "", "vyr: a\\x1b[2J\\x0ab: cannot be opened: No such"},
        {"solve good.mtx \"$(printf '\\033[2J')\"", 2, "",
         "vyr: The following argument was not expected: \\x1b[2J\nRun"},
        {"generate cube 3 -o a", 2, nullptr, "KIND: "},
        {"generate kkt 3", 2, nullptr, "--output is required"},
        {"pivots good.mtx --count 1 --threads 2", 0,
         "good.mtx\nSmallest pivots (diagonal of L):\n             2         1.65831\nLargest pivots "
         "(diagonal of L):\n             1               2\nRatio of the largest to the smallest: 1.20605\n",
         ""},
        {"pivots negative.mtx --count 1", 1,
         "A pivot is not above the limit 0.\nEquations that stopped the factorization (counted from 1):\n"
         "             2              -3  negative: the matrix is not positive definite\n",
         ""},
        {"pivots loose.mtx --min 0.5", 1, "A pivot is not above the limit 0.5.\nEquations that stopped ", ""},
        {"pivots steep.mtx --growth 1000 --count 1", 1,
         "The pivots spread over more than the allowed ratio 1000.\n"
         "Equations that stopped the factorization (counted from 1):\n"
         "             1           1e+10  largest in magnitude\n"
         "             2           1e-05  smallest in magnitude\n",
         ""},
        {"generate plate 2 -o a.mtx", 0, "", ""},
        {"pivots steep.mtx", 0, "Ratio of the largest to the smallest: 1e+15\n", ""}};
    for (const Row& row : rows) expect(row);
    EXPECT_EQ(read_file("x.mtx"),
              "%%MatrixMarket matrix array real general\n% solution of good.mtx\n2 1\n2\n1\n");
    const DenseMatrix y = read_dense("y.mtx", 121);
    for (std::int32_t i = 0; i < y.n_rows * 2; ++i)
        ASSERT_NEAR(y.values[i], i < 121 ? 1 : 1 + (i - 121) % 8 / 8.0, 1e-10);
    EXPECT_EQ(read_symmetric("a.mtx").values, plate(2).values);
}

TEST_F(Program, ReportsGoodAndBadRunsWhereItIsToldWithTheFiguresOfTheRun) {
    const std::pair<const char*, std::vector<const char*>> runs[] = {
        {"good.mtx", {"<STATUS>0<", "<ROW>2<", "<stra>11<", "<NODEs>1<", "<NZLU>3<", "</VYR_TEST_INFO>"}},
        {"negative.mtx", {"<STATUS>-30<", "<ROW>3<", "<stra>11<", "<NODEs>", "<T_NUM>"}},
        {"kkt.mtx --indefinite", {"<STATUS>0<", "<ROW>121<", "<stra>12<", "<NODEs>", "<T_SOL>"}}};
    std::filesystem::create_directory("here");
    for (const auto& [arguments, parts] : runs) {
        (void)shell(std::string("vyr solve --report here ") + arguments);
        const std::string report = read_file("here/VYR_spd 2.2.info");
        for (const char* part : parts) EXPECT_NE(report.find(part), std::string::npos) << part << report;
    }
    std::filesystem::remove("here/VYR_spd 2.2.info");
    std::filesystem::create_directory("here/VYR_spd 2.2.info");
    expect({"solve good.mtx --report here", 2, nullptr,
            "vyr: here/VYR_spd 2.2.info: cannot be opened for writing: Is a directory\n"});
}

// A sanitizer's memory would count as the program's.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(Program, StaysUnderTheMemoryLimitItAdvises) {
    // Eight trees, of which two at a time would not fit. All of the factor is larger than the limit.
    const SparseMatrix tree = poisson3d(26);
    SparseMatrix a{8 * tree.n, {0}, {}, {}};
    for (std::int32_t j = 0; j < a.n; ++j) {
        const std::int32_t shift = j / tree.n * tree.n;
        for (std::int32_t k = tree.col_ptr[j - shift]; k < tree.col_ptr[j - shift + 1]; ++k) {
            a.row_ind.push_back(tree.row_ind[k] + shift);
            a.values.push_back(tree.values[k]);
        }
        a.col_ptr.push_back(a.nnz());
    }
    write_symmetric("a.mtx", a, "");
    const std::string solve = "vyr solve a.mtx --threads 2 --json --out-of-core . --memory-limit ";
    const Outcome refused = shell(solve + "1");
    const std::size_t about = refused.err.find("about ");
    ASSERT_NE(about, std::string::npos) << refused.err;
    const double limit = 1e6 * std::stod(refused.err.substr(about + 6));
    const Outcome run = shell(solve + std::to_string(limit / 1e6));
    const auto figure = [&](const std::string& name) {
        return std::stod(run.out.substr(run.out.find("\"" + name + "\": ") + name.size() + 4));
    };
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_LT(figure("peak_bytes"), limit);
    EXPECT_GT(figure("file_bytes"), limit);
    EXPECT_LT(figure("backward_error"), 1e-14);
}
#endif

TEST_F(Program, LeavesTheOldFileWhenTheDiskIsFullAndWorksWithoutItsDirectory) {
    const std::string before = read_file("good.mtx"), setup = "cp good.mtx old.mtx; ";
    const std::string full = "(ulimit -f 8; vyr generate poisson2d 200 -o old.mtx)";
    EXPECT_EQ(shell(setup + full).code, 2);
    EXPECT_EQ(read_file("old.mtx"), before);
    EXPECT_EQ(shell("ls old.mtx.*").out, "") << "a half file";
    const std::string gone = "d=$PWD; mkdir gone; cd gone; rmdir ../gone; ";
    EXPECT_EQ(shell(gone + "vyr solve $d/good.mtx --output $d/x.mtx").code, 0);
    EXPECT_EQ(shell(gone + "vyr solve $d/good.mtx --out-of-core .").code, 1);
}

} // namespace
} // namespace vyr::tool
