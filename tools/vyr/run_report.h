// The statistics report of a run, where the user wants it.
#pragma once

#include "tools/vyr/solve.h"

#include <string>

namespace vyr::tool {

/// Writes a report with the tags of docs/report.md into an existing directory, what nobody measured as 0.
/// Throws std::runtime_error when the file cannot be written in full.
void write_run_report(const std::string& directory, const SolveResult& result);

} // namespace vyr::tool
