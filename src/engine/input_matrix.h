// A matrix as a program keeps it, and the one form of it that the engine works on.
#pragma once

#include "core/analysis.h"
#include "core/context.h"

#include <cstdint>

namespace vyr {

/// The entries that a symmetric matrix stores.
enum class Triangle : std::int32_t { LOWER = 0, UPPER = 1, BOTH = 2 };

/// Halves are not symmetric when they differ by more than the first share of the larger one and the second
/// share of the geometric mean of the largest magnitudes in the two rows. Programs that add up the halves in
/// different orders leave rounding errors between them; where terms cancel, these are in proportion to the
/// terms, which a finite element gives to the diagonal of both rows, too.
inline constexpr double SYMMETRY_TOLERANCE = 1e-12, CANCELLATION_SHARE = 1e-14;

/// A symmetric matrix in compressed columns or rows, as a program hands it in. Borrows everything; nothing of
/// it is checked. The entries of a column need no order and may repeat: repeats add up.
struct InputMatrix {
    std::int64_t n = 0;
    const void* ptr = nullptr;         ///< n + 1 positions: column j holds entries ptr[j] .. ptr[j + 1] - 1
    const std::int32_t* ind = nullptr; ///< row of each entry
    const double* values = nullptr;    ///< as many as `ind`; null where only the pattern counts
    std::int32_t ptr_bytes = 4;        ///< of each of `ptr`: 4 or 8
    std::int32_t base = 0;             ///< of `ptr` and `ind`: 0 or 1
    Triangle triangle = Triangle::LOWER;
    bool by_rows = false; ///< `ptr` runs over rows, and `ind` holds columns
};

/// The pattern of an input matrix in canonical form: lower triangle by columns, 0-based, every column
/// strictly ascending. Owns its arrays; unchanged once made, any number of threads may read it.
struct CanonicalPattern {
    std::int32_t n = 0;
    std::int32_t n_input = 0; ///< entries the input matrix stores
    Triangle triangle = Triangle::LOWER;
    bool by_rows = false;
    Buffer<std::int32_t> col_ptr; ///< n + 1
    Buffer<std::int32_t> row_ind; ///< col_ptr[n]
    /// n_input: entry k of this pattern for an input entry of the lower triangle, ~k for one above the
    /// diagonal. Empty when each input entry is the one of the same position here.
    Buffer<std::int32_t> place;

    Pattern pattern() const noexcept { return {n, col_ptr.get(), row_ind.get()}; }
};

/// Checks an input matrix and brings its pattern to canonical form. Values are not read.
///
/// refuse_duplicates   repeats are an error
/// canonical           out: fresh; of no use after a failure
///
/// Returns OK or, with the place explained in the context,
///   NULL_MATRIX      ptr or ind is null
///   TYPE             ptr_bytes, base or triangle has no such value
///   EMPTY_MATRIX     n or the number of entries is below 1
///   FACTOR_STORAGE   n or the number of entries is too large for 32-bit positions of both triangles
///   STRUCTURE        pointers not ascending from the base, an index out of range, an entry of the triangle
///                    that is not stored
///   NOT_SYMMETRIC    both triangles are stored, and an entry has no mirror image
///   DUPLICATE, MEMORY
/// Reads no more of `ind` than checked pointers allow. Cost: two passes over a matrix in canonical form, a
/// radix sort of the entries of any other.
[[nodiscard]] Status mf_canonical_pattern(Context& context, const InputMatrix& a, bool refuse_duplicates,
                                          CanonicalPattern& canonical) noexcept;

/// The values in the order of the canonical pattern, repeats added up. Where both triangles are stored, those
/// of the lower one.
///
/// a        the matrix `canonical` was made of, or one of its form with the same entries in the same order;
///          width and base may be others
/// values   out: canonical.col_ptr[n] doubles; of no use after a failure
///
/// Returns OK, NULL_MATRIX, TYPE, HANDLE (another pattern), NAN_VALUE (infinite ones and sums as well),
/// NOT_SYMMETRIC (SYMMETRY_TOLERANCE), or MEMORY; allocates only where both triangles are stored. Cost: two
/// passes over the entries.
[[nodiscard]] Status mf_canonical_values(Context& context, const InputMatrix& a,
                                         const CanonicalPattern& canonical, double* values) noexcept;

} // namespace vyr
