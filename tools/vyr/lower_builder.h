// A lower triangle from entries in any order.
#pragma once

#include "tools/vyr/size_check.h"

#include <algorithm>
#include <utility>

namespace vyr::tool {

class LowerBuilder {
public:
    /// Room for `entries` additions to a matrix of n equations; both as doubles, in which no product
    /// overflows. Throws std::length_error when they do not fit into 32 bits.
    LowerBuilder(double n, double entries) { reserve_lower(matrix_, n, entries); }

    /// Adds to entry (i, j), of either triangle; an entry added to twice is summed.
    void add(std::int32_t i, std::int32_t j, double value) {
        entries_.push_back({std::min(i, j), std::max(i, j), value});
    }
    /// The matrix of the first n equations, by default of all; the builder is empty afterwards.
    SparseMatrix finish() { return finish(matrix_.n); }
    SparseMatrix finish(std::int32_t n) {
        matrix_.n = n;
        std::ranges::stable_sort(entries_, {}, [](const Entry& e) { return std::pair(e.column, e.row); });
        std::int32_t last_row = -1;
        for (const Entry& entry : entries_) {
            for (; matrix_.col_ptr.size() <= static_cast<std::size_t>(entry.column); last_row = -1)
                matrix_.col_ptr.push_back(matrix_.nnz());
            if (entry.row == last_row) {
                matrix_.values.back() += entry.value;
                continue;
            }
            matrix_.row_ind.push_back(last_row = entry.row);
            matrix_.values.push_back(entry.value);
        }
        matrix_.col_ptr.resize(static_cast<std::size_t>(matrix_.n) + 1, matrix_.nnz());
        return std::move(matrix_);
    }

private:
    struct Entry {
        std::int32_t column, row;
        double value;
    };

    SparseMatrix matrix_;
    std::vector<Entry> entries_;
};

} // namespace vyr::tool
