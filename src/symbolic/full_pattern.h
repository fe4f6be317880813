// The full symmetric pattern: both triangles of the input, by columns.
#pragma once

#include "memory/buffer.h"
#include "symbolic/input_pattern.h"

#include <cstdint>

namespace vyr {

/// Both triangles by columns, rows ascending, in the caller's numbering.
struct FullPattern {
    std::int32_t n = 0;
    Buffer<std::int32_t> col_ptr; ///< n + 1
    Buffer<std::int32_t> row_ind; ///< col_ptr[n]
    Buffer<std::int32_t> origin;  ///< per entry, the entry of the input pattern it came from

    std::int32_t n_entries() const noexcept { return col_ptr[n]; }
};

/// Entries of the full pattern of `input`: twice the stored ones less the diagonal.
[[nodiscard]] std::int64_t mf_full_entries(const InputPattern& input) noexcept;

/// Builds both triangles from the lower one and records where each entry came from. The entry count must fit
/// 32 bits (mf_full_entries). False without memory. Cost: two passes over the input.
[[nodiscard]] bool mf_sym_full(const InputPattern& input, FullPattern& full) noexcept;

} // namespace vyr
