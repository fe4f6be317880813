// The METIS and AMD of the system, as they are: docs/hosts.md tells what they do to the process.
#include "platform/process.h"
#include "symbolic/metis_call.h"

namespace vyr {

Status mf_ordering_call(Context& context, Status (*call)(Context& context, void* arguments),
                        void* arguments) noexcept {
    const platform::OrderingLock one_at_a_time;
    return call(context, arguments);
}

bool mf_ordering_can_be_cancelled() noexcept {
    return false;
}

} // namespace vyr
