// `vyr solve --out-of-core`: the factor goes to files in a directory, and memory may be limited.
#pragma once

#include "symbolic/solver.h"
#include "vyr.h"

#include <cstdint>
#include <filesystem>
#include <string>

namespace vyr::tool {

/// What the user asked for.
struct OutOfCore {
    std::string directory;         ///< for the factor files; empty: the factor stays in memory
    double memory_limit_bytes = 0; ///< of the whole process; 0: what the machine has

    explicit operator bool() const { return !directory.empty(); }
};

/// What came of it.
struct FileUse {
    bool asked = false;
    std::int32_t n_files = 0;
    double bytes = 0;             ///< in all files
    double seconds_written = 0;   ///< spent writing them, last factorization
    double least_limit_bytes = 0; ///< when the limit was too small: one that should do
    bool unwritable = false;      ///< a file could not be written
};

/// One run: while it lives the directory is the current one and the core mode out of core. For a user who
/// asked for neither it stands aside.
class OutOfCoreRun {
public:
    /// After VYR_init_ld, which puts the in-core mode in force.
    explicit OutOfCoreRun(const OutOfCore& wanted);
    ~OutOfCoreRun();
    OutOfCoreRun(const OutOfCoreRun&) = delete;
    OutOfCoreRun& operator=(const OutOfCoreRun&) = delete;

    bool active() const { return active_; }

    /// VYR_symbol_ld. Under a limit, whole subtrees at a time would hold all the blocks above them at once: a
    /// tree is then walked as one task, and only its large fronts use several threads; several large trees
    /// are walked one after the other by one thread. Shares the limit between the blocks of the factor and
    /// all the rest, which depends on the `type` that will factorise.
    VYR_handle analyse(std::int32_t n, const int* col_ptr, const int* row_ind, int type);

    /// Figures of the factorization that has just ended with `status`.
    FileUse use(const mf_solver& solver, int status) const;

private:
    bool active_;
    double limit_bytes_;
    double bytes_beside_blocks_ = 0;
    std::filesystem::path home_;
};

} // namespace vyr::tool
