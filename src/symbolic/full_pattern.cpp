#include "symbolic/full_pattern.h"

namespace vyr {

std::int64_t mf_full_entries(const InputPattern& input) noexcept {
    std::int64_t n_diagonal = 0;
    for (std::int32_t j = 0; j < input.n; ++j) {
        const std::int32_t first = input.col_ptr[j];
        if (first < input.col_ptr[j + 1] && input.row_ind[first] == j) ++n_diagonal;
    }
    return 2 * std::int64_t{input.col_ptr[input.n]} - n_diagonal;
}

// Column j of the result receives the mirrored entries of columns before j, in the order of those columns,
// and then its own entries: both ascending, so every column comes out sorted.
bool mf_sym_full(const InputPattern& input, FullPattern& full) noexcept {
    const std::int32_t n = input.n;
    full.n = n;
    full.col_ptr = Buffer<std::int32_t>(std::int64_t{n} + 1, 0);
    if (!full.col_ptr) return false;
    std::int32_t* col_ptr = full.col_ptr.get();
    for (std::int32_t j = 0; j < n; ++j) {
        for (std::int32_t e = input.col_ptr[j]; e < input.col_ptr[j + 1]; ++e) {
            ++col_ptr[j + 1];
            if (input.row_ind[e] != j) ++col_ptr[input.row_ind[e] + 1];
        }
    }
    for (std::int32_t j = 0; j < n; ++j) col_ptr[j + 1] += col_ptr[j];

    full.row_ind = Buffer<std::int32_t>(col_ptr[n]);
    full.origin = Buffer<std::int32_t>(col_ptr[n]);
    Buffer<std::int32_t> next(n);
    if (!full.row_ind || !full.origin || !next) return false;
    for (std::int32_t j = 0; j < n; ++j) next[j] = col_ptr[j];
    const auto append = [&](std::int32_t column, std::int32_t row, std::int32_t entry) {
        const std::int32_t place = next[column]++;
        full.row_ind[place] = row;
        full.origin[place] = entry;
    };
    for (std::int32_t j = 0; j < n; ++j) {
        for (std::int32_t e = input.col_ptr[j]; e < input.col_ptr[j + 1]; ++e) {
            const std::int32_t i = input.row_ind[e];
            if (i != j) append(i, j, e);
            append(j, i, e);
        }
    }
    return true;
}

} // namespace vyr
