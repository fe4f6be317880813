// The statistics report: an XML document on one run, in the current directory. docs/report.md explains its
// tags.
//
// All of it reads the control and information arrays and nothing else. Threads: the host's thread only.
#pragma once

#include <cstdio>

namespace vyr {

/// Creates the file "<version>.info" in the current directory, replacing an earlier one, and writes the
/// prologue. Sets `file_out` to the open file, or to null when the file cannot be created: a run goes on
/// without its report.
void mf_report_open(std::FILE*& file_out, const char* version) noexcept;

/// Writes the body, or nothing when the low byte of CTRL_FLAGS is 0.
///
/// file    open for writing; null is allowed and writes nothing
/// title   text of the TITLE element, as it stands; null leaves the element out
void mf_report_body(std::FILE* file, const char* title) noexcept;

/// Writes the epilogue and closes the file. Null is allowed.
void mf_report_close(std::FILE* file) noexcept;

/// The whole report of the run: open, body without a title, close.
void mf_write_report() noexcept;

} // namespace vyr
