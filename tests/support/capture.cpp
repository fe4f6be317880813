#include "support/capture.h"

#include <cstdio>
#include <regex>
#include <unistd.h>

namespace vyr::test {

namespace fs = std::filesystem;

/// A path that no other call and no other process gets. On Windows tmpfile does not promise so much.
static fs::path temporary_path() {
    static int counter = 0;
    const std::string name = "vyr_" + std::to_string(getpid()) + "_" + std::to_string(counter++);
    fs::remove_all(fs::temp_directory_path() / name); // of a process that crashed
    return fs::temp_directory_path() / name;
}

std::string output_of(const std::function<void()>& action) {
    const fs::path path = temporary_path();
    std::FILE* file = std::fopen(path.string().c_str(), "w+b");
    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    dup2(fileno(file), STDOUT_FILENO);
    action();
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    std::rewind(file);
    std::string text;
    for (int c; (c = std::getc(file)) != EOF;) text += static_cast<char>(c);
    std::fclose(file);
    fs::remove(path);
    static const std::regex compaction("ORNE_HeapCompact failed with error \\d+: [^.]*\\.");
    return std::regex_replace(text, compaction, "");
}

TempDirectory::TempDirectory() : path_(temporary_path()), previous_(fs::current_path()) {
    fs::create_directories(path_);
    fs::current_path(path_);
}

TempDirectory::~TempDirectory() {
    std::error_code ignored;
    fs::current_path(previous_, ignored);
    fs::remove_all(path_, ignored);
}

} // namespace vyr::test
