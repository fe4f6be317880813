// Which OpenBLAS a process runs on.
#pragma once

#include <string>

namespace vyr::bench {

/// Name of the kernels in use, such as "Haswell".
std::string blas_kernels();

/// Empty when exactly one OpenBLAS is loaded, no other BLAS, and it is the OpenMP build; else what is wrong.
std::string blas_problem();

/// The kernels every worker is told to use: those of this process, unless OpenBLAS fell back to its oldest
/// because it does not know the processor; then the newest ones the processor can run.
std::string preferred_kernels();

} // namespace vyr::bench
