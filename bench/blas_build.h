// Which OpenBLAS a process runs on.
#pragma once

#include <string>

namespace vyr::bench {

/// Name of the kernels in use, such as "Haswell".
std::string blas_kernels();

/// Empty when exactly one OpenBLAS is loaded, no other BLAS, and it is the OpenMP build; else what is wrong.
std::string blas_problem();

} // namespace vyr::bench
