// What the library leaves outside its arguments: standard output and files in the current directory.
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>

namespace vyr::test {

/// Everything written to standard output, by C or C++, from construction to text().
class StdoutCapture {
public:
    StdoutCapture();
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;
    /// Ends the capture and returns the text, but for the message of a heap compaction that failed: Wine's
    /// always does.
    std::string text();
    /// The same with that message.
    std::string whole_text();

private:
    std::FILE* file_;
    int saved_;
};

/// Runs `action` and returns what it printed.
template <typename Action>
std::string output_of(Action&& action) {
    StdoutCapture capture;
    action();
    return capture.text();
}

/// A fresh directory that is the current one while the object lives, and is removed afterwards.
class TempDirectory {
public:
    TempDirectory();
    ~TempDirectory();
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;
    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_, previous_;
};

} // namespace vyr::test
