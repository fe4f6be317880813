// Which OpenBLAS a process runs on.
#pragma once

#include <string>

namespace vyr::bench {

/// Name of the kernels in use, such as "Haswell".
std::string blas_kernels();

/// The kernels that serve this processor best when OpenBLAS runs on `blas_kernels`: the same, but for the
/// fallback those of its widest vectors.
std::string better_kernels(const std::string& blas_kernels);

/// Empty when exactly one OpenBLAS is loaded, no other BLAS, and it is the OpenMP build; else what is wrong.
std::string blas_problem();

} // namespace vyr::bench
