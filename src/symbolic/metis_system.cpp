// The METIS of the system, as it is: docs/hosts.md tells what it does to the process.
#include "platform/process.h"
#include "symbolic/metis_call.h"

#include <metis.h>

namespace vyr {

Status mf_metis_call(Context& context, int (*call)(void* arguments), void* arguments) noexcept {
    const platform::OrderingLock one_at_a_time;
    const int outcome = call(arguments);
    if (outcome == METIS_OK) return Status::OK;
    if (outcome == METIS_ERROR_MEMORY)
        return fail(context, Status::FACTOR_STORAGE, "METIS ran out of memory");
    return fail(context, Status::ORDERING, "METIS failed with code %d", outcome);
}

bool mf_ordering_can_be_cancelled() noexcept {
    return false;
}

} // namespace vyr
