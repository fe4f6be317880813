// The finished program as a Windows user runs it, from cmd.
#include "support/capture.h"
#include "tools/vyr/line_reader.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace vyr::test {
namespace {

/// Runs the program in a fresh directory and expects its exit code and a text in either stream.
void expect(const std::string& arguments, int code, const std::string& text) {
    const int found = std::system((VYR_PROGRAM " " + arguments + " >out 2>err").c_str());
    const std::string shown = tool::read_file("out") + tool::read_file("err");
    EXPECT_EQ(found, code) << arguments << "\n" << shown;
    EXPECT_NE(shown.find(text), std::string::npos) << arguments << "\n" << shown;
}

} // namespace

TEST(Program, ExitCodesTextsAndFilesAreThoseOfAnyOtherSystem) {
    const TempDirectory directory;
    const std::string symmetric = "%%MatrixMarket matrix coordinate real symmetric\n";
    std::ofstream("good.mtx", std::ios::binary) << symmetric + "2 2 3\r\n1 1 4\r\n2 1 1\r\n2 2 3\r\n";
    std::ofstream("negative.mtx", std::ios::binary) << symmetric + "2 2 2\n1 1 4\n2 2 -3\n";
    std::ofstream("b.mtx", std::ios::binary) << "%%MatrixMarket matrix array real general\n2 1\n9\n5\n";
    std::filesystem::create_directory("a folder");
    expect("--version", 0, "vyr 2.2");
    expect("fly", 2, "");
    expect("solve absent.mtx", 2, "vyr: absent.mtx: cannot be opened: ");
    expect("solve negative.mtx", 1, "vyr: The matrix is not positive definite");
    expect("solve good.mtx --rhs b.mtx --output x.mtx --threads 2", 0, "backward error");
    EXPECT_NE(tool::read_file("x.mtx").find("\n2\n1\n"), std::string::npos);
    expect("solve good.mtx --report \"a folder\" --out-of-core \"a folder\"", 0,
           "factor files                  1");
    EXPECT_NE(tool::read_file("a folder/VYR_spd 2.2.info").find("<STATUS>0</STATUS>"), std::string::npos);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("a folder"), {}), 1)
        << "the factor's files are gone";
}

// OpenBLAS takes the kernels of another processor when it is told to, and says which; the base it calls by
// its oldest name.
TEST(Program, SolvesWithTheKernelsOfEveryProcessorFamilyThatRunsHere) {
    const TempDirectory directory;
    expect("generate elasticity3d 8 -o a.mtx", 0, "");
    _putenv_s("OPENBLAS_VERBOSE", "2");
    const bool avx2 = __builtin_cpu_supports("avx2"), wide = __builtin_cpu_supports("avx512vl");
    const struct {
        const char *family, *shown;
        bool runs_here;
    } rows[] = {{"Prescott", "Katmai", true},
                {"Haswell", "Haswell", avx2},
                {"Zen", "Zen", avx2},
                {"SkylakeX", "SkylakeX", wide && __builtin_cpu_supports("avx512dq")}};
    for (const auto& row : rows) {
        _putenv_s("OPENBLAS_CORETYPE", row.family);
        if (row.runs_here) expect("solve a.mtx --threads 2", 0, std::string("Core: ") + row.shown);
    }
}

} // namespace vyr::test
