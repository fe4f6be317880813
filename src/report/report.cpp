#include "report/report.h"

#include "platform/files.h"

#include <cmath>

namespace vyr {

namespace {

void write_prologue(std::FILE* file) noexcept {
    std::fprintf(file,
                 "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\r\n<VYR_TEST_INFO>\r\n");
    std::fprintf(file, "<DECLARE>\r\n\t<APP>%s</APP>\r\n", VERSION_STRING);
    std::fprintf(file, "\t<COPYRIGHT>%s</COPYRIGHT>\r\n\t<MAIL>%s</MAIL>\r\n", COPYRIGHT_NOTICE,
                 SUPPORT_ADDRESS);
    std::fprintf(file, "</DECLARE>\r\n\r\n");
}

void open_section(std::FILE* file, const char* section) noexcept {
    std::fprintf(file, "\t<%s>\r\n", section);
}

void close_section(std::FILE* file, const char* section) noexcept {
    std::fprintf(file, "\t</%s>\r\n", section);
}

void field(std::FILE* file, const char* tag, double value, const char* unit = "") noexcept {
    std::fprintf(file, "\t\t<%s>%g%s</%s>\r\n", tag, value, unit, tag);
}

/// Columns with a zero diagonal entry per row; -1 without rows.
double zero_diagonal_ratio(const Statistics& statistics) noexcept {
    if (std::fabs(statistics.rows) < 1.0) return -1.0;
    return statistics.zero_diagonal / statistics.rows;
}

/// Speed of the factorization in 10^6 operations per second. Too short to be measured is not infinitely
/// fast: readers of reports know this odd figure as "no time taken".
double factorization_speed(const Statistics& statistics) noexcept {
    const double seconds = statistics.t_num;
    return seconds == 0.0 ? -1.1111111 : statistics.flops / 1e6 / seconds;
}

void write_basic(std::FILE* file, const char* title, const Statistics& statistics) noexcept {
    open_section(file, "BASIC");
    if (title != nullptr) std::fprintf(file, "\t\t<TITLE>%s</TITLE>\r\n", title);
    field(file, "STATUS", statistics.status);
    field(file, "ROW", statistics.rows);
    field(file, "COL", statistics.cols);
    field(file, "NNZ", statistics.nnz);
    field(file, "SYM_ORIGIN", statistics.symmetry_origin);
    field(file, "SYM", statistics.symmetry);
    field(file, "rED_ORIGIN", statistics.no_diagonal);
    field(file, "rZD", zero_diagonal_ratio(statistics));
    field(file, "MAX", statistics.value_max);
    field(file, "MIN", statistics.value_min);
    std::fprintf(file, "\t\t<LPK_NB>%d</LPK_NB>\r\n", LAPACK_BLOCK_SIZE);
    close_section(file, "BASIC");
}

void write_memory(std::FILE* file, const Statistics& statistics) noexcept {
    open_section(file, "MEMORY");
    field(file, "NZLU_SYM", statistics.nzlu_sym);
    field(file, "NZLU", statistics.nzlu);
    field(file, "MEM_SYM", statistics.mem_sym);
    field(file, "MEM", statistics.mem);
    field(file, "PEAK_SYM", statistics.peak_sym);
    field(file, "PEAK", statistics.peak);
    close_section(file, "MEMORY");
}

void write_symbol(std::FILE* file, const Statistics& statistics) noexcept {
    open_section(file, "SYMBOL");
    field(file, "maxLEV", statistics.max_level);
    field(file, "DBs", statistics.dense_blocks);
    field(file, "NODEs", statistics.n_nodes);
    field(file, "MAX-D", statistics.max_width);
    field(file, "SOLID", statistics.solid);
    field(file, "T_SYMFAC", statistics.t_symfac);
    close_section(file, "SYMBOL");
}

void write_run(std::FILE* file, const Statistics& statistics) noexcept {
    open_section(file, "RUN");
    field(file, "ERR", statistics.error);
    field(file, "COND", statistics.condition);
    field(file, "GROWTH", statistics.growth);
    field(file, "FAIL_P", statistics.failed_pivots);
    field(file, "T_SYM", statistics.t_sym);
    field(file, "T_NUM", statistics.t_num);
    field(file, "T_SOL", statistics.t_solve);
    field(file, "T_CON", statistics.t_condition);
    field(file, "T_ASSEMB", statistics.t_assembly);
    field(file, "T_X", statistics.t_mapped_io);
    field(file, "FLOPS", statistics.flops);
    field(file, "SPEED", factorization_speed(statistics), "M");
    close_section(file, "RUN");
}

void write_control(std::FILE* file, const Settings& settings) noexcept {
    open_section(file, "CONTROL");
    field(file, "ARCH", settings.architecture);
    field(file, "stra", settings.type);
    field(file, "straS", settings.strategy_s);
    field(file, "straP", settings.pivoting);
    field(file, "straF", settings.strategy_f);
    field(file, "BLK", settings.block_size);
    field(file, "rTVS", settings.pivot_threshold);
    field(file, "RELAX", settings.relax);
    field(file, "CORE", settings.core_mode);
    close_section(file, "CONTROL");
}

} // namespace

void mf_report_body(std::FILE* file, const char* title, const Settings& settings,
                    const Statistics& statistics) noexcept {
    if (file == nullptr) return;
    const platform::FileSizeSignalOff off;
    std::fprintf(file, "<TEST>\r\n");
    write_basic(file, title, statistics);
    write_memory(file, statistics);
    write_symbol(file, statistics);
    write_run(file, statistics);
    write_control(file, settings);
    std::fprintf(file, "</TEST>\r\n");
}

bool mf_write_report(const char* directory, const Settings& settings, const Statistics& statistics,
                     bool with_body) noexcept {
    const bool here = directory == nullptr || directory[0] == '\0';
    char path[platform::PATH_BYTES];
    const int length = std::snprintf(path, sizeof path, "%s%s%s.info", here ? "" : directory, here ? "" : "/",
                                     VERSION_STRING);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof path) return false;
    platform::OutputFile file;
    if (!file.open(path, "w")) return false;
    const platform::FileSizeSignalOff off;
    write_prologue(file.stream());
    if (with_body) mf_report_body(file.stream(), nullptr, settings, statistics);
    std::fprintf(file.stream(), "\r\n</VYR_TEST_INFO>\r\n");
    return file.commit();
}

} // namespace vyr
