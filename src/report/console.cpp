#include "report/report.h"

#include <cstdint>

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

void mf_console_summary(const Log& log, const Settings& settings, const Statistics& statistics) noexcept {
    mf_message(log, "\t<I_LEN=%d,I64_LEN=%d,D_LEN=%d>\r\n", static_cast<int>(sizeof(std::int32_t)),
               static_cast<int>(sizeof(std::int64_t)), static_cast<int>(sizeof(double)));
    mf_message(log, "\t<DIM=%g,ENTRY=%g>\t<SYM=%3.2g,nED=%d>\t<MAX=%8.3g,MIN=%8.3g>\r\n", statistics.rows,
               statistics.nnz, statistics.symmetry, static_cast<int>(statistics.no_diagonal),
               statistics.value_max, statistics.value_min);
    mf_message(log, "\t\t<%s>\t\r\n", core_mode_name(settings.core_mode));
    if (const char* method = method_name(settings.type))
        mf_message(log, "\t\t<%s>\t\r\n", method);
    else
        mf_message(log, "\t\t<TRANS=%g>\t<PIVOT=%s>\r\n", settings.pivot_threshold,
                   pivoting_name(static_cast<int>(settings.pivoting)));
}

void mf_numeric_failure_message(const Log& log, Status status) noexcept {
    switch (status) {
    case Status::OK:
        return;
    case Status::FACTOR_STORAGE:
    case Status::MEMORY:
        mf_message(log, "\r\n\r\n\tout of memory! Please upgrade to 64-bit version.");
        break;
    case Status::SINGULAR:
        mf_message(log, "\r\n\r\n\tThe matrix is singular!");
        break;
    case Status::NOT_SPD:
        mf_message(log,
                   "\r\n\r\n\tThe matrix is not symmetric positive definite.Please change the parameters.");
        break;
    case Status::ILL_CONDITIONED:
        mf_message(log, "\r\n\r\n\tThe matrix is ill-conditioned.Please change the parameters.");
        break;
    default:
        mf_message(log, "\r\n\tERROR at NUMERIC FACTORIZATION. ERROR CODE:%d\r\n", code(status));
        break;
    }
    mf_message(log, "\r\n\tFor help write to %s.\r\n", SUPPORT_ADDRESS);
}

} // namespace vyr
