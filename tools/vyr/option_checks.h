// What the values of options must be, beside what the command line's own checks know.
#pragma once

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdlib>
#include <string>

namespace vyr::tool {

/// Refuses infinities and what is not a number.
inline CLI::Validator finite_number() {
    return CLI::Validator(
        [](const std::string& text) {
            return std::isfinite(std::strtod(text.c_str(), nullptr)) ? std::string()
                                                                     : text + " is not finite";
        },
        "");
}

/// Refuses the empty name.
inline CLI::Validator file_name() {
    return CLI::Validator(
        [](const std::string& text) {
            return text.empty() ? std::string("the name is empty") : std::string();
        },
        "");
}

} // namespace vyr::tool
