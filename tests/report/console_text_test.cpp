#include "report/console_summary.h"
#include "report/numeric_messages.h"
#include "report_fixture.h"

namespace vyr::test {

namespace {

std::string failure_text(Status status) {
    return output_of([=] { mf_numeric_failure_message(status); });
}

const std::string SUPPORT_LINE = "\r\n\tFor help write to support@vyr.example.\r\n";

} // namespace

using ConsoleTextTest = ReportTest;

TEST_F(ConsoleTextTest, SummaryShowsSizesMatrixCoreModeAndMethod) {
    mf_info[INFO_SYM] = 1.984;
    mf_info[INFO_VALUE_MAX] = 123456;
    mf_info[INFO_VALUE_MIN] = 1.5e-7;
    const std::string matrix = "\t<I_LEN=4,I64_LEN=8,D_LEN=8>\r\n"
                               "\t<DIM=1.25,ENTRY=3.25>\t<SYM=  2,nED=37>\t<MAX=1.23e+05,MIN= 1.5e-07>\r\n";
    const std::pair<int, std::string> modes[] = {{0, "IN_CORE"},  {1, "OUT_CORE"}, {2, "AUTOCORE"},
                                                 {3, "GMM_CORE"}, {4, "GPU_CORE"}, {5, "GBLAS_CORE"}};
    const std::pair<int, std::string> methods[] = {{10, "\t\t<MF_NEAT>\t\r\n"},
                                                   {11, "\t\t<MF_LLc>\t\r\n"},
                                                   {12, "\t\t<MF_LDLT>\t\r\n"},
                                                   {13, "\t\t<MF_CSYM>\t\r\n"},
                                                   {2, "\t\t<TRANS=132>\t<PIVOT=OTHER>\r\n"}};
    for (const auto& [mode, mode_name] : modes)
        for (const auto& [type, method] : methods) {
            mf_ctrl[CTRL_CORE_MODE] = mode;
            mf_ctrl[CTRL_TYPE] = type;
            EXPECT_EQ(output_of(mf_console_summary), matrix + "\t\t<" + mode_name + ">\t\r\n" + method);
        }
}

TEST_F(ConsoleTextTest, SummaryNamesThePivotingOfTypesWithoutAMethodName) {
    const std::pair<int, std::string> kinds[] = {{1, "PARTIAL"}, {2, "ROOK"}, {3, "OTHER"}, {4, "0P"}};
    mf_ctrl[CTRL_TYPE] = 14;
    mf_ctrl[CTRL_PIVOT_THRESHOLD] = 0.9;
    for (const auto& [kind, name] : kinds) {
        mf_ctrl[CTRL_PIVOTING] = kind;
        const std::string text = output_of(mf_console_summary);
        EXPECT_EQ(text.substr(text.find("\t\t<TRANS")), "\t\t<TRANS=0.9>\t<PIVOT=" + name + ">\r\n");
    }
}

TEST_F(ConsoleTextTest, FailureTextsSayWhatHappenedAndWhereToFindHelp) {
    const std::string memory = "\r\n\r\n\tout of memory! Please upgrade to 64-bit version.";
    const std::pair<Status, std::string> texts[] = {
        {VYR_ERR_FACTOR_STORAGE, memory},
        {VYR_ERR_MEMORY, memory},
        {VYR_ERR_SINGULAR, "\r\n\r\n\tThe matrix is singular!"},
        {VYR_ERR_NOT_SPD,
         "\r\n\r\n\tThe matrix is not symmetric positive definite.Please change the parameters."},
        {VYR_ERR_ILL_CONDITIONED, "\r\n\r\n\tThe matrix is ill-conditioned.Please change the parameters."}};
    for (const auto& [status, text] : texts) EXPECT_EQ(failure_text(status), text + SUPPORT_LINE) << status;
    const Status others[] = {VYR_ERR_HANDLE,
                             VYR_ERR_TYPE,
                             VYR_ERR_BUFFER,
                             VYR_ERR_SMALL_PIVOT,
                             VYR_ERR_GROWTH,
                             VYR_ERR_MAPPING,
                             3};
    for (const Status status : others)
        EXPECT_EQ(failure_text(status), "\r\n\tERROR at NUMERIC FACTORIZATION. ERROR CODE:" +
                                            std::to_string(status) + "\r\n" + SUPPORT_LINE);
    EXPECT_EQ(failure_text(VYR_OK), "");
}

TEST_F(ConsoleTextTest, NothingIsPrintedWhileMessagesAreOff) {
    mf_ctrl[CTRL_FLAGS] = 0x30000;
    EXPECT_EQ(output_of(mf_console_summary) + failure_text(VYR_ERR_NOT_SPD) + failure_text(VYR_ERR_GROWTH),
              "");
}

} // namespace vyr::test
