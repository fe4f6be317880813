#include "report/console_summary.h"

#include "interface/process_state.h"
#include "report/console.h"

namespace vyr {

namespace {

const char* core_mode_name(int mode) noexcept {
    switch (mode) {
    case CORE_IN:
        return "IN_CORE";
    case CORE_OUT:
        return "OUT_CORE";
    case CORE_MAPPED:
        return "GMM_CORE";
    case CORE_GPU:
        return "GPU_CORE";
    case CORE_GBLAS:
        return "GBLAS_CORE";
    default:
        return "AUTOCORE";
    }
}

/// Null for the types that have no name of their own.
const char* method_name(int type) noexcept {
    switch (type) {
    case TYPE_SIMPLE:
        return "MF_NEAT";
    case TYPE_SPD:
        return "MF_LLc";
    case TYPE_LDLT:
        return "MF_LDLT";
    case TYPE_CSYM:
        return "MF_CSYM";
    default:
        return nullptr;
    }
}

const char* pivoting_name(int kind) noexcept {
    switch (kind) {
    case 1:
        return "PARTIAL";
    case 2:
        return "ROOK";
    case 4:
        return "0P";
    default:
        return "OTHER";
    }
}

} // namespace

void mf_console_summary() noexcept {
    mf_message("\t<I_LEN=%d,I64_LEN=%d,D_LEN=%d>\r\n", static_cast<int>(sizeof(std::int32_t)),
               static_cast<int>(sizeof(std::int64_t)), static_cast<int>(sizeof(double)));
    mf_message("\t<DIM=%g,ENTRY=%g>\t<SYM=%3.2g,nED=%d>\t<MAX=%8.3g,MIN=%8.3g>\r\n", mf_info[INFO_ROWS],
               mf_info[INFO_NNZ], mf_info[INFO_SYM], to_int(mf_info[INFO_NO_DIAGONAL_COPY]),
               mf_info[INFO_VALUE_MAX], mf_info[INFO_VALUE_MIN]);
    mf_message("\t\t<%s>\t\r\n", core_mode_name(ctrl_int(CTRL_CORE_MODE)));
    if (const char* method = method_name(ctrl_int(CTRL_TYPE)))
        mf_message("\t\t<%s>\t\r\n", method);
    else
        mf_message("\t\t<TRANS=%g>\t<PIVOT=%s>\r\n", mf_ctrl[CTRL_PIVOT_THRESHOLD],
                   pivoting_name(ctrl_int(CTRL_PIVOTING)));
}

} // namespace vyr
