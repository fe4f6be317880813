#include "core/log.h"

namespace vyr {

void mf_print(const Log& log, const char* format, ...) noexcept {
    if (log.sink == nullptr) return;
    std::va_list arguments;
    va_start(arguments, format);
    log.sink(log.user, format, arguments);
    va_end(arguments);
}

void mf_message(const Log& log, const char* format, ...) noexcept {
    if (!log.messages || log.sink == nullptr) return;
    std::va_list arguments;
    va_start(arguments, format);
    log.sink(log.user, format, arguments);
    va_end(arguments);
}

} // namespace vyr
