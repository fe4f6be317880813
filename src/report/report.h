// What is told of one run: the statistics report, an XML document whose tags docs/report.md explains, and the
// texts of a numeric step on the console.
#pragma once

#include "core/log.h"
#include "core/settings.h"
#include "core/statistics.h"
#include "core/status.h"

#include <cstdio>

namespace vyr {

/// Names the library in the report, and the report itself.
inline constexpr const char* VERSION_STRING = "VYR_spd 2.2";
inline constexpr const char* COPYRIGHT_NOTICE = "Copyright (c) 2026, the VYR authors";
inline constexpr const char* SUPPORT_ADDRESS = "support@vyr.example";

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

/// Shows sizes, matrix, core mode and method at the start of a numeric step, when messages are on.
void mf_console_summary(const Log& log, const Settings& settings, const Statistics& statistics) noexcept;

/// Shows what the status of a numeric step means and where to find help, when messages are on. Success shows
/// nothing.
void mf_numeric_failure_message(const Log& log, Status status) noexcept;

} // namespace vyr
