#include "report/report.h"
#include "report_fixture.h"
#include "vyr.h"

#include <cmath>
#include <sstream>

namespace vyr::test {

namespace {

const std::string HEAD = R"(<?xml version="1.0" encoding="UTF-8" standalone="no" ?>
<VYR_TEST_INFO>
<DECLARE>
	<APP>VYR_spd 2.2</APP>
	<COPYRIGHT>Copyright (c) 2026, the VYR authors</COPYRIGHT>
	<MAIL>support@vyr.example</MAIL>
</DECLARE>

)";

const std::string TAIL = R"(
</VYR_TEST_INFO>
)";

const std::string BODY_BEFORE_TITLE = R"(<TEST>
	<BASIC>
)";

const std::string BODY_AFTER_TITLE = R"(		<STATUS>0.25</STATUS>
		<ROW>1.25</ROW>
		<COL>2.25</COL>
		<NNZ>3.25</NNZ>
		<SYM_ORIGIN>4.25</SYM_ORIGIN>
		<SYM>5.25</SYM>
		<rED_ORIGIN>36.25</rED_ORIGIN>
		<rZD>28.2</rZD>
		<MAX>52.25</MAX>
		<MIN>53.25</MIN>
		<LPK_NB>16</LPK_NB>
	</BASIC>
	<MEMORY>
		<NZLU_SYM>28.25</NZLU_SYM>
		<NZLU>45.25</NZLU>
		<MEM_SYM>13.25</MEM_SYM>
		<MEM>42.25</MEM>
		<PEAK_SYM>14.25</PEAK_SYM>
		<PEAK>57.25</PEAK>
	</MEMORY>
	<SYMBOL>
		<maxLEV>38.25</maxLEV>
		<DBs>20.25</DBs>
		<NODEs>21.25</NODEs>
		<MAX-D>22.25</MAX-D>
		<SOLID>88.25</SOLID>
		<T_SYMFAC>16.25</T_SYMFAC>
	</SYMBOL>
	<RUN>
		<ERR>66.25</ERR>
		<COND>6.25</COND>
		<GROWTH>7.25</GROWTH>
		<FAIL_P>51.25</FAIL_P>
		<T_SYM>15.25</T_SYM>
		<T_NUM>65.25</T_NUM>
		<T_SOL>85.25</T_SOL>
		<T_CON>86.25</T_CON>
		<T_ASSEMB>75.25</T_ASSEMB>
		<T_X>87.25</T_X>
		<FLOPS>4.35e+09</FLOPS>
		<SPEED>66.6667M</SPEED>
	</RUN>
	<CONTROL>
		<ARCH>101</ARCH>
		<stra>111</stra>
		<straS>112</straS>
		<straP>113</straP>
		<straF>114</straF>
		<BLK>136</BLK>
		<rTVS>132</rTVS>
		<RELAX>131</RELAX>
		<CORE>120</CORE>
	</CONTROL>
</TEST>
)";

/// What mf_dump_ld writes, byte for byte.
std::string dump(const char* title) {
    std::FILE* file = std::fopen("dump", "wb");
    mf_dump_ld(file, title);
    std::fclose(file);
    return read_file("dump");
}

} // namespace

TEST_F(ReportTest, HoldsHeadBodyAndTailInOneFile) {
    mf_info[INFO_FLOPS] = 4.35e9;
    std::ofstream(REPORT_NAME) << std::string(10000, 'x');
    mf_write_report();
    EXPECT_EQ(report_text(), HEAD + BODY_BEFORE_TITLE + BODY_AFTER_TITLE + TAIL);
    const std::string bytes = read_file(REPORT_NAME);
    for (std::size_t at = bytes.find('\n'); at != std::string::npos; at = bytes.find('\n', at + 1))
        ASSERT_EQ(bytes[at - 1], '\r') << "byte " << at;
}

TEST_F(ReportTest, BodyCarriesTheTitleItIsGiven) {
    mf_info[INFO_FLOPS] = 4.35e9;
    EXPECT_EQ(without_returns(dump("wing, load case 7")),
              BODY_BEFORE_TITLE + "\t\t<TITLE>wing, load case 7</TITLE>\n" + BODY_AFTER_TITLE);
    EXPECT_EQ(without_returns(dump(nullptr)), BODY_BEFORE_TITLE + BODY_AFTER_TITLE);
}

