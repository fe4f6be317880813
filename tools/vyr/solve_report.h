// The result of a solve in words and figures.
#pragma once

#include "tools/vyr/solve.h"

#include <string>

namespace vyr::tool {

/// A solution with a larger backward error than this one is not accepted.
inline constexpr double LARGEST_BACKWARD_ERROR = 1e-8;

/// True when the library succeeded and its solution is accurate.
bool accepted(const SolveResult& result);

/// A table for people. Only for results without a failed status.
std::string result_table(const SolveResult& result);

/// One JSON object, for any result.
std::string result_json(const SolveResult& result);

/// One sentence on what went wrong and what to do about it; empty for an accepted result.
std::string failure_sentence(const SolveResult& result);

} // namespace vyr::tool
