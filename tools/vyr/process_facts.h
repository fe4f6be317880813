// What the tool asks the operating system.
#pragma once

#include <cstdint>
#include <cstdio>

namespace vyr::tool {

/// Seconds from an arbitrary start, monotonic.
double seconds_now();

/// Largest resident size of the process so far, bytes; 0 when the system does not tell.
std::uint64_t peak_resident_bytes();

/// Bytes the process can still get without swapping; the largest number when the system does not tell.
std::uint64_t available_bytes();

/// True when the stream is shown to a person.
bool is_terminal(std::FILE* file);

} // namespace vyr::tool
