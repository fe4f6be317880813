// Runs a program in an environment of its own and collects what it printed and used.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace vyr::bench {

struct ProcessResult {
    bool succeeded = false; ///< exit code 0
    bool timed_out = false;
    std::string output;     ///< standard output; standard error is passed on
    std::string ending;     ///< "exit code 3", "signal 11"
    double seconds = 0;     ///< wall clock, start to end
    double cpu_seconds = 0; ///< of the process, all threads
};

using Environment = std::map<std::string, std::string>;

/// This process's environment without the settings of OpenMP and OpenBLAS, which would change a measurement.
Environment clean_environment();

/// Runs this very program with other arguments. It is killed after `timeout` seconds, or when we end first.
ProcessResult run_self(const std::vector<std::string>& arguments, const Environment& environment,
                       double timeout);

/// Forks a process that computes without end on the last processor this one may use; returns its id.
int start_spinner();
void stop_spinner(int pid);

} // namespace vyr::bench
