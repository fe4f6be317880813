// The patterns the analysis works on: the caller's, brought to one form, and both triangles of it.
#pragma once

#include "core/analysis.h"
#include "core/context.h"

#include <cstdint>

namespace vyr {

/// The caller's pattern in canonical form: lower triangle by columns, every column strictly ascending with
/// row >= column. Borrows the caller's arrays when they already are that; otherwise owns a folded, sorted
/// copy without repeats.
struct InputPattern {
    Pattern lower{};
    std::int32_t n_caller_entries = 0; ///< entries the caller stores
    Buffer<std::int32_t> entry_of; ///< per caller entry its entry in `lower`; empty when they are the same

    Buffer<std::int32_t> own_col_ptr;
    Buffer<std::int32_t> own_row_ind;
};

/// Both triangles by columns, rows ascending, in the caller's numbering.
struct FullPattern {
    std::int32_t n = 0;
    Buffer<std::int32_t> col_ptr; ///< n + 1
    Buffer<std::int32_t> row_ind; ///< col_ptr[n]
    Buffer<std::int32_t> origin;  ///< per entry, the entry of the input pattern it came from

    Pattern pattern() const noexcept { return {n, col_ptr.get(), row_ind.get()}; }
};

/// Checks the pointers and rows of a pattern the caller hands in; its arrays may be null.
///
/// Returns OK, NULL_MATRIX, EMPTY_MATRIX (n or nnz below 1) or STRUCTURE (malformed pointers, row outside
/// 0 .. n-1). Reads col_ptr[0 .. n] and no more of row_ind than the checked pointers allow. Cost: one pass.
[[nodiscard]] Status mf_check_structure(const Pattern& pattern) noexcept;

/// Fills `input` from a checked pattern, which must outlive it. Entries are folded to (larger, smaller) index
/// when they are not in canonical form. MEMORY without memory. Cost: one pass, or a radix sort of the
/// entries.
[[nodiscard]] Status mf_input_pattern(Context& context, const Pattern& pattern, InputPattern& input) noexcept;

/// Entries of the full pattern of a canonical one: twice the stored ones less the diagonal.
[[nodiscard]] std::int64_t mf_full_entries(const Pattern& lower) noexcept;

/// Builds both triangles from a canonical pattern and records where each entry came from. The entry count
/// must fit 32 bits (mf_full_entries). MEMORY without memory. Cost: two passes over the input.
[[nodiscard]] Status mf_sym_full(Context& context, const Pattern& lower, FullPattern& full) noexcept;

} // namespace vyr
