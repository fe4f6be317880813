// The statistics report to the letter, and the console texts of a numeric step.
#include "report/report.h"
#include "support/capture.h"
#include "support/engine.h"

#include <array>
#include <bit>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

using namespace vyr;
using namespace vyr::test;

namespace {

const std::string NAME = "VYR_spd 2.2.info";
const std::string HEAD =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\r\n<VYR_TEST_INFO>\r\n<DECLARE>\r\n"
    "\t<APP>VYR_spd 2.2</APP>\r\n\t<COPYRIGHT>Copyright (c) 2026, the VYR authors</COPYRIGHT>\r\n"
    "\t<MAIL>support@vyr.example</MAIL>\r\n</DECLARE>\r\n\r\n";
const std::string TAIL = "\r\n</VYR_TEST_INFO>\r\n";

/// In text mode, which also takes back what it did to the line ends on Windows.
std::string read_file(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Statistics and settings whose members are all different, in an empty current directory.
struct Report : testing::Test {
    TempDirectory directory;
    Statistics s;
    Settings settings;

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
        std::istringstream words(
            "<BASIC STATUS ROW COL NNZ SYM_ORIGIN SYM rED_ORIGIN rZD MAX MIN LPK_NB </BASIC "
            "<MEMORY NZLU_SYM NZLU MEM_SYM MEM PEAK_SYM PEAK </MEMORY "
            "<SYMBOL maxLEV DBs NODEs MAX-D SOLID T_SYMFAC </SYMBOL <RUN ERR COND GROWTH FAIL_P T_SYM "
            "T_NUM T_SOL T_CON T_ASSEMB T_X FLOPS SPEED </RUN <CONTROL ARCH stra straS straP straF BLK rTVS "
            "RELAX CORE </CONTROL");
        std::vector<double> values = {s.status,   s.rows,        s.cols,     s.nnz,       s.symmetry_origin,
                                      s.symmetry, s.no_diagonal, zero_share, s.value_max, s.value_min,
                                      16,         s.nzlu_sym,    s.nzlu,     s.mem_sym,   s.mem,
                                      s.peak_sym, s.peak};
        values.insert(values.end(), {s.max_level, s.dense_blocks, s.n_nodes, s.max_width, s.solid, s.t_symfac,
                                     s.error, s.condition, s.growth, s.failed_pivots, s.t_sym, s.t_num,
                                     s.t_solve, s.t_condition, s.t_assembly, s.t_mapped_io, s.flops, speed});
        values.insert(values.end(), {101, 111, 112, 113, 114, 136, 132, 131, 120});
        auto value = values.begin();
        std::ostringstream text; // prints doubles as %g does
        for (std::string word; words >> word;)
            if (word[0] == '<')
                text << '\t' << word << ">\r\n";
            else
                text << "\t\t<" + word + ">" << *value++ << (word == "SPEED" ? "M</" : "</") + word + ">\r\n";
        return "<TEST>\r\n" + text.str() + "</TEST>\r\n";
    }
    std::string body(const char* title) const {
        std::FILE* file = std::fopen("body", "w");
        mf_report_body(file, title, settings, s);
        std::fclose(file);
        return read_file("body");
    }
};

} // namespace

TEST_F(Report, HoldsHeadBodyAndTailInOneFileThatReplacesAnEarlierOne) {
    const std::string all = expected_body(s.zero_diagonal / s.rows, 4350 / s.t_num);
    std::ofstream(NAME) << std::string(10000, 'x');
    EXPECT_TRUE(mf_write_report("", settings, s, true));
    EXPECT_EQ(read_file(NAME), HEAD + all + TAIL);
    EXPECT_TRUE(mf_write_report(nullptr, settings, s, false) && read_file(NAME) == HEAD + TAIL);
    std::filesystem::create_directory("d");
    EXPECT_TRUE(mf_write_report("d", settings, s, false) && read_file("d/" + NAME) == HEAD + TAIL);
    EXPECT_EQ(body("case 7"), std::string(all).insert(18, "\t\t<TITLE>case 7</TITLE>\r\n"));
    s.t_num = 0; // ratios without denominator
    for (const double rows : {0.0, 0.99, -0.5, 1.0, -1.0}) {
        s.rows = rows;
        const double share = rows * rows < 1 ? -1 : s.zero_diagonal * rows;
        EXPECT_EQ(body(nullptr), expected_body(share, -1.1111111));
    }
}

