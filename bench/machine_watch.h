// What else the machine did while a measurement ran.
#pragma once

namespace vyr::bench {

/// Watches from its construction on. Others' time is what all processors worked, or were taken away by the
/// host of a virtual machine, less what the measured processes and this one used.
class MachineWatch {
public:
    /// spinner   process id of a deliberate load that is not counted, 0 for none
    explicit MachineWatch(int spinner);

    /// Processors that others kept busy since construction; cpu_seconds is what the measured process used.
    /// Zero while the figure is within what the kernel's clock ticks leave uncertain.
    double other_cores(double cpu_seconds) const;

private:
    int spinner_;
    double start_;
    double busy_;
    double own_;
};

/// Others' load above which a measurement does not count, processors.
inline constexpr double LARGEST_OTHER_LOAD = 0.1;

} // namespace vyr::bench
