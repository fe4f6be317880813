#include "tools/vyr/run_report.h"

#include "tools/vyr/format.h"
#include "tools/vyr/text_file.h"

#include <cmath>
#include <utility>
#include <vector>

namespace vyr::tool {

namespace {

using Fields = std::vector<std::pair<const char*, double>>;

std::string section(const char* name, const Fields& fields, const std::string& more = "") {
    std::string text = format("\t<%s>\r\n", name);
    for (const auto& [tag, value] : fields) text += format("\t\t<%s>%g</%s>\r\n", tag, value, tag);
    return text + more + format("\t</%s>\r\n", name);
}

/// The document: docs/vyr-report.rng has its form, docs/report.md the meaning of its tags.
std::string document(const SolveResult& r) {
    const double seconds = r.seconds_factorise, nnz_factor = static_cast<double>(r.analysis.factor_entries);
    const double kind = r.factor.kind == VYR_KIND_POSITIVE ? 11 : 12;
    const double speed = seconds > 0 ? r.analysis.operations / 1e6 / seconds : -1.1111111;
    const double megabytes = static_cast<double>(r.peak_bytes) / 1e6;
    return "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\r\n<VYR_TEST_INFO>\r\n"
           "<DECLARE>\r\n\t<APP>VYR_spd 2.2</APP>\r\n"
           "\t<COPYRIGHT>Copyright (c) 2026, the VYR authors</COPYRIGHT>\r\n"
           "\t<MAIL>support@vyr.example</MAIL>\r\n</DECLARE>\r\n\r\n<TEST>\r\n" +
           section("BASIC", {{"STATUS", r.status},
                             {"ROW", r.n},
                             {"COL", r.n},
                             {"NNZ", r.nnz},
                             {"SYM_ORIGIN", 1},
                             {"SYM", 1},
                             {"rED_ORIGIN", 0},
                             {"rZD", 0},
                             {"MAX", r.value_max},
                             {"MIN", r.value_min},
                             {"LPK_NB", 16}}) +
           section("MEMORY", {{"NZLU_SYM", nnz_factor},
                              {"NZLU", nnz_factor},
                              {"MEM_SYM", 0},
                              {"MEM", r.factor.factor_bytes / 1e6},
                              {"PEAK_SYM", 0},
                              {"PEAK", megabytes}}) +
           section("SYMBOL", {{"maxLEV", 0},
                              {"DBs", 0},
                              {"NODEs", static_cast<double>(r.analysis.supernodes)},
                              {"MAX-D", 0},
                              {"SOLID", 0},
                              {"T_SYMFAC", r.analysis.seconds_analyse - r.analysis.seconds_order}}) +
           section("RUN",
                   {{"ERR", 0},
                    {"COND", std::isnan(r.condition) ? 0 : r.condition},
                    {"GROWTH", 0},
                    {"FAIL_P", 0},
                    {"T_SYM", r.analysis.seconds_analyse},
                    {"T_NUM", seconds},
                    {"T_SOL", r.seconds_solve},
                    {"T_CON", 0},
                    {"T_ASSEMB", 0},
                    {"T_X", 0},
                    {"FLOPS", r.analysis.operations}},
                   format("\t\t<SPEED>%gM</SPEED>\r\n", speed)) +
           section("CONTROL", {{"ARCH", 0},
                               {"stra", kind},
                               {"straS", 2},
                               {"straP", 4},
                               {"straF", 1},
                               {"BLK", 16},
                               {"rTVS", 0.1},
                               {"RELAX", 0.01},
                               {"CORE", r.out_of_core ? 1.0 : 0.0}}) +
           "</TEST>\r\n\r\n</VYR_TEST_INFO>\r\n";
}

} // namespace

void write_run_report(const std::string& directory, const SolveResult& result) {
    TextFile file(directory + "/VYR_spd 2.2.info");
    file << document(result);
    file.finish();
}

} // namespace vyr::tool
