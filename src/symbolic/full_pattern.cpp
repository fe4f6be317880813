#include "symbolic/pattern.h"

namespace vyr {

std::int64_t mf_full_entries(const Pattern& lower) noexcept {
    std::int64_t n_diagonal = 0;
    for (std::int32_t j = 0; j < lower.n; ++j) {
        const std::int32_t first = lower.col_ptr[j];
        if (first < lower.col_ptr[j + 1] && lower.row_ind[first] == j) ++n_diagonal;
    }
    return 2 * std::int64_t{lower.col_ptr[lower.n]} - n_diagonal;
}

// Column j of the result receives the mirrored entries of columns before j, in the order of those columns,
// and then its own entries: both ascending, so every column comes out sorted.
Status mf_sym_full(Context& context, const Pattern& lower, FullPattern& full) noexcept {
    const std::int32_t n = lower.n;
    full.n = n;
    full.col_ptr = Buffer<std::int32_t>(context.memory, std::int64_t{n} + 1, 0);
    if (!full.col_ptr) return out_of_memory(context);
    std::int32_t* col_ptr = full.col_ptr.get();
    for (std::int32_t j = 0; j < n; ++j) {
        for (std::int32_t e = lower.col_ptr[j]; e < lower.col_ptr[j + 1]; ++e) {
            ++col_ptr[j + 1];
            if (lower.row_ind[e] != j) ++col_ptr[lower.row_ind[e] + 1];
        }
    }
    for (std::int32_t j = 0; j < n; ++j) col_ptr[j + 1] += col_ptr[j];

    full.row_ind = Buffer<std::int32_t>(context.memory, col_ptr[n]);
    full.origin = Buffer<std::int32_t>(context.memory, col_ptr[n]);
    Buffer<std::int32_t> next(context.memory, n);
    if (!full.row_ind || !full.origin || !next) return out_of_memory(context);
    for (std::int32_t j = 0; j < n; ++j) next[j] = col_ptr[j];
    const auto append = [&](std::int32_t column, std::int32_t row, std::int32_t entry) {
        const std::int32_t place = next[column]++;
        full.row_ind[place] = row;
        full.origin[place] = entry;
    };
    for (std::int32_t j = 0; j < n; ++j) {
        for (std::int32_t e = lower.col_ptr[j]; e < lower.col_ptr[j + 1]; ++e) {
            const std::int32_t i = lower.row_ind[e];
            if (i != j) append(i, j, e);
            append(j, i, e);
        }
    }
    return Status::OK;
}

} // namespace vyr
