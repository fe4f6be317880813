// The texts of a numeric step.
#include "report/console.h"
#include "support/engine.h"

#include <gtest/gtest.h>

using namespace vyr;
using namespace vyr::test;

namespace {

/// What `say` prints to its log.
template <typename Say>
std::string said(bool messages, Say say) {
    TestContext test;
    test.context.log.messages = messages;
    say(test.context.log);
    return test.text;
}

} // namespace

TEST(ConsoleText, SummaryShowsSizesMatrixCoreModeAndMethodWhenMessagesAreOn) {
    Statistics statistics;
    statistics.rows = 1.25, statistics.nnz = 3.25, statistics.symmetry = 1.984, statistics.no_diagonal = 37.9;
    statistics.value_max = 123456, statistics.value_min = 1.5e-7;
    const std::string matrix = "\t<I_LEN=4,I64_LEN=8,D_LEN=8>\r\n"
                               "\t<DIM=1.25,ENTRY=3.25>\t<SYM=  2,nED=37>\t<MAX=1.23e+05,MIN= 1.5e-07>\r\n";
    const char* const modes[] = {"IN_CORE",  "OUT_CORE",   "AUTOCORE", "GMM_CORE",
                                 "GPU_CORE", "GBLAS_CORE", "AUTOCORE"};
    const char* const methods[] = {"<MF_NEAT>\t", "<MF_LLc>\t", "<MF_LDLT>\t", "<MF_CSYM>\t"};
    const char* const kinds[] = {"OTHER", "PARTIAL", "ROOK", "OTHER", "0P", "OTHER"};
    Settings settings;
    settings.pivot_threshold = 0.9;
    const auto say = [&](const Log& log) { mf_console_summary(log, settings, statistics); };
    for (settings.core_mode = -1; settings.core_mode < 7; ++settings.core_mode)
        for (settings.type = 0; settings.type < 15; ++settings.type)
            for (settings.pivoting = 0; settings.pivoting < 6; settings.pivoting += 0.5) {
                const std::string method = settings.type >= 10 && settings.type <= 13
                                               ? methods[settings.type - 10]
                                               : std::string("<TRANS=0.9>\t<PIVOT=") +
                                                     kinds[static_cast<int>(settings.pivoting)] + ">";
                ASSERT_EQ(said(true, say), matrix + "\t\t<" +
                                               modes[settings.core_mode < 0 ? 6 : settings.core_mode] +
                                               ">\t\r\n\t\t" + method + "\r\n");
            }
    EXPECT_EQ(said(false, say), "");
}

TEST(ConsoleText, FailureTextsSayWhatHappenedAndWhereToFindHelpWhenMessagesAreOn) {
    const std::string memory = "\r\n\r\n\tout of memory! Please upgrade to 64-bit version.";
    const std::pair<int, std::string> texts[] = {
        {-10, memory},
        {-29, memory},
        {-20, "\r\n\r\n\tThe matrix is singular!"},
        {-30, "\r\n\r\n\tThe matrix is not symmetric positive definite.Please change the parameters."},
        {-31, "\r\n\r\n\tThe matrix is ill-conditioned.Please change the parameters."}};
    int status = -2000;
    const auto say = [&](const Log& log) { mf_numeric_failure_message(log, static_cast<Status>(status)); };
    for (; status <= 0; ++status) {
        std::string text =
            "\r\n\tERROR at NUMERIC FACTORIZATION. ERROR CODE:" + std::to_string(status) + "\r\n";
        for (const auto& [code, own_text] : texts)
            if (code == status) text = own_text;
        text += "\r\n\tFor help write to support@vyr.example.\r\n";
        ASSERT_EQ(said(true, say), status == 0 ? "" : text);
        ASSERT_EQ(said(false, say), "");
    }
}
