#include "engine/input_matrix.h"

#include "core/finite.h"
#include "symbolic/pattern.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <utility>

namespace vyr {

namespace {

/// Most entries of one triangle: with their mirror images they must fit 32-bit positions.
constexpr std::int64_t MOST_OF_A_TRIANGLE = std::int64_t{1} << 30;

/// Position j of the pointers, base included: a difference could overflow before the pointers are checked.
std::int64_t position(const InputMatrix& a, std::int64_t j) noexcept {
    return a.ptr_bytes == 8 ? static_cast<const std::int64_t*>(a.ptr)[j]
                            : static_cast<const std::int32_t*>(a.ptr)[j];
}

/// Index of entry e, 0-based, perhaps out of range.
std::int64_t index(const InputMatrix& a, std::int64_t e) noexcept {
    return std::int64_t{a.ind[e]} - a.base;
}

/// True for entry (i, j), index i of column or row j, above the diagonal.
bool is_above(const InputMatrix& a, std::int64_t i, std::int64_t j) noexcept {
    return a.by_rows ? i > j : i < j;
}

const char* line_name(const InputMatrix& a) noexcept {
    return a.by_rows ? "row" : "column";
}

/// Names entry e, whose column has checked pointers, counting from 1: "entry 3 of column 5, row 12, ...".
Status fail_at(Context& context, Status status, const InputMatrix& a, std::int64_t e,
               const char* what) noexcept {
    std::int64_t j = 0;
    while (position(a, j + 1) - a.base <= e) ++j;
    return fail(context, status, "entry %" PRId64 " of %s %" PRId64 ", %s %" PRId64 ", %s",
                e + 1 - (position(a, j) - a.base), line_name(a), j + 1, a.by_rows ? "column" : "row",
                index(a, e) + 1, what);
}

Status check_arguments(Context& context, const InputMatrix& a) noexcept {
    if (a.ptr == nullptr) return fail(context, Status::NULL_MATRIX, "the pointers of the matrix are null");
    if (a.ind == nullptr) return fail(context, Status::NULL_MATRIX, "the indices of the matrix are null");
    if (a.ptr_bytes != 4 && a.ptr_bytes != 8)
        return fail(context, Status::TYPE, "pointers of %d bytes: 4 and 8 are served", a.ptr_bytes);
    if (a.base != 0 && a.base != 1) return fail(context, Status::TYPE, "base %d: 0 and 1 are served", a.base);
    if (a.triangle < Triangle::LOWER || a.triangle > Triangle::BOTH)
        return fail(context, Status::TYPE, "triangle %d: 0, 1 and 2 are served",
                    static_cast<std::int32_t>(a.triangle));
    return Status::OK;
}

Status check_pointers(Context& context, const InputMatrix& a) noexcept {
    if (a.n < 1) return fail(context, Status::EMPTY_MATRIX, "the order of the matrix is %" PRId64, a.n);
    if (a.n > INT32_MAX - 1)
        return fail(context, Status::FACTOR_STORAGE, "a matrix of order %" PRId64 " is too large", a.n);
    if (position(a, 0) != a.base)
        return fail(context, Status::STRUCTURE, "the pointers start at %" PRId64 ", not at the base %d",
                    position(a, 0), a.base);
    for (std::int64_t j = 0; j < a.n; ++j)
        if (position(a, j + 1) < position(a, j))
            return fail(context, Status::STRUCTURE, "the pointers descend behind %s %" PRId64, line_name(a),
                        j + 1);
    const std::int64_t n_input = position(a, a.n) - a.base;
    if (n_input < 1) return fail(context, Status::EMPTY_MATRIX, "the matrix has no entries");
    if (n_input > (a.triangle == Triangle::BOTH ? INT32_MAX : MOST_OF_A_TRIANGLE))
        return fail(context, Status::FACTOR_STORAGE, "a matrix of %" PRId64 " entries is too large", n_input);
    return Status::OK;
}

/// The pattern as it is stored, but 0-based and in 32 bits.
Status copy_pattern(Context& context, const InputMatrix& a, CanonicalPattern& copy) noexcept {
    copy.n = static_cast<std::int32_t>(a.n);
    copy.n_input = static_cast<std::int32_t>(position(a, a.n) - a.base);
    copy.triangle = a.triangle;
    copy.by_rows = a.by_rows;
    copy.col_ptr = Buffer<std::int32_t>(context.memory, a.n + 1);
    copy.row_ind = Buffer<std::int32_t>(context.memory, copy.n_input);
    if (!copy.col_ptr || !copy.row_ind) return out_of_memory(context);

    copy.col_ptr[0] = 0;
    for (std::int32_t j = 0; j < copy.n; ++j) {
        copy.col_ptr[j + 1] = static_cast<std::int32_t>(position(a, j + 1) - a.base);
        for (std::int32_t e = copy.col_ptr[j]; e < copy.col_ptr[j + 1]; ++e) {
            const std::int64_t i = index(a, e);
            if (i < 0 || i >= a.n) return fail_at(context, Status::STRUCTURE, a, e, "is outside the matrix");
            if (i != j && a.triangle != Triangle::BOTH &&
                is_above(a, i, j) != (a.triangle == Triangle::UPPER))
                return fail_at(context, Status::STRUCTURE, a, e, "is in the triangle that is not stored");
            copy.row_ind[e] = static_cast<std::int32_t>(i);
        }
    }
    return Status::OK;
}

Status fold(Context& context, CanonicalPattern& canonical) noexcept {
    InputPattern folded;
    const Status status = mf_input_pattern(context, canonical.pattern(), folded);
    if (status != Status::OK || !folded.entry_of) return status;
    canonical.col_ptr = std::move(folded.own_col_ptr);
    canonical.row_ind = std::move(folded.own_row_ind);
    canonical.place = std::move(folded.entry_of);
    return Status::OK;
}

/// Marks the places of entries above the diagonal; looks for repeats and for entries without mirror image.
Status tell_halves_apart(Context& context, const InputMatrix& a, bool refuse_duplicates,
                         CanonicalPattern& canonical) noexcept {
    if (a.triangle != Triangle::BOTH && !canonical.place) return Status::OK; // ascending: nothing twice
    constexpr std::uint8_t BELOW = 1, ABOVE = 2;
    auto seen = Buffer<std::uint8_t>::zeroed(context.memory, canonical.col_ptr[canonical.n]);
    if (!seen) return out_of_memory(context);
    std::int64_t j = 0;
    for (std::int32_t e = 0; e < canonical.n_input; ++e) {
        while (position(a, j + 1) - a.base <= e) ++j;
        const bool above = is_above(a, index(a, e), j);
        const std::uint8_t half = above ? ABOVE : BELOW;
        const std::int32_t k = canonical.place ? canonical.place[e] : e;
        if (refuse_duplicates && (seen[k] & half) != 0)
            return fail_at(context, Status::DUPLICATE, a, e, "is stored twice");
        seen[k] |= half;
        if (above && canonical.place) canonical.place[e] = ~k;
    }
    if (a.triangle != Triangle::BOTH) return Status::OK;

    for (std::int32_t column = 0; column < canonical.n; ++column)
        for (std::int32_t k = canonical.col_ptr[column]; k < canonical.col_ptr[column + 1]; ++k) {
            const std::int32_t row = canonical.row_ind[k];
            if (row != column && seen[k] != (BELOW | ABOVE))
                return fail(context, Status::NOT_SYMMETRIC,
                            "of both triangles only the %s one has the entry at %d, %d",
                            seen[k] == BELOW ? "lower" : "upper", row + 1, column + 1);
        }
    return Status::OK;
}

/// True when the matrix is stored as the canonical pattern is: entry by entry, each in its place.
bool is_canonical(const InputMatrix& a, const CanonicalPattern& canonical) noexcept {
    if (canonical.place || a.n != canonical.n || a.triangle != canonical.triangle ||
        a.by_rows != canonical.by_rows)
        return false;
    bool same = true;
    for (std::int32_t j = 0; j <= canonical.n; ++j)
        same &= position(a, j) == std::int64_t{canonical.col_ptr[j]} + a.base;
    if (!same) return false;
    for (std::int32_t e = 0; e < canonical.n_input; ++e) same &= a.ind[e] == canonical.row_ind[e] + a.base;
    return same;
}

/// True when entry e of column j, which is (i, j), is the entry that was analysed.
bool is_entry(const InputMatrix& a, const CanonicalPattern& canonical, std::int32_t e,
              std::int32_t j) noexcept {
    const std::int64_t i = index(a, e);
    if (i < 0 || i >= canonical.n) return false;
    std::int32_t k = e;
    if (canonical.place) {
        k = canonical.place[e];
        if ((k < 0) != is_above(a, i, j)) return false;
        if (k < 0) k = ~k;
    } else if (i < j) {
        return false;
    }
    const std::int32_t column = std::min(static_cast<std::int32_t>(i), j);
    return k >= canonical.col_ptr[column] && k < canonical.col_ptr[column + 1] &&
           canonical.row_ind[k] == std::max(static_cast<std::int32_t>(i), j);
}

Status check_same_pattern(Context& context, const InputMatrix& a,
                          const CanonicalPattern& canonical) noexcept {
    const auto another = [&] {
        return fail(context, Status::HANDLE, "another pattern than the analysed one");
    };
    if (a.n != canonical.n || a.triangle != canonical.triangle || a.by_rows != canonical.by_rows)
        return another();
    if (position(a, 0) != a.base || position(a, a.n) != std::int64_t{canonical.n_input} + a.base)
        return another();
    std::int32_t e = 0;
    for (std::int32_t j = 0; j < canonical.n; ++j) {
        const std::int64_t end = position(a, j + 1);
        if (end < position(a, j) || end > position(a, a.n)) return another();
        for (; e < end - a.base; ++e)
            if (!is_entry(a, canonical, e, j))
                return fail_at(context, Status::HANDLE, a, e, "is of another pattern than the analysed one");
    }
    return Status::OK;
}

/// Adds the entries below the diagonal, and those on it, into `below`, the others into `above`, which is the
/// same array unless both triangles are stored.
Status add_values(Context& context, const InputMatrix& a, const CanonicalPattern& canonical, double* below,
                  double* above) noexcept {
    for (std::int32_t e = 0; e < canonical.n_input; ++e) {
        const double value = a.values[e];
        if (!std::isfinite(value)) return fail_at(context, Status::NAN_VALUE, a, e, "is not finite");
        const std::int32_t k = canonical.place ? canonical.place[e] : e;
        if (k >= 0)
            below[k] += value;
        else
            above[~k] += value;
    }
    return Status::OK;
}

/// Checks that sums of entries are finite.
Status check_sums(Context& context, const CanonicalPattern& canonical, const double* sums) noexcept {
    for (std::int32_t j = 0; j < canonical.n; ++j)
        for (std::int32_t k = canonical.col_ptr[j]; k < canonical.col_ptr[j + 1]; ++k)
            if (!std::isfinite(sums[k]))
                return fail(context, Status::NAN_VALUE, "the entries at %d, %d add up beyond all bounds",
                            canonical.row_ind[k] + 1, j + 1);
    return Status::OK;
}

/// Checks that the sums below the diagonal agree with those of their mirror images.
Status check_halves(Context& context, const CanonicalPattern& canonical, const double* below,
                    const double* above) noexcept {
    auto largest = Buffer<double>::zeroed(context.memory, canonical.n); // magnitude in each row
    if (!largest) return out_of_memory(context);
    for (std::int32_t j = 0; j < canonical.n; ++j)
        for (std::int32_t k = canonical.col_ptr[j]; k < canonical.col_ptr[j + 1]; ++k)
            for (const std::int32_t row : {canonical.row_ind[k], j})
                largest[row] = std::max(largest[row], std::fabs(below[k]));
    for (std::int32_t j = 0; j < canonical.n; ++j)
        for (std::int32_t k = canonical.col_ptr[j]; k < canonical.col_ptr[j + 1]; ++k) {
            const std::int32_t i = canonical.row_ind[k];
            const double l = below[k], u = above[k];
            const double rounding = CANCELLATION_SHARE * std::sqrt(largest[i]) * std::sqrt(largest[j]);
            if (i != j &&
                std::fabs(u - l) > SYMMETRY_TOLERANCE * std::max(std::fabs(u), std::fabs(l)) + rounding)
                return fail(context, Status::NOT_SYMMETRIC, "%g at %d, %d, but %g at %d, %d", l, i + 1, j + 1,
                            u, j + 1, i + 1);
        }
    return Status::OK;
}

} // namespace

Status mf_canonical_pattern(Context& context, const InputMatrix& a, bool refuse_duplicates,
                            CanonicalPattern& canonical) noexcept {
    Status status = check_arguments(context, a);
    if (status == Status::OK) status = check_pointers(context, a);
    if (status == Status::OK) status = copy_pattern(context, a, canonical);
    if (status == Status::OK) status = fold(context, canonical);
    if (status != Status::OK) return status;
    return tell_halves_apart(context, a, refuse_duplicates, canonical);
}

Status mf_canonical_values(Context& context, const InputMatrix& a, const CanonicalPattern& canonical,
                           double* values) noexcept {
    Status status = check_arguments(context, a);
    if (status != Status::OK) return status;
    if (a.values == nullptr) return fail(context, Status::NULL_MATRIX, "the values of the matrix are null");
    if (is_canonical(a, canonical) && all_finite(a.values, canonical.n_input)) {
        std::copy_n(a.values, canonical.n_input, values);
        return Status::OK;
    }
    status = check_same_pattern(context, a, canonical);
    if (status != Status::OK) return status;

    const std::int32_t n_entries = canonical.col_ptr[canonical.n];
    Buffer<double> above;
    if (a.triangle == Triangle::BOTH) {
        above = Buffer<double>::zeroed(context.memory, n_entries);
        if (!above) return out_of_memory(context);
    }
    std::fill(values, values + n_entries, 0.0);
    status = add_values(context, a, canonical, values, above ? above.get() : values);
    if (status == Status::OK) status = check_sums(context, canonical, values);
    if (status != Status::OK || !above) return status;
    status = check_sums(context, canonical, above.get());
    return status == Status::OK ? check_halves(context, canonical, values, above.get()) : status;
}

} // namespace vyr
