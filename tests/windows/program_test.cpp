// The finished program as a Windows user runs it, from cmd.
#include "support/capture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace vyr::test {
namespace {

class Program : public testing::Test {
protected:
    void SetUp() override {
        write("good.mtx",
              "%%MatrixMarket matrix coordinate real symmetric\r\n2 2 3\r\n1 1 4\r\n2 1 1\r\n2 2 3\r\n");
        write("negative.mtx", "%%MatrixMarket matrix coordinate real symmetric\n2 2 2\n1 1 4\n2 2 -3\n");
        write("b.mtx", "%%MatrixMarket matrix array real general\n2 1\n9\n5\n");
    }
    static void write(const char* name, const char* text) { std::ofstream(name, std::ios::binary) << text; }
    static std::string read(const std::string& name) {
        std::ifstream file(name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// The exit code; what was printed goes to the files "out" and "err".
    static int vyr(const std::string& arguments) {
        return std::system((VYR_PROGRAM " " + arguments + " >out 2>err").c_str());
    }

    TempDirectory directory_;
};

} // namespace

TEST_F(Program, SolvesAndWritesTheSolution) {
    EXPECT_EQ(vyr("solve good.mtx --rhs b.mtx --output x.mtx --threads 2"), 0) << read("err");
    EXPECT_NE(read("out").find("backward error"), std::string::npos) << read("out");
    const std::string x = read("x.mtx");
    EXPECT_NE(x.find("\n2\n1\n"), std::string::npos) << x;
}

TEST_F(Program, ExitCodesAndSentencesTellFailuresApart) {
    EXPECT_EQ(vyr("solve negative.mtx"), 1);
    EXPECT_NE(read("err").find("vyr: The matrix is not positive definite"), std::string::npos) << read("err");
    EXPECT_EQ(vyr("solve absent.mtx"), 2);
    EXPECT_NE(read("err").find("vyr: absent.mtx: cannot be opened: "), std::string::npos) << read("err");
    EXPECT_EQ(vyr("fly"), 2);
    EXPECT_EQ(vyr("--version"), 0);
    EXPECT_EQ(read("out").substr(0, 7), "vyr 2.2");
}

TEST_F(Program, WritesTheReportIntoAFolderOfItsOwn) {
    std::filesystem::create_directory("a folder");
    EXPECT_EQ(vyr("solve good.mtx --report \"a folder\""), 0) << read("err");
    EXPECT_NE(read("a folder/VYR_spd 2.2.info").find("<STATUS>0</STATUS>"), std::string::npos);
}

// OpenBLAS takes the kernels of another processor when it is told to, and says which; the base it calls by
// its oldest name.
TEST_F(Program, SolvesWithTheKernelsOfEveryProcessorFamilyThatRunsHere) {
    ASSERT_EQ(vyr("generate elasticity3d 8 -o a.mtx"), 0) << read("err");
    _putenv_s("OPENBLAS_VERBOSE", "2");
    int n_run = 0;
    const auto solve_with = [&](const char* family, const char* shown, bool runs_here) {
        if (!runs_here) return;
        _putenv_s("OPENBLAS_CORETYPE", family);
        EXPECT_EQ(vyr("solve a.mtx --threads 2"), 0) << family << "\n" << read("err");
        EXPECT_NE((read("out") + read("err")).find(std::string("Core: ") + shown), std::string::npos)
            << read("out") << read("err");
        ++n_run;
    };
    const bool avx2 = __builtin_cpu_supports("avx2") != 0;
    solve_with("Prescott", "Katmai", true);
    solve_with("Haswell", "Haswell", avx2);
    solve_with("Zen", "Zen", avx2);
    solve_with("SkylakeX", "SkylakeX",
               __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl"));
    std::cout << n_run << " families of kernels were run\n";
}

} // namespace vyr::test
