#include "interface/process_state.h"

#include <cstdio>

namespace vyr {

namespace {

void print(void* /*user*/, const char* format, std::va_list arguments) {
    std::vprintf(format, arguments);
}

ProcessState the_state{};

struct StatisticsSlot {
    InfoSlot slot;
    double Statistics::*member;
};

/// Two slots of one member hold the same figure.
constexpr StatisticsSlot STATISTICS_SLOTS[] = {
    {INFO_STATUS, &Statistics::status},
    {INFO_ROWS, &Statistics::rows},
    {INFO_COLS, &Statistics::cols},
    {INFO_NNZ, &Statistics::nnz},
    {INFO_SYM_ORIGIN, &Statistics::symmetry_origin},
    {INFO_SYM, &Statistics::symmetry},
    {INFO_CONDITION, &Statistics::condition},
    {INFO_GROWTH, &Statistics::growth},
    {INFO_MEM_SYM, &Statistics::mem_sym},
    {INFO_PEAK_SYM, &Statistics::peak_sym},
    {INFO_T_SYM, &Statistics::t_sym},
    {INFO_T_SYMFAC, &Statistics::t_symfac},
    {INFO_DENSE_BLOCKS, &Statistics::dense_blocks},
    {INFO_NODES, &Statistics::n_nodes},
    {INFO_MAX_WIDTH, &Statistics::max_width},
    {INFO_NZLU_SYM, &Statistics::nzlu_sym},
    {INFO_ZERO_DIAGONAL, &Statistics::zero_diagonal},
    {INFO_NO_DIAGONAL, &Statistics::no_diagonal},
    {INFO_NO_DIAGONAL_COPY, &Statistics::no_diagonal},
    {INFO_MAX_LEVEL, &Statistics::max_level},
    {INFO_FACTORIZATIONS, &Statistics::n_factorizations},
    {INFO_MEM, &Statistics::mem},
    {INFO_FLOPS, &Statistics::flops},
    {INFO_NZLU, &Statistics::nzlu},
    {INFO_FAILED_PIVOTS, &Statistics::failed_pivots},
    {INFO_VALUE_MAX, &Statistics::value_max},
    {INFO_VALUE_MIN, &Statistics::value_min},
    {INFO_PEAK, &Statistics::peak},
    {INFO_NUMERIC_START, &Statistics::numeric_start},
    {INFO_T_NUM, &Statistics::t_num},
    {INFO_ERROR, &Statistics::error},
    {INFO_FAILED_COLUMN, &Statistics::failed_column},
    {INFO_DIAGONAL_MIN, &Statistics::diagonal_min},
    {INFO_DIAGONAL_MAX, &Statistics::diagonal_max},
    {INFO_T_FILE_WRITE, &Statistics::t_file_write},
    {INFO_T_ASSEMBLY, &Statistics::t_assembly},
    {INFO_T_SOLVE, &Statistics::t_solve},
    {INFO_T_CONDITION, &Statistics::t_condition},
    {INFO_T_MAPPED_IO, &Statistics::t_mapped_io},
    {INFO_SOLID, &Statistics::solid},
};

Settings settings_in_force() noexcept {
    const double* ctrl = the_state.mf_ctrl;
    Settings settings;
    settings.type = ctrl_int(CTRL_TYPE);
    settings.core_mode = ctrl_int(CTRL_CORE_MODE);
    settings.scaling = ctrl_int(CTRL_SCALING);
    settings.refinement_limit = ctrl_int(CTRL_REFINEMENT_LIMIT);
    settings.blocked = ctrl_int(CTRL_BLOCKED) == 1;
    settings.dump_factor = true;
    settings.check_values = (ctrl_int(CTRL_FLAGS) & FLAG_CHECK_VALUES) != 0;
    settings.pivot_min = ctrl[CTRL_PIVOT_MIN];
    settings.growth_limit = ctrl[CTRL_GROWTH_LIMIT];
    settings.reserve_bytes = ctrl[CTRL_MEMORY_ESTIMATE];
    settings.architecture = ctrl[CTRL_ARCH];
    settings.strategy_s = ctrl[CTRL_STRATEGY_S];
    settings.strategy_f = ctrl[CTRL_STRATEGY_F];
    settings.pivoting = ctrl[CTRL_PIVOTING];
    settings.pivot_threshold = ctrl[CTRL_PIVOT_THRESHOLD];
    settings.relax = ctrl[CTRL_RELAX];
    settings.block_size = ctrl[CTRL_BLOCK_SIZE];
    return settings;
}

} // namespace

ProcessState& process_state() noexcept {
    return the_state;
}

int set_info_status(Status status) noexcept {
    the_state.mf_info[INFO_STATUS] = code(status);
    return code(status);
}

Call::Call() noexcept : context(the_state.memory) {
    the_state.log = Log{print, nullptr, (ctrl_int(CTRL_FLAGS) & 0xff) != 0};
    the_state.memory.log = &the_state.log;
    context.log = the_state.log;
    context.settings = settings_in_force();
    for (const StatisticsSlot& slot : STATISTICS_SLOTS)
        context.statistics.*slot.member = the_state.mf_info[slot.slot];
    context.statistics.memory_estimate = the_state.mf_ctrl[CTRL_MEMORY_ESTIMATE];
    context.statistics.n_two_by_two = the_state.n_p2;
}

Call::~Call() {
    for (const StatisticsSlot& slot : STATISTICS_SLOTS)
        if (slot.slot != INFO_STATUS) the_state.mf_info[slot.slot] = context.statistics.*slot.member;
    the_state.mf_ctrl[CTRL_MEMORY_ESTIMATE] = context.statistics.memory_estimate;
    the_state.n_p2 = context.statistics.n_two_by_two;
}

} // namespace vyr
