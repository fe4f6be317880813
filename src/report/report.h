// The statistics report: an XML document on one run. docs/report.md explains its tags.
#pragma once

#include "core/settings.h"
#include "core/statistics.h"

#include <cstdio>

namespace vyr {

/// Names the library in the report, and the report itself.
inline constexpr const char* VERSION_STRING = "VYR_spd 2.2";

/// Creates the file "<version>.info", replacing an earlier one, and writes the prologue. Sets `file_out` to
/// the open file, or to null when the file cannot be created or its path is longer than 4095 bytes: a run
/// goes on without its report.
///
/// directory   for the file; null or empty: the current one
void mf_report_open(std::FILE*& file_out, const char* directory, const char* version) noexcept;

/// Writes the body.
///
/// file    open for writing; null is allowed and writes nothing
/// title   text of the TITLE element, as it stands; null leaves the element out
void mf_report_body(std::FILE* file, const char* title, const Settings& settings,
                    const Statistics& statistics) noexcept;

/// Writes the epilogue and closes the file. True when all that was written to the file has arrived; false
/// for a null file.
bool mf_report_close(std::FILE* file) noexcept;

/// The whole report of the run: open, body without a title when `with_body`, close. True when the whole file
/// was written.
bool mf_write_report(const char* directory, const Settings& settings, const Statistics& statistics,
                     bool with_body) noexcept;

} // namespace vyr
