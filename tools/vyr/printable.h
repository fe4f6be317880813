// Texts from arguments and files, as a terminal or a line of a file may have them.
#pragma once

#include <string>
#include <string_view>

namespace vyr::tool {

/// The text with its control characters, line ends included, as \xNN. Other bytes stay, so that names in
/// UTF-8 do.
std::string printable(std::string_view text);

} // namespace vyr::tool
