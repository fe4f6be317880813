#include "report/report.h"
#include "vyr.h"

extern "C" void mf_dump_ld(FILE* file, const char* title) {
    vyr::mf_report_body(file, title);
}
