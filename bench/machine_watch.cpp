#include "bench/machine_watch.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include <sys/resource.h>
#include <unistd.h>

namespace vyr::bench {

namespace {

double ticks_per_second() {
    return static_cast<double>(sysconf(_SC_CLK_TCK));
}

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Seconds that all processors together were not idle, from /proc/stat.
double busy_seconds() {
    std::ifstream file("/proc/stat");
    std::string label;
    double user = 0, nice = 0, system = 0, idle = 0, iowait = 0, irq = 0, softirq = 0, steal = 0;
    if (!(file >> label >> user >> nice >> system >> idle >> iowait >> irq >> softirq >> steal))
        throw std::runtime_error("/proc/stat cannot be read: other processes' load stays unknown");
    return (user + nice + system + irq + softirq + steal) / ticks_per_second();
}

/// Seconds a process has used, from /proc/<pid>/stat.
double process_seconds(int pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(file, line);
    // The program's name, in parentheses, may hold blanks; the times are the 12th and 13th words after it.
    std::istringstream words(line.substr(std::min(line.size(), line.rfind(')') + 1)));
    std::string skipped;
    for (int i = 0; i < 11; ++i) words >> skipped;
    double user = 0, system = 0;
    if (!(words >> user >> system)) throw std::runtime_error("the deliberate load has ended");
    return (user + system) / ticks_per_second();
}

double own_seconds(int spinner) {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    const double self = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                        1e-6 * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
    return self + (spinner != 0 ? process_seconds(spinner) : 0.0);
}

} // namespace

MachineWatch::MachineWatch(int spinner)
    : spinner_(spinner), start_(now()), busy_(busy_seconds()), own_(own_seconds(spinner)) {}

double MachineWatch::other_cores(double cpu_seconds) const {
    const double elapsed = now() - start_;
    const double others = busy_seconds() - busy_ - (own_seconds(spinner_) - own_) - cpu_seconds;
    const double uncertain = 2.0 * std::max(1u, std::thread::hardware_concurrency()) / ticks_per_second();
    return std::max(0.0, others - uncertain) / elapsed;
}

} // namespace vyr::bench
