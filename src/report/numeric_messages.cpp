#include "report/numeric_messages.h"

#include "report/console.h"
#include "report/contact.h"

namespace vyr {

void mf_numeric_failure_message(Status status) noexcept {
    switch (status) {
    case VYR_OK:
        return;
    case VYR_ERR_FACTOR_STORAGE:
    case VYR_ERR_MEMORY:
        mf_message("\r\n\r\n\tout of memory! Please upgrade to 64-bit version.");
        break;
    case VYR_ERR_SINGULAR:
        mf_message("\r\n\r\n\tThe matrix is singular!");
        break;
    case VYR_ERR_NOT_SPD:
        mf_message("\r\n\r\n\tThe matrix is not symmetric positive definite.Please change the parameters.");
        break;
    case VYR_ERR_ILL_CONDITIONED:
        mf_message("\r\n\r\n\tThe matrix is ill-conditioned.Please change the parameters.");
        break;
    default:
        mf_message("\r\n\tERROR at NUMERIC FACTORIZATION. ERROR CODE:%d\r\n", status);
        break;
    }
    mf_message("\r\n\tFor help write to %s.\r\n", SUPPORT_ADDRESS);
}

} // namespace vyr
