// The findings as Markdown and as JSON.
#pragma once

#include "bench/driver.h"

#include <string>

namespace vyr::bench {

/// For every number of threads a table of figures and a table of ratios.
std::string markdown(const Findings& findings);

/// {"setting": {...}, "results": [{...}, ...]}
std::string json(const Findings& findings);

} // namespace vyr::bench
