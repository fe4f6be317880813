// The update kernel: a product of two blocks, subtracted from where its entries belong straight from the
// registers, by loops of one instruction set.
//
// The rows of the left operand are packed once and then serve any number of products; the right operand is
// read as it lies.
#pragma once

#include "platform/instruction_set.h"

#include <cstdint>

namespace vyr {

/// target[rows[i], places[j]] -= sum over k of left(k, i) * right(k, j), for i < n_rows, j < n_columns.
struct Product {
    std::int32_t depth;     ///< range of k; best at most tuning::PRODUCT_DEPTH
    std::int32_t n_rows;    ///< of the target
    std::int32_t n_columns; ///< of the target
    const double* left;     ///< what ProductKernel::pack made of `depth` by `n_rows` entries
    const double* right;    ///< entry (k, j) at right[k + j * ld_right]
    std::int64_t ld_right;  ///< doubles
    std::int32_t
        first_limit;        ///< column j of the target gets rows 0 .. first_limit + j at most: of a triangle
    double* target;         ///< entry (i, j) at target[rows[i] + places[j] * ld_target]
    std::int64_t ld_target; ///< doubles
    const std::int32_t* rows; ///< n_rows, ascending; `first_row` is taken off each
    std::int32_t first_row;
    const std::int32_t* places; ///< n_columns
};

/// One build of the kernel. Allocates nothing; any number of threads may share it and what it packed.
struct ProductKernel {
    /// Doubles of `n_rows` packed rows a unit of depth: n_rows rounded up to whole vectors.
    std::int32_t lanes;
    std::int32_t padded(std::int32_t n_rows) const noexcept { return (n_rows + lanes - 1) / lanes * lanes; }

    /// Packs the block whose entry (k, i) is block[k + i * ld], k < depth, i < n_rows, into
    /// padded(n_rows) * depth doubles.
    void (*pack)(std::int32_t depth, std::int32_t n_rows, const double* block, std::int64_t ld,
                 double* packed) noexcept;

    /// Two products at a time must not share a place of the target.
    void (*subtract)(const Product& product) noexcept;

    /// w := -C^T C, upper triangle, for the n columns of depth `depth` that lie at c and, packed, at `left`.
    /// w: padded(n) by n, leading dimension padded(n); what is below the diagonal may be overwritten.
    void (*form)(std::int32_t depth, std::int32_t n, const double* left, const double* c, std::int64_t ld,
                 double* w) noexcept;
};

/// The kernel of an instruction set, which the processor must have.
[[nodiscard]] const ProductKernel& mf_product_kernel(InstructionSet instructions) noexcept;

} // namespace vyr
