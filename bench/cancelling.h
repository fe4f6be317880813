// How soon a call ends that its host has cancelled.
#pragma once

#include <string>
#include <vector>

namespace vyr::bench {

/// Cancels each phase of each matrix at `moments` random moments, through the library interface. One row a
/// phase on standard output: seconds of the whole phase, calls that were cancelled, milliseconds from the
/// wish to the return: median and largest.
void time_cancelling(const std::vector<std::string>& matrices, int n_threads, int moments);

} // namespace vyr::bench
