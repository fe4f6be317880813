// Texts of a numeric step on the console, and who made the library.
#pragma once

#include "core/log.h"
#include "core/settings.h"
#include "core/statistics.h"
#include "core/status.h"

namespace vyr {

inline constexpr const char* COPYRIGHT_NOTICE = "Copyright (c) 2026, the VYR authors";
inline constexpr const char* SUPPORT_ADDRESS = "support@vyr.example";

/// Shows sizes, matrix, core mode and method at the start of a numeric step, when messages are on.
void mf_console_summary(const Log& log, const Settings& settings, const Statistics& statistics) noexcept;

/// Shows what the status of a numeric step means and where to find help, when messages are on. Success shows
/// nothing.
void mf_numeric_failure_message(const Log& log, Status status) noexcept;

} // namespace vyr
