// The statistics report of a run, where the user wants it.
#pragma once

#include <string>

namespace vyr::tool {

/// Writes the library's report on the last run, body included, into an existing directory and returns its
/// path. The statistics outlive the library's object, so the run may be over. Throws std::runtime_error when
/// the file cannot be written in full.
std::string write_run_report(const std::string& directory);

} // namespace vyr::tool
