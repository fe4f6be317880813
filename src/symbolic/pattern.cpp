#include "symbolic/pattern.h"

#include <algorithm>

namespace vyr {

Status mf_check_structure(const Pattern& pattern) noexcept {
    const auto [n, col_ptr, row_ind] = pattern;
    if (col_ptr == nullptr || row_ind == nullptr) return Status::NULL_MATRIX;
    if (n < 1 || col_ptr[n] < 1) return Status::EMPTY_MATRIX;
    if (col_ptr[0] != 0) return Status::STRUCTURE;
    for (std::int32_t j = 0; j < n; ++j)
        if (col_ptr[j + 1] < col_ptr[j]) return Status::STRUCTURE;
    for (std::int32_t e = 0; e < col_ptr[n]; ++e)
        if (row_ind[e] < 0 || row_ind[e] >= n) return Status::STRUCTURE;
    return Status::OK;
}

namespace {

bool is_canonical(const Pattern& pattern) noexcept {
    const auto [n, col_ptr, row_ind] = pattern;
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
Status canonicalise(Context& context, const Pattern& pattern, InputPattern& input) noexcept {
    const std::int32_t n = pattern.n;
    const std::int32_t n_entries = input.n_caller_entries;
    const std::int32_t* row_ind = pattern.row_ind;
    Buffer<std::int32_t> caller_column(context.memory, n_entries), by_row(context.memory, n_entries),
        by_column(context.memory, n_entries), start(context.memory, std::int64_t{n} + 1);
    input.own_col_ptr = Buffer<std::int32_t>(context.memory, std::int64_t{n} + 1);
    input.own_row_ind = Buffer<std::int32_t>(context.memory, n_entries);
    input.entry_of = Buffer<std::int32_t>(context.memory, n_entries);
    if (!caller_column || !by_row || !by_column || !start || !input.own_col_ptr || !input.own_row_ind ||
        !input.entry_of)
        return out_of_memory(context);

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
        while (column < column_of(e)) input.own_col_ptr[++column] = count;
        if (new_column || input.own_row_ind[count - 1] != row_of(e)) input.own_row_ind[count++] = row_of(e);
        input.entry_of[e] = count - 1;
    }
    while (column < n) input.own_col_ptr[++column] = count;
    input.lower = {n, input.own_col_ptr.get(), input.own_row_ind.get()};
    return Status::OK;
}

} // namespace

Status mf_input_pattern(Context& context, const Pattern& pattern, InputPattern& input) noexcept {
    input.lower = pattern;
    input.n_caller_entries = pattern.col_ptr[pattern.n];
    return is_canonical(pattern) ? Status::OK : canonicalise(context, pattern, input);
}

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
