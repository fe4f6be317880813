// The text behind a failed numeric step.
#pragma once

#include "interface/status.h"

namespace vyr {

/// Prints what the status of a numeric step means and where to find help, when messages are on. Success
/// prints nothing.
void mf_numeric_failure_message(Status status) noexcept;

} // namespace vyr
