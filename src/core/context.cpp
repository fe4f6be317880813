#include "core/context.h"

#include <cstdio>

namespace vyr {

Status fail(Context& context, Status status, const char* format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(context.reason, sizeof context.reason, format, arguments);
    va_end(arguments);
    return status;
}

Status out_of_memory(Context& context, Status status) noexcept {
    const double bytes = context.memory.refused.load();
    if (bytes <= 0) return fail(context, status, "out of memory");
    return fail(context, status, "out of memory: a block of %.3g MB was needed", bytes / MEGABYTE);
}

} // namespace vyr