TEST_F(Report, SaysWhenItCouldNotBeWritten) {
    std::filesystem::create_directory(NAME);
    EXPECT_FALSE(mf_write_report("", settings, s, true) || mf_write_report("missing", settings, s, true));
    mf_report_body(nullptr, "title", settings, s); // writes nothing
#ifdef __linux__
    std::filesystem::remove(NAME);
    std::ofstream("target") << "mine";
    std::filesystem::create_symlink("target", NAME);
    EXPECT_TRUE(mf_write_report("", settings, s, true));
    EXPECT_EQ(read_file("target"), "mine");
    std::string longest; // 4095 bytes are the most that a path may have
    while (longest.size() < 4040) longest += "./";
    EXPECT_TRUE(mf_write_report(longest.c_str(), settings, s, false));
    EXPECT_FALSE(mf_write_report((longest + std::string(38, '/')).c_str(), settings, s, false));
#endif
}

TEST_F(Report, MatchesItsSchemaAndIsExplainedTagByTag) {
    const std::string all = HEAD + body("a &lt; b") + body(nullptr) + TAIL;
#ifdef __linux__
    std::ofstream("document") << all;
    EXPECT_EQ(std::system("xmllint --noout --relaxng \"" VYR_SOURCE_DIR "/docs/vyr-report.rng\" document"),
              0);
#endif
    const std::string page = read_file(VYR_SOURCE_DIR "/docs/report.md");
    for (std::size_t end = 0; (end = all.find("</", end + 2)) != std::string::npos;) {
        const std::string tag = all.substr(end + 2, all.find('>', end) - end - 2);
        EXPECT_TRUE(all[end - 1] < ' ' || page.find("\n| `" + tag + "` | ") < page.size()) << tag;
    }
}

TEST(ConsoleText, ShowsSizesMatrixCoreModeAndMethodAndAfterAFailureWhereToFindHelp) {
    TestContext test;
    test.context.log.messages = true;
    Statistics statistics;
    statistics.rows = 1.25, statistics.nnz = 3.25, statistics.symmetry = 1.984, statistics.no_diagonal = 37.9;
    statistics.value_max = 123456, statistics.value_min = 1.5e-7;
    const std::string matrix = "\t<I_LEN=4,I64_LEN=8,D_LEN=8>\r\n"
                               "\t<DIM=1.25,ENTRY=3.25>\t<SYM=  2,nED=37>\t<MAX=1.23e+05,MIN= 1.5e-07>\r\n";
    const char* const modes[] = {"AUTOCORE", "IN_CORE",  "OUT_CORE",   "AUTOCORE",
                                 "GMM_CORE", "GPU_CORE", "GBLAS_CORE", "AUTOCORE"};
    const char* const methods[] = {"<MF_NEAT>\t", "<MF_LLc>\t", "<MF_LDLT>\t", "<MF_CSYM>\t"};
    const char* const kinds[] = {"OTHER", "PARTIAL", "ROOK", "OTHER", "0P", "OTHER"};
    Settings settings;
    settings.pivot_threshold = 0.9;
    for (settings.core_mode = -1; settings.core_mode < 7; ++settings.core_mode)
        for (settings.type = 0; settings.type < 15; ++settings.type)
            for (settings.pivoting = 0; settings.pivoting < 6; settings.pivoting += 0.5) {
                const std::string method = settings.type >= 10 && settings.type <= 13
                                               ? methods[settings.type - 10]
                                               : std::string("<TRANS=0.9>\t<PIVOT=") +
                                                     kinds[static_cast<int>(settings.pivoting)] + ">";
                test.text.clear();
                mf_console_summary(test.context.log, settings, statistics);
                ASSERT_EQ(test.text,
                          matrix + "\t\t<" + modes[settings.core_mode + 1] + ">\t\r\n\t\t" + method + "\r\n");
            }
    const std::string help = "\r\n\tFor help write to support@vyr.example.\r\n";
    const std::map<int, std::string> texts = {
        {-10, "out of memory! Please upgrade to 64-bit version."},
        {-29, "out of memory! Please upgrade to 64-bit version."},
        {-20, "The matrix is singular!"},
        {-30, "The matrix is not symmetric positive definite.Please change the parameters."},
        {-31, "The matrix is ill-conditioned.Please change the parameters."}};
    for (int status = -2000; status <= 0; ++status)
        for (const bool messages : {true, false}) {
            test.text.clear();
            test.context.log.messages = messages;
            mf_numeric_failure_message(test.context.log, static_cast<Status>(status));
            const std::string code = "\tERROR at NUMERIC FACTORIZATION. ERROR CODE:" + std::to_string(status);
            const std::string text = texts.contains(status) ? "\r\n\t" + texts.at(status) : code + "\r\n";
            ASSERT_EQ(test.text, status == 0 || !messages ? "" : "\r\n" + text + help);
        }
}
