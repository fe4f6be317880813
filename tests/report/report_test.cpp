// The statistics report: every byte of it, and the files it cannot be written to.
#include "report/report.h"
#include "support/capture.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

using namespace vyr;
using namespace vyr::test;

namespace {

const std::string NAME = "VYR_spd 2.2.info";
const std::string HEAD =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\r\n<VYR_TEST_INFO>\r\n"
    "<DECLARE>\r\n\t<APP>VYR_spd 2.2</APP>\r\n\t<COPYRIGHT>Copyright (c) 2026, the VYR "
    "authors</COPYRIGHT>\r\n"
    "\t<MAIL>support@vyr.example</MAIL>\r\n</DECLARE>\r\n\r\n";
const std::string TAIL = "\r\n</VYR_TEST_INFO>\r\n";

/// In text mode, which also takes back what it did to the line ends on Windows.
std::string read_file(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Does a file match the report's schema?
[[maybe_unused]] bool valid(const std::string& text) {
    std::ofstream("document", std::ios::binary) << text;
    return std::system("xmllint --noout --relaxng \"" VYR_SOURCE_DIR
                       "/docs/vyr-report.rng\" document 2>xmllint.log") == 0;
}

/// One section: the tags, separated by blanks, each with its value.
std::string section(const char* name, const char* tags, std::initializer_list<double> values) {
    std::istringstream tag_list(tags);
    std::ostringstream text; // prints doubles as %g does
    text << "\t<" << name << ">\r\n";
    for (const double value : values) {
        std::string tag;
        tag_list >> tag;
        text << "\t\t<" << tag << '>' << value << (tag == "SPEED" ? "M</" : "</") << tag << ">\r\n";
    }
    text << "\t</" << name << ">\r\n";
    return text.str();
}

/// Statistics and settings whose members are all different, in an empty current directory.
class Report : public testing::Test {
protected:
    Report() {
        std::array<double, sizeof(Statistics) / sizeof(double)> members;
        for (std::size_t i = 0; i < members.size(); ++i) members[i] = static_cast<double>(i) + 1.25;
        s = std::bit_cast<Statistics>(members);
        s.flops = 4.35e9;
        settings.type = 111, settings.core_mode = 120, settings.architecture = 101;
        settings.strategy_s = 112, settings.strategy_f = 114, settings.pivoting = 113;
        settings.pivot_threshold = 132, settings.relax = 131, settings.block_size = 136;
    }
    std::string expected_body(double zero_share, double speed) const {
        return "<TEST>\r\n" +
               section("BASIC", "STATUS ROW COL NNZ SYM_ORIGIN SYM rED_ORIGIN rZD MAX MIN LPK_NB",
                       {s.status, s.rows, s.cols, s.nnz, s.symmetry_origin, s.symmetry, s.no_diagonal,
                        zero_share, s.value_max, s.value_min, 16}) +
               section("MEMORY", "NZLU_SYM NZLU MEM_SYM MEM PEAK_SYM PEAK",
                       {s.nzlu_sym, s.nzlu, s.mem_sym, s.mem, s.peak_sym, s.peak}) +
               section("SYMBOL", "maxLEV DBs NODEs MAX-D SOLID T_SYMFAC",
                       {s.max_level, s.dense_blocks, s.n_nodes, s.max_width, s.solid, s.t_symfac}) +
               section("RUN", "ERR COND GROWTH FAIL_P T_SYM T_NUM T_SOL T_CON T_ASSEMB T_X FLOPS SPEED",
                       {s.error, s.condition, s.growth, s.failed_pivots, s.t_sym, s.t_num, s.t_solve,
                        s.t_condition, s.t_assembly, s.t_mapped_io, s.flops, speed}) +
               section("CONTROL", "ARCH stra straS straP straF BLK rTVS RELAX CORE",
                       {101, 111, 112, 113, 114, 136, 132, 131, 120}) +
               "</TEST>\r\n";
    }
    std::string body(const char* title) const {
        std::FILE* file = std::fopen("body", "w");
        mf_report_body(file, title, settings, s);
        std::fclose(file);
        return read_file("body");
    }
    bool write(bool with_body, const char* where = "") const {
        return mf_write_report(where, settings, s, with_body);
    }

    TempDirectory directory;
    Statistics s;
    Settings settings;
};

} // namespace

TEST_F(Report, HoldsHeadBodyAndTailInOneFileThatReplacesAnEarlierOne) {
    const std::string all = expected_body(s.zero_diagonal / s.rows, 4350 / s.t_num);
    std::ofstream(NAME) << std::string(10000, 'x');
    EXPECT_TRUE(write(true));
    EXPECT_EQ(read_file(NAME), HEAD + all + TAIL);
    EXPECT_TRUE(write(false, nullptr));
    EXPECT_EQ(read_file(NAME), HEAD + TAIL);
    std::filesystem::create_directory("other");
    EXPECT_TRUE(write(true, "other"));
    EXPECT_EQ(read_file("other/" + NAME), HEAD + all + TAIL);
    const std::string basic = "<TEST>\r\n\t<BASIC>\r\n";
    EXPECT_EQ(body("load case 7"),
              std::string(all).insert(basic.size(), "\t\t<TITLE>load case 7</TITLE>\r\n"));
}

TEST_F(Report, NamesRatiosWithoutDenominator) {
    s.t_num = 0;
    for (const double rows : {0.0, 0.99, -0.5}) {
        s.rows = rows;
        EXPECT_EQ(body(nullptr), expected_body(-1, -1.1111111));
    }
    for (const double rows : {1.0, -1.0}) {
        s.rows = rows;
        EXPECT_EQ(body(nullptr), expected_body(s.zero_diagonal * rows, -1.1111111));
    }
}

TEST_F(Report, SaysWhenItCouldNotBeWritten) {
    std::filesystem::create_directory(NAME);
    EXPECT_FALSE(write(true));
    EXPECT_TRUE(std::filesystem::is_directory(NAME));
    EXPECT_FALSE(write(true, "missing"));
    mf_report_body(nullptr, "title", settings, s);
    EXPECT_FALSE(mf_report_close(nullptr));
#ifdef __linux__
    const auto open_files = [] {
        const std::filesystem::directory_iterator files("/proc/self/fd");
        return std::distance(begin(files), end(files));
    };
    const auto before = open_files();
    std::filesystem::remove(NAME);
    std::filesystem::create_symlink("/dev/full", NAME);
    EXPECT_FALSE(write(true));
    std::string longest; // with the file's name 4095 bytes, the most that a path may have
    while (longest.size() < 4078) longest += "./";
    EXPECT_TRUE(std::filesystem::remove(NAME) && write(false, longest.c_str()));
    std::FILE* file = stdout;
    mf_report_open(file, (longest + "/").c_str(), "VYR_spd 2.2");
    EXPECT_EQ(file, nullptr);
    EXPECT_FALSE(std::filesystem::exists("VYR_spd 2.2.inf"));
    EXPECT_EQ(open_files(), before);
#endif
}

#ifdef __linux__
TEST_F(Report, MatchesItsSchemaWhichRejectsElementsSwappedLostOrNoNumbers) {
    s.value_max = -1.7976931348623157e308;
    s.condition = HUGE_VAL;
    const std::string good = HEAD + body("a &lt; b") + body(nullptr) + TAIL;
    EXPECT_TRUE(valid(good)) << read_file("xmllint.log");
    EXPECT_TRUE(valid(HEAD + TAIL));
    const std::string parts[][2] = {
        {"<ROW>2.25</ROW>\r\n\t\t<COL>3.25</COL>", "<COL>3.25</COL><ROW>2.25</ROW>"},
        {"<CORE>120</CORE>", ""},
        {"<CORE>120</CORE>", "<CORE>many</CORE>"},
        {"</VYR_TEST_INFO>", ""}};
    for (const auto& [part, replacement] : parts) {
        const std::size_t at = good.find(part);
        ASSERT_NE(at, std::string::npos) << part;
        EXPECT_FALSE(valid(std::string(good).replace(at, part.size(), replacement))) << part;
    }
}
#endif

TEST_F(Report, IsExplainedTagByTag) {
    const std::string page = read_file(VYR_SOURCE_DIR "/docs/report.md");
    std::istringstream lines(HEAD + body("title"));
    int n_tags = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line.find("</") == std::string::npos || line.find('>') > line.find("</")) continue;
        const std::string tag = line.substr(line.find('<') + 1, line.find('>') - line.find('<') - 1);
        EXPECT_NE(page.find("\n| `" + tag + "` | "), std::string::npos) << tag;
        ++n_tags;
    }
    EXPECT_EQ(n_tags, 48);
}
