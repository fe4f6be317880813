// The statistics report: an XML document on one run. docs/report.md explains its tags.
#pragma once

#include "core/settings.h"
#include "core/statistics.h"

#include <cstdio>

namespace vyr {

/// Names the library in the report, and the report itself.
inline constexpr const char* VERSION_STRING = "VYR_spd 2.2";

/// Writes the body.
///
/// file    open for writing; null is allowed and writes nothing
/// title   text of the TITLE element, as it stands; null leaves the element out
void mf_report_body(std::FILE* file, const char* title, const Settings& settings,
                    const Statistics& statistics) noexcept;

/// Writes the whole report of the run to the file "<version>.info", which replaces an earlier one: prologue,
/// body without a title when `with_body`, epilogue.
///
/// directory   for the file; null or empty: the current one
///
/// True when the whole file was written; otherwise an earlier one stays as it was, and the run goes on
/// without its report.
bool mf_write_report(const char* directory, const Settings& settings, const Statistics& statistics,
                     bool with_body) noexcept;

} // namespace vyr
