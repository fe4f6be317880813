// Which BLAS stands behind platform/blas.h in this process, and what it needs before its first use.
//
// own_blas.cpp: an OpenBLAS inside the library, which no other one in the process can take the place of.
// shared_blas.cpp: the process's; the first library loaded that defines the names serves everybody.
#pragma once

namespace vyr::blas {

/// One sentence each, or null.
struct Findings {
    const char* refusal = nullptr; ///< the BLAS would give wrong results
    const char* warning = nullptr; ///< it would be slow
};

/// Makes the BLAS ready, and tells what is wrong with it.
[[nodiscard]] Findings examine() noexcept;
/// What examine() said when it was asked for the first time, before any call to the BLAS. Any thread.
[[nodiscard]] const Findings& findings() noexcept;

/// Name of the kernels that the BLAS runs on; "unknown" when it does not tell. Any thread.
[[nodiscard]] const char* kernels_text() noexcept;

/// Restarts the library's own BLAS (own_blas.cpp alone) with the kernels of that name, while no call to it
/// runs.
void restart_kernels(const char* name) noexcept;

} // namespace vyr::blas
