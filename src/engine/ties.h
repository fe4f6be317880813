// Partners for the equations with a weak diagonal entry.
#pragma once

#include "core/analysis.h"
#include "core/context.h"

#include <cstdint>

namespace vyr {

/// Both triangles of a matrix without its diagonal, magnitudes of the values, and the ties between equations.
class Ties {
public:
    /// Ties each weak equation to the most fitting partner. Equations with few neighbours choose first: they
    /// have the least choice.
    ///
    /// a        lower triangle with values, rows strictly ascending within a column; read here only
    /// n_weak   the first so many equations are weak
    ///
    /// Returns OK or MEMORY.
    [[nodiscard]] Status find(Context& context, const Matrix& a, std::int32_t n_weak) noexcept;

    /// The pattern in which tied equations share their rows: lower triangle, ascending, diagonal included.
    ///
    /// col_ptr, row_ind   out: n + 1 and col_ptr[n], made here
    ///
    /// Returns OK, MEMORY, or FACTOR_STORAGE when the pattern would outgrow 32-bit positions.
    [[nodiscard]] Status pattern(Context& context, Buffer<std::int32_t>& col_ptr,
                                 Buffer<std::int32_t>& row_ind) noexcept;

private:
    [[nodiscard]] Status mirror(Context& context, const Matrix& a) noexcept;
    std::int64_t degree(std::int32_t j) const noexcept { return start_[j + 1] - start_[j]; }
    bool weak(std::int32_t j) const noexcept { return j < n_weak_; }
    bool free(std::int32_t j) const noexcept { return next_[j] == j; }
    std::int32_t best_free(std::int32_t c) const noexcept;
    void take_over(std::int32_t c) noexcept;
    void lead_with_strong(std::int32_t c) noexcept;
    void tie(std::int32_t c, std::int32_t p) noexcept {
        next_[c] = p;
        next_[p] = c;
    }
    template <typename Visit>
    void for_each_tied(std::int32_t j, Visit visit) const noexcept;
    template <typename Visit>
    void for_each_row(std::int32_t j, Visit visit) noexcept;

    std::int32_t n_ = 0;
    std::int32_t n_weak_ = 0;
    Buffer<std::int64_t> start_; ///< n + 1 positions in the lists of neighbours
    Buffer<std::int32_t> neighbour_;
    Buffer<double> weight_;     ///< per neighbour the magnitude of the entry
    Buffer<double> largest_;    ///< n: largest weight of each equation
    Buffer<std::int32_t> next_; ///< n: tied equations form a ring; a free one is its own successor
    Buffer<std::int32_t> mark_; ///< n: last column that got this row
};

} // namespace vyr
