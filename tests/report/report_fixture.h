// What the tests of this folder share: statistics whose values are all different, a directory of their own
// for the report file, and the file's text.
#pragma once

#include "interface/process_state.h"
#include "support/capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace vyr::test {

inline constexpr const char* REPORT_NAME = "VYR_spd 2.2.info";

inline std::string without_returns(std::string text) {
    std::erase(text, '\r');
    return text;
}

inline std::string read_file(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The report in the current directory. Text mode doubles carriage returns on Windows, so they are dropped.
inline std::string report_text() {
    return without_returns(read_file(REPORT_NAME));
}

/// Does a file match the report's schema? The complaints are in the file xmllint.log.
inline bool is_valid_report(const std::string& file) {
#ifdef _WIN32
    return std::filesystem::exists(file); // there is no xmllint
#else
    const std::string command =
        "xmllint --noout --relaxng \"" VYR_SOURCE_DIR "/docs/vyr-report.rng\" \"" + file + "\" 2>xmllint.log";
    return std::system(command.c_str()) == 0;
#endif
}

/// Runs each test in an empty current directory, with slot i of the information array at i + 0.25, slot i of
/// the control array at 100 + i, and messages on.
class ReportTest : public testing::Test {
protected:
    ReportTest() {
        for (int i = 0; i < INFO_COUNT; ++i) mf_info[i] = i + 0.25;
        for (int i = 0; i < CTRL_COUNT; ++i) mf_ctrl[i] = 100 + i;
        mf_ctrl[CTRL_FLAGS] = 1;
    }
    ~ReportTest() override {
        std::fill(mf_info, mf_info + INFO_COUNT, 0.0);
        std::fill(mf_ctrl, mf_ctrl + CTRL_COUNT, 0.0);
    }

    TempDirectory directory_;
};

} // namespace vyr::test
