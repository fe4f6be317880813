#include "symbolic/input_pattern.h"

#include <algorithm>

namespace vyr {

Status mf_check_structure(std::int32_t n, const std::int32_t* col_ptr, const std::int32_t* row_ind) noexcept {
    if (col_ptr == nullptr || row_ind == nullptr) return VYR_ERR_NULL_MATRIX;
    if (n < 1 || col_ptr[n] < 1) return VYR_ERR_EMPTY_MATRIX;
    if (col_ptr[0] != 0) return VYR_ERR_STRUCTURE;
    for (std::int32_t j = 0; j < n; ++j)
        if (col_ptr[j + 1] < col_ptr[j]) return VYR_ERR_STRUCTURE;
    for (std::int32_t e = 0; e < col_ptr[n]; ++e)
        if (row_ind[e] < 0 || row_ind[e] >= n) return VYR_ERR_STRUCTURE;
    return VYR_OK;
}

namespace {

bool is_canonical(std::int32_t n, const std::int32_t* col_ptr, const std::int32_t* row_ind) noexcept {
    for (std::int32_t j = 0; j < n; ++j) {
        std::int32_t previous = j - 1;
        for (std::int32_t e = col_ptr[j]; e < col_ptr[j + 1]; ++e) {
            if (row_ind[e] <= previous) return false;
            previous = row_ind[e];
        }
    }
    return true;
}

/// One step of a radix sort: lists the entries of `order` by ascending key, equal keys in their old order.
/// `start` has n + 1 places.
template <typename Key>
void sort_by(std::int32_t n, std::int32_t n_entries, Key key, const std::int32_t* order, std::int32_t* start,
             std::int32_t* sorted) noexcept {
    std::fill(start, start + n + 1, 0);
    for (std::int32_t e = 0; e < n_entries; ++e) ++start[key(e) + 1];
    for (std::int32_t k = 0; k < n; ++k) start[k + 1] += start[k];
    for (std::int32_t e = 0; e < n_entries; ++e) {
        const std::int32_t entry = order == nullptr ? e : order[e];
        sorted[start[key(entry)]++] = entry;
    }
}

/// Folds every entry to (larger, smaller) index, sorts by column and row and drops repeats.
bool canonicalise(InputPattern& pattern) noexcept {
    const std::int32_t n = pattern.n;
    const std::int32_t n_entries = pattern.n_caller_entries;
    const std::int32_t* row_ind = pattern.row_ind;
    Buffer<std::int32_t> caller_column(n_entries), by_row(n_entries), by_column(n_entries),
        start(std::int64_t{n} + 1);
    pattern.own_col_ptr = Buffer<std::int32_t>(std::int64_t{n} + 1);
    pattern.own_row_ind = Buffer<std::int32_t>(n_entries);
    pattern.entry_of = Buffer<std::int32_t>(n_entries);
    if (!caller_column || !by_row || !by_column || !start || !pattern.own_col_ptr || !pattern.own_row_ind ||
        !pattern.entry_of)
        return false;

    for (std::int32_t j = 0; j < n; ++j)
        for (std::int32_t e = pattern.col_ptr[j]; e < pattern.col_ptr[j + 1]; ++e) caller_column[e] = j;
    const auto row_of = [&](std::int32_t e) { return std::max(row_ind[e], caller_column[e]); };
    const auto column_of = [&](std::int32_t e) { return std::min(row_ind[e], caller_column[e]); };
    sort_by(n, n_entries, row_of, nullptr, start.get(), by_row.get());
    sort_by(n, n_entries, column_of, by_row.get(), start.get(), by_column.get());

    std::int32_t count = 0;
    std::int32_t column = -1;
    for (std::int32_t k = 0; k < n_entries; ++k) {
        const std::int32_t e = by_column[k];
        const bool new_column = column_of(e) != column;
        while (column < column_of(e)) pattern.own_col_ptr[++column] = count;
        if (new_column || pattern.own_row_ind[count - 1] != row_of(e))
            pattern.own_row_ind[count++] = row_of(e);
        pattern.entry_of[e] = count - 1;
    }
    while (column < n) pattern.own_col_ptr[++column] = count;
    pattern.col_ptr = pattern.own_col_ptr.get();
    pattern.row_ind = pattern.own_row_ind.get();
    return true;
}

} // namespace

bool mf_input_pattern(std::int32_t n, const std::int32_t* col_ptr, const std::int32_t* row_ind,
                      InputPattern& pattern) noexcept {
    pattern.n = n;
    pattern.col_ptr = col_ptr;
    pattern.row_ind = row_ind;
    pattern.n_caller_entries = col_ptr[n];
    return is_canonical(n, col_ptr, row_ind) || canonicalise(pattern);
}

} // namespace vyr
