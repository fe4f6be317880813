// What the opaque handle of the public header stands for.
#pragma once

#include "core/factor.h"
#include "vyr.h"

#include <cstdint>

/// One matrix: its analysis and its factor. Listed among the live handles from its making to its end.
struct mf_solver {
    explicit mf_solver(vyr::Accounting& memory) noexcept;
    ~mf_solver();
    mf_solver(const mf_solver&) = delete;
    mf_solver& operator=(const mf_solver&) = delete;

    vyr::Analysis analysis;
    vyr::Factor factor;
    std::uint64_t pattern_hash = 0; ///< of the analysed pattern
    /// Of the last numeric step, HANDLE before the first: explains the pivots, and refuses solves unless OK.
    vyr::Status factor_status = vyr::Status::HANDLE;
    int factor_type = 0; ///< TYPE_ value of that step
    mf_solver* next;     ///< in the list of live handles
};

namespace vyr {

/// The handle itself, or null when it was released or never was one. What it points to is read only when it
/// is live. An address that VYR_symbol_ld has handed out anew is live again. Cost: one look at every handle.
[[nodiscard]] mf_solver* live_handle(VYR_handle handle) noexcept;

/// Checksum of a checked pattern; the entries' order counts, as the places of the values depend on it.
[[nodiscard]] std::uint64_t pattern_hash(const Pattern& pattern) noexcept;

} // namespace vyr
