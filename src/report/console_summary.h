// The short summary of matrix and settings at the start of a numeric step.
#pragma once

namespace vyr {

/// Prints sizes, matrix, core mode and method to standard output when messages are on.
void mf_console_summary() noexcept;

} // namespace vyr