TEST_F(ReportTest, OnlyTheLowByteOfTheFlagsTurnsTheBodyOn) {
    for (const double flags : {0.0, 65536.0, 131072.0, 256.0}) {
        mf_ctrl[CTRL_FLAGS] = flags;
        mf_write_report();
        EXPECT_EQ(report_text(), HEAD + TAIL) << flags;
        EXPECT_EQ(dump("title"), "") << flags;
    }
    mf_ctrl[CTRL_FLAGS] = 65536 + 128;
    EXPECT_NE(dump(nullptr), "");
}

TEST_F(ReportTest, NamesRatiosWithoutDenominator) {
    mf_info[INFO_ROWS] = 0.0;
    mf_info[INFO_T_NUM] = 0.0;
    const std::string body = dump(nullptr);
    EXPECT_NE(body.find("<rZD>-1</rZD>"), std::string::npos) << body;
    EXPECT_NE(body.find("<SPEED>-1.11111M</SPEED>"), std::string::npos) << body;
}

TEST_F(ReportTest, GoesOnWithoutAFileThatCannotBeWritten) {
    StdoutCapture output;
    std::filesystem::create_directory(REPORT_NAME);
    mf_write_report();
    EXPECT_TRUE(std::filesystem::is_directory(REPORT_NAME));
    std::filesystem::remove(REPORT_NAME);
#ifndef _WIN32
    std::filesystem::create_symlink("/dev/full", REPORT_NAME);
    mf_write_report();
    std::filesystem::remove(REPORT_NAME);
#endif
    mf_dump_ld(nullptr, "title");
    mf_report_close(nullptr);
    EXPECT_EQ(output.text(), "");
    mf_write_report();
    EXPECT_EQ(report_text().find(HEAD), 0U);
}

#ifdef __linux__
TEST_F(ReportTest, LeavesNoFileOpen) {
    const auto open_files = [] {
        const std::filesystem::directory_iterator files("/proc/self/fd");
        return std::distance(begin(files), end(files));
    };
    const auto before = open_files();
    for (int i = 0; i < 3; ++i) mf_write_report();
    EXPECT_EQ(open_files(), before);
}

TEST_F(ReportTest, MatchesItsSchemaWithAndWithoutBodyAndTitle) {
    mf_info[INFO_VALUE_MAX] = -1.7976931348623157e308;
    mf_info[INFO_CONDITION] = HUGE_VAL;
    mf_write_report();
    EXPECT_TRUE(is_valid_report(REPORT_NAME));
    std::ofstream("titled", std::ios::binary) << HEAD << dump("a &lt; b") << dump(nullptr) << TAIL;
    EXPECT_TRUE(is_valid_report("titled"));
    mf_ctrl[CTRL_FLAGS] = 0;
    mf_write_report();
    EXPECT_TRUE(is_valid_report(REPORT_NAME));
}

TEST_F(ReportTest, FailsItsSchemaWhenElementsAreSwappedLostOrNoNumbers) {
    mf_write_report();
    const std::string good = report_text();
    const auto rejected = [&](const std::string& part, const char* replacement) {
        std::string bad = good;
        bad.replace(bad.find(part), part.size(), replacement);
        std::ofstream("bad", std::ios::binary) << bad;
        return !is_valid_report("bad");
    };
    std::ofstream("good", std::ios::binary) << good;
    EXPECT_TRUE(is_valid_report("good"));
    EXPECT_TRUE(rejected("<ROW>1.25</ROW>\n\t\t<COL>2.25</COL>", "<COL>2.25</COL><ROW>1.25</ROW>"));
    EXPECT_TRUE(rejected("<T_SOL>85.25</T_SOL>", ""));
    EXPECT_TRUE(rejected("<MEM>42.25</MEM>", "<MEM>many</MEM>"));
    EXPECT_TRUE(rejected("</VYR_TEST_INFO>", ""));
}
#endif

TEST_F(ReportTest, IsExplainedTagByTag) {
    const std::string page = read_file(VYR_SOURCE_DIR "/docs/report.md");
    ASSERT_NE(page, "");
    mf_write_report();
    std::istringstream lines(report_text());
    int n_tags = 0;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t begin = line.find('<') + 1;
        const std::size_t end = line.find("</", begin);
        if (end == std::string::npos) continue;
        const std::string tag = line.substr(begin, line.find('>') - begin);
        EXPECT_NE(page.find("\n| `" + tag + "` | "), std::string::npos) << tag;
        ++n_tags;
    }
    EXPECT_EQ(n_tags, 47);
}

} // namespace vyr::test
