// The result of a solve in words and figures.
#pragma once

#include "tools/vyr/solve.h"

#include <string>

namespace vyr::tool {

/// Of an equilibrated matrix with a larger condition number no digit of a solution is certain: 1 / epsilon.
inline constexpr double LARGEST_CONDITION = 4503599627370496.0;

/// True when the library succeeded and its solution can be trusted.
bool accepted(const SolveResult& result);

/// A table for people. Only for results with a solution.
std::string result_table(const SolveResult& result);

/// One JSON object, for any result.
std::string result_json(const SolveResult& result);

/// One sentence on what went wrong and what to do about it; empty for an accepted result.
std::string failure_sentence(const SolveResult& result);

} // namespace vyr::tool
