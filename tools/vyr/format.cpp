#include "tools/vyr/format.h"

#include <cstdarg>
#include <cstdio>

namespace vyr::tool {

std::string format(const char* pattern, ...) {
    char text[512];
    std::va_list arguments;
    va_start(arguments, pattern);
    std::vsnprintf(text, sizeof text, pattern, arguments);
    va_end(arguments);
    return text;
}

} // namespace vyr::tool
