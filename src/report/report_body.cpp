#include "interface/process_state.h"
#include "report/report.h"

namespace vyr {

namespace {

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
double zero_diagonal_ratio() noexcept {
    if (to_int(mf_info[INFO_ROWS]) == 0) return -1.0;
    return mf_info[INFO_ZERO_DIAGONAL] / mf_info[INFO_ROWS];
}

/// Speed of the factorization in 10^6 operations per second. Too short to be measured is not infinitely
/// fast: readers of reports know this odd figure as "no time taken".
double factorization_speed() noexcept {
    const double seconds = mf_info[INFO_T_NUM];
    return seconds == 0.0 ? -1.1111111 : mf_info[INFO_FLOPS] / 1e6 / seconds;
}

void write_basic(std::FILE* file, const char* title) noexcept {
    open_section(file, "BASIC");
    if (title != nullptr) std::fprintf(file, "\t\t<TITLE>%s</TITLE>\r\n", title);
    field(file, "STATUS", mf_info[INFO_STATUS]);
    field(file, "ROW", mf_info[INFO_ROWS]);
    field(file, "COL", mf_info[INFO_COLS]);
    field(file, "NNZ", mf_info[INFO_NNZ]);
    field(file, "SYM_ORIGIN", mf_info[INFO_SYM_ORIGIN]);
    field(file, "SYM", mf_info[INFO_SYM]);
    field(file, "rED_ORIGIN", mf_info[INFO_NO_DIAGONAL]);
    field(file, "rZD", zero_diagonal_ratio());
    field(file, "MAX", mf_info[INFO_VALUE_MAX]);
    field(file, "MIN", mf_info[INFO_VALUE_MIN]);
    std::fprintf(file, "\t\t<LPK_NB>%d</LPK_NB>\r\n", LAPACK_BLOCK_SIZE);
    close_section(file, "BASIC");
}

void write_memory(std::FILE* file) noexcept {
    open_section(file, "MEMORY");
    field(file, "NZLU_SYM", mf_info[INFO_NZLU_SYM]);
    field(file, "NZLU", mf_info[INFO_NZLU]);
    field(file, "MEM_SYM", mf_info[INFO_MEM_SYM]);
    field(file, "MEM", mf_info[INFO_MEM]);
    field(file, "PEAK_SYM", mf_info[INFO_PEAK_SYM]);
    field(file, "PEAK", mf_info[INFO_PEAK]);
    close_section(file, "MEMORY");
}

void write_symbol(std::FILE* file) noexcept {
    open_section(file, "SYMBOL");
    field(file, "maxLEV", mf_info[INFO_MAX_LEVEL]);
    field(file, "DBs", mf_info[INFO_DENSE_BLOCKS]);
    field(file, "NODEs", mf_info[INFO_NODES]);
    field(file, "MAX-D", mf_info[INFO_MAX_WIDTH]);
    field(file, "SOLID", mf_info[INFO_SOLID]);
    field(file, "T_SYMFAC", mf_info[INFO_T_SYMFAC]);
    close_section(file, "SYMBOL");
}

void write_run(std::FILE* file) noexcept {
    open_section(file, "RUN");
    field(file, "ERR", mf_info[INFO_ERROR]);
    field(file, "COND", mf_info[INFO_CONDITION]);
    field(file, "GROWTH", mf_info[INFO_GROWTH]);
    field(file, "FAIL_P", mf_info[INFO_FAILED_PIVOTS]);
    field(file, "T_SYM", mf_info[INFO_T_SYM]);
    field(file, "T_NUM", mf_info[INFO_T_NUM]);
    field(file, "T_SOL", mf_info[INFO_T_SOLVE]);
    field(file, "T_CON", mf_info[INFO_T_CONDITION]);
    field(file, "T_ASSEMB", mf_info[INFO_T_ASSEMBLY]);
    field(file, "T_X", mf_info[INFO_T_MAPPED_IO]);
    field(file, "FLOPS", mf_info[INFO_FLOPS]);
    field(file, "SPEED", factorization_speed(), "M");
    close_section(file, "RUN");
}

void write_control(std::FILE* file) noexcept {
    open_section(file, "CONTROL");
    field(file, "ARCH", mf_ctrl[CTRL_ARCH]);
    field(file, "stra", mf_ctrl[CTRL_TYPE]);
    field(file, "straS", mf_ctrl[CTRL_STRATEGY_S]);
    field(file, "straP", mf_ctrl[CTRL_PIVOTING]);
    field(file, "straF", mf_ctrl[CTRL_STRATEGY_F]);
    field(file, "BLK", mf_ctrl[CTRL_BLOCK_SIZE]);
    field(file, "rTVS", mf_ctrl[CTRL_PIVOT_THRESHOLD]);
    field(file, "RELAX", mf_ctrl[CTRL_RELAX]);
    field(file, "CORE", mf_ctrl[CTRL_CORE_MODE]);
    close_section(file, "CONTROL");
}

} // namespace

void mf_report_body(std::FILE* file, const char* title) noexcept {
    if (file == nullptr || !messages_on()) return;
    std::fprintf(file, "<TEST>\r\n");
    write_basic(file, title);
    write_memory(file);
    write_symbol(file);
    write_run(file);
    write_control(file);
    std::fprintf(file, "</TEST>\r\n");
}

} // namespace vyr
