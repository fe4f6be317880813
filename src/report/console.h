// The one way to standard output. Texts of the library are formatted here and nowhere else.
#pragma once

namespace vyr {

/// Prints a formatted text to standard output, whatever the message flag says.
[[gnu::format(printf, 1, 2)]] void mf_print(const char* format, ...) noexcept;

/// Prints a formatted text to standard output when messages are on (low byte of CTRL_FLAGS).
[[gnu::format(printf, 1, 2)]] void mf_message(const char* format, ...) noexcept;

} // namespace vyr
