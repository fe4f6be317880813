// The caller's pattern, checked and brought to the one form the analysis works on.
#pragma once

#include "interface/status.h"
#include "memory/buffer.h"

#include <cstdint>

namespace vyr {

/// Lower triangle by columns, every column strictly ascending with row >= column. Borrows the caller's arrays
/// when they already are that; otherwise owns a folded, sorted copy without repeats.
struct InputPattern {
    std::int32_t n = 0;
    const std::int32_t* col_ptr = nullptr; ///< n + 1
    const std::int32_t* row_ind = nullptr; ///< col_ptr[n]
    std::int32_t n_caller_entries = 0;     ///< entries the caller stores
    Buffer<std::int32_t> entry_of;         ///< per caller entry its entry here; empty when they are the same

    Buffer<std::int32_t> own_col_ptr;
    Buffer<std::int32_t> own_row_ind;
};

/// Checks the pointers and rows of a pattern the caller hands in.
///
/// Returns 0, -1 (null array), -2 (n or nnz below 1) or -6 (malformed pointers, row outside 0 .. n-1).
/// Reads col_ptr[0 .. n] and no more of row_ind than the checked pointers allow. Cost: one pass.
[[nodiscard]] Status mf_check_structure(std::int32_t n, const std::int32_t* col_ptr,
                                        const std::int32_t* row_ind) noexcept;

/// Fills `pattern` from a checked pattern. Entries are folded to (larger, smaller) index when they are not in
/// canonical form. False without memory.
[[nodiscard]] bool mf_input_pattern(std::int32_t n, const std::int32_t* col_ptr, const std::int32_t* row_ind,
                                    InputPattern& pattern) noexcept;

} // namespace vyr
