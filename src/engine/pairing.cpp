#include "engine/pairing.h"

#include "engine/ties.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vyr {

namespace {

/// The given matrix in the new numbering.
struct Renumbered {
    Buffer<std::int32_t> col_ptr, row_ind;
    Buffer<double> values;
    Buffer<std::int32_t> source; ///< per entry its position in the given matrix
};

/// The new order: weak equations first. `n_weak` gets their number.
Status order_weak_first(Context& context, const Matrix& a, Buffer<std::int32_t>& order,
                        std::int32_t& n_weak) noexcept {
    auto diagonal = Buffer<double>::zeroed(context.memory, a.n);
    auto largest = Buffer<double>::zeroed(context.memory, a.n);
    order = Buffer<std::int32_t>(context.memory, a.n);
    if (!diagonal || !largest || !order) return out_of_memory(context);
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t k = a.col_ptr[j]; k < a.col_ptr[j + 1]; ++k) {
            const std::int32_t i = a.row_ind[k];
            const double magnitude = std::fabs(a.values[k]);
            if (i == j) {
                diagonal[j] = magnitude;
            } else {
                largest[i] = std::max(largest[i], magnitude);
                largest[j] = std::max(largest[j], magnitude);
            }
        }
    const auto weak = [&](std::int32_t j) {
        return largest[j] > 0.0 && diagonal[j] <= WEAK_DIAGONAL * largest[j];
    };
    std::int32_t n_ordered = 0;
    for (std::int32_t j = 0; j < a.n; ++j)
        if (weak(j)) order[n_ordered++] = j;
    n_weak = n_ordered;
    for (std::int32_t j = 0; j < a.n; ++j)
        if (!weak(j)) order[n_ordered++] = j;
    return Status::OK;
}

/// Sorts by rows first and then, keeping that order, by columns, each time by counting.
Status renumber(Context& context, const Matrix& a, const std::int32_t* order, Renumbered& b) noexcept {
    const std::int32_t n = a.n, nnz = a.col_ptr[n];
    Accounting& memory = context.memory;
    Buffer<std::int32_t> number(memory, n), by_row(memory, nnz), column(memory, nnz), row(memory, nnz);
    // Counted one place ahead: filling moves each start on to the next one.
    auto row_start = Buffer<std::int32_t>::zeroed(memory, std::int64_t{n} + 1);
    auto column_start = Buffer<std::int32_t>::zeroed(memory, std::int64_t{n} + 1);
    b.col_ptr = Buffer<std::int32_t>(memory, std::int64_t{n} + 1);
    b.row_ind = Buffer<std::int32_t>(memory, nnz);
    b.values = Buffer<double>(memory, nnz);
    b.source = Buffer<std::int32_t>(memory, nnz);
    if (!number || !by_row || !column || !row || !row_start || !column_start || !b.col_ptr || !b.row_ind ||
        !b.values || !b.source)
        return out_of_memory(context);
    for (std::int32_t k = 0; k < n; ++k) number[order[k]] = k;
    for (std::int32_t j = 0; j < n; ++j)
        for (std::int32_t k = a.col_ptr[j]; k < a.col_ptr[j + 1]; ++k) {
            const std::int32_t i = number[a.row_ind[k]];
            column[k] = std::min(i, number[j]);
            row[k] = std::max(i, number[j]);
            ++column_start[column[k] + 1];
            ++row_start[row[k] + 1];
        }
    for (std::int32_t j = 0; j < n; ++j) {
        column_start[j + 1] += column_start[j];
        row_start[j + 1] += row_start[j];
    }
    std::copy_n(column_start.get(), std::int64_t{n} + 1, b.col_ptr.get());
    for (std::int32_t k = 0; k < nnz; ++k) by_row[row_start[row[k]]++] = k;
    for (std::int32_t l = 0; l < nnz; ++l) {
        const std::int32_t k = by_row[l], entry = column_start[column[k]]++;
        b.row_ind[entry] = row[k];
        b.values[entry] = a.values[k];
        b.source[entry] = k;
    }
    return Status::OK;
}

/// Looks each entry of b up in the paired pattern, which has them all.
Status find_places(Context& context, std::int32_t n, const Renumbered& b, Pairing& pairing) noexcept {
    pairing.place = Buffer<std::int32_t>(context.memory, b.source.count());
    if (!pairing.place) return out_of_memory(context);
    for (std::int32_t j = 0; j < n; ++j) {
        std::int32_t entry = pairing.col_ptr[j];
        for (std::int32_t k = b.col_ptr[j]; k < b.col_ptr[j + 1]; ++k) {
            while (pairing.row_ind[entry] < b.row_ind[k]) ++entry;
            pairing.place[b.source[k]] = entry;
        }
    }
    return Status::OK;
}

} // namespace

Status mf_pair_weak_diagonals(Context& context, const Matrix& a, Pairing& pairing) noexcept {
    Pairing made;
    std::int32_t n_weak = 0;
    Status status = order_weak_first(context, a, made.order, n_weak);
    if (status != Status::OK || n_weak == 0) return status;
    Renumbered b;
    status = renumber(context, a, made.order.get(), b);
    if (status != Status::OK) return status;
    {
        Ties ties; // released before the places are made
        status = ties.find(context, {{a.n, b.col_ptr.get(), b.row_ind.get()}, b.values.get()}, n_weak);
        if (status == Status::OK) status = ties.pattern(context, made.col_ptr, made.row_ind);
    }
    if (status == Status::OK) status = find_places(context, a.n, b, made);
    if (status != Status::OK) return status;
    made.ties = true;
    pairing = std::move(made);
    return Status::OK;
}

void mf_paired_values(const Pairing& pairing, const double* values, std::int32_t nnz,
                      double* paired_values) noexcept {
    std::fill_n(paired_values, pairing.row_ind.count(), 0.0);
    for (std::int32_t k = 0; k < nnz; ++k) paired_values[pairing.place[k]] = values[k];
}

} // namespace vyr
