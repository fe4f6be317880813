// Our times and sizes over those of the better peer.
#pragma once

#include "bench/json.h"

#include <vector>

namespace vyr::bench {

/// True for results with figures.
bool has_figures(const Record& result);

/// Adds to each of our results, for every figure compared, "ratio_NAME": ours over the smallest of the peers
/// on the same matrix at the same number of threads with the factor in the same storage; below 1 is better.
/// Left out without such a peer.
void add_ratios(std::vector<Record>& results);

/// The figures compared.
inline constexpr const char* COMPARED[] = {"seconds_analyse", "seconds_factorise", "seconds_first",
                                           "seconds_solve1",  "seconds_solve16",   "seconds_total",
                                           "peak_bytes"};

} // namespace vyr::bench
