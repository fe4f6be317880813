#include "support/capture.h"

#include <gtest/gtest.h>

#include <iostream>
#include <regex>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <process.h>
#define dup _dup
#define dup2 _dup2
#define close _close
#define fileno _fileno
#define getpid _getpid
#else
#include <unistd.h>
#endif

namespace vyr::test {

namespace {

constexpr int STANDARD_OUTPUT = 1;

#ifdef _WIN32
// tmpfile of this C run time gives two processes the same name now and then.
std::FILE* temporary_file() {
    static int counter = 0;
    const std::string name = "vyr_capture_" + std::to_string(getpid()) + "_" + std::to_string(counter++);
    return std::fopen((std::filesystem::temp_directory_path() / name).string().c_str(), "w+bD");
}
#else
std::FILE* temporary_file() {
    return std::tmpfile();
}
#endif

} // namespace

StdoutCapture::StdoutCapture() : file_(temporary_file()) {
    std::cout.flush();
    std::fflush(stdout);
#ifdef _WIN32
    _setmode(STANDARD_OUTPUT, _O_BINARY);
#endif
    saved_ = dup(STANDARD_OUTPUT);
    dup2(fileno(file_), STANDARD_OUTPUT);
}

StdoutCapture::~StdoutCapture() {
    if (file_ != nullptr) (void)whole_text();
}

std::string StdoutCapture::text() {
#ifdef _WIN32
    static const std::regex message("ORNE_HeapCompact failed with error \\d+: [^.]*\\.");
    return std::regex_replace(whole_text(), message, "");
#else
    return whole_text();
#endif
}

std::string StdoutCapture::whole_text() {
    std::cout.flush();
    std::fflush(stdout);
    dup2(saved_, STANDARD_OUTPUT);
    close(saved_);
    std::rewind(file_);
    std::string result;
    char piece[4096];
    while (const std::size_t n_read = std::fread(piece, 1, sizeof piece, file_)) result.append(piece, n_read);
    std::fclose(file_);
    file_ = nullptr;
    return result;
}

TempDirectory::TempDirectory() : previous_(std::filesystem::current_path()) {
    static int counter = 0;
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    path_ =
        std::filesystem::temp_directory_path() / ("vyr_" + std::string(test->name()) + "_" +
                                                  std::to_string(getpid()) + "_" + std::to_string(counter++));
    std::filesystem::create_directories(path_);
    std::filesystem::current_path(path_);
}

TempDirectory::~TempDirectory() {
    std::error_code ignored;
    std::filesystem::current_path(previous_, ignored);
    std::filesystem::remove_all(path_, ignored);
}

} // namespace vyr::test
