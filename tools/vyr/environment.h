// What a host should have in its environment before OpenMP is loaded (docs/hosts.md).
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace vyr::tool {

/// Turns of its waiting loop that a thread spins before it sleeps. Fast enough to pick up the next piece of a
/// front without a system call, short enough to leave the core to the thread it waits for when another
/// process keeps that one from running: the default of gcc's OpenMP, 300,000 turns, costs milliseconds each
/// time.
inline constexpr const char* SPIN_COUNT = "1000";

/// Name and value of every variable that is wanted and that the user has not set. `lookup` gives the value of
/// a variable or null, as std::getenv does.
std::vector<std::pair<const char*, std::string>> missing_settings(const char* (*lookup)(const char* name));

/// Starts the program anew with the missing settings, once: OpenMP reads the environment when it is loaded,
/// so it is too late for this process. What the user has set stays. Call it first in main; it returns when
/// there is nothing to set or the program cannot be started again. Does nothing but on Linux: Windows has no
/// exec that keeps the process, so there the user sets what docs/hosts.md names.
void restart_with_settings(char** argv);

} // namespace vyr::tool
