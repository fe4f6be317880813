// Where the texts of a run go.
#pragma once

#include <cstdarg>

namespace vyr {

/// A sink of formatted text, in the manner of vprintf. Without one nothing is shown.
struct Log {
    void (*sink)(void* user, const char* format, std::va_list arguments) = nullptr;
    void* user = nullptr;
    bool messages = false; ///< show progress, warnings and errors; other texts are shown always
};

/// Shows a text whatever `messages` says.
[[gnu::format(printf, 2, 3)]] void mf_print(const Log& log, const char* format, ...) noexcept;

/// Shows a text when messages are on.
[[gnu::format(printf, 2, 3)]] void mf_message(const Log& log, const char* format, ...) noexcept;

} // namespace vyr
