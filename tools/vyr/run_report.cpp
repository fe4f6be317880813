#include "tools/vyr/run_report.h"

#include "interface/process_state.h"
#include "report/report.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace vyr::tool {

namespace {

namespace fs = std::filesystem;

/// The library writes into the current directory, and the body only while its messages are on.
class ReportSetting {
public:
    explicit ReportSetting(const fs::path& directory)
        : home_(fs::current_path()), flags_(mf_ctrl[CTRL_FLAGS]) {
        fs::current_path(directory);
        mf_ctrl[CTRL_FLAGS] = 1;
    }
    ReportSetting(const ReportSetting&) = delete;
    ReportSetting& operator=(const ReportSetting&) = delete;
    ~ReportSetting() {
        mf_ctrl[CTRL_FLAGS] = flags_;
        std::error_code ignored;
        fs::current_path(home_, ignored);
    }

private:
    fs::path home_;
    double flags_;
};

/// The library keeps quiet about a report it could not write: the file itself has to tell.
bool is_complete(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    return text.find("</VYR_TEST_INFO>") != std::string::npos;
}

} // namespace

std::string write_run_report(const std::string& directory) {
    const fs::path path = fs::path(directory) / (std::string(VERSION_STRING) + ".info");
    std::error_code failed;
    if (fs::is_regular_file(path)) fs::remove(path, failed); // an old report must not pass for this one
    if (!failed) {
        const ReportSetting setting(directory);
        mf_write_report();
    }
    if (failed || !is_complete(path))
        throw std::runtime_error(path.string() + ": the report cannot be written");
    return path.string();
}

} // namespace vyr::tool
