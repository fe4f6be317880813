#include "tools/vyr/printable.h"

namespace vyr::tool {

std::string printable(std::string_view text) {
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string shown;
    unsigned char before = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        // UTF-8 has control characters of its own: C2 80 to C2 9F.
        if (byte < 0x20 || byte == 0x7f || (before == 0xc2 && byte < 0xa0))
            shown.append("\\x").append(1, DIGITS[byte >> 4]).append(1, DIGITS[byte & 15]);
        else
            shown += c;
        before = byte;
    }
    return shown;
}

} // namespace vyr::tool
