#include "report/console.h"

#include "interface/process_state.h"

#include <cstdarg>
#include <cstdio>

namespace vyr {

void mf_print(const char* format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
}

void mf_message(const char* format, ...) noexcept {
    if (!messages_on()) return;
    std::va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
}

} // namespace vyr
