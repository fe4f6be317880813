// What the library leaves outside its arguments: standard output and files in the current directory.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace vyr::test {

/// Runs `action` and returns what it printed, by C or C++, but for the message of a heap compaction that
/// failed: Wine's always does.
std::string output_of(const std::function<void()>& action);

/// A fresh directory that is the current one while the object lives, and is removed afterwards.
class TempDirectory {
public:
    TempDirectory();
    ~TempDirectory();
    TempDirectory& operator=(TempDirectory&&) = delete;
    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_, previous_;
};

} // namespace vyr::test
