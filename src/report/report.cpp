#include "report/report.h"

#include "interface/process_state.h"
#include "report/contact.h"

namespace vyr {

void mf_report_open(std::FILE*& file_out, const char* version) noexcept {
    file_out = nullptr;
    char name[64];
    const int length = std::snprintf(name, sizeof name, "%s.info", version);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof name) return;
    file_out = std::fopen(name, "w");
    if (file_out == nullptr) return;
    std::fprintf(file_out,
                 "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\r\n<VYR_TEST_INFO>\r\n");
    std::fprintf(file_out, "<DECLARE>\r\n\t<APP>%s</APP>\r\n", version);
    std::fprintf(file_out, "\t<COPYRIGHT>%s</COPYRIGHT>\r\n\t<MAIL>%s</MAIL>\r\n", COPYRIGHT_NOTICE,
                 SUPPORT_ADDRESS);
    std::fprintf(file_out, "</DECLARE>\r\n\r\n");
}

void mf_report_close(std::FILE* file) noexcept {
    if (file == nullptr) return;
    std::fprintf(file, "\r\n</VYR_TEST_INFO>\r\n");
    std::fclose(file);
}

void mf_write_report() noexcept {
    std::FILE* file = nullptr;
    mf_report_open(file, VERSION_STRING);
    mf_report_body(file, nullptr);
    mf_report_close(file);
}

} // namespace vyr
