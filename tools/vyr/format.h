// printf into a string.
#pragma once

#include <string>

namespace vyr::tool {

/// Texts longer than 511 bytes are cut.
[[gnu::format(printf, 1, 2)]] std::string format(const char* pattern, ...);

} // namespace vyr::tool
