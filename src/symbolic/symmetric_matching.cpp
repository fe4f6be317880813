// I. S. Duff and S. Pralet, "Strategies for scaling and pivoting for sparse symmetric indefinite problems",
// SIAM J. Matrix Anal. Appl. 27 (2005). The cycles of a matching of rows and columns are split into pairs,
// and the mean of the duals of row and column scales both: by symmetry the transposed matching is as good,
// and so the mean proves both, and every entry of a cycle is scaled to 1. Rows and columns without a match
// are left out together; what remains of a symmetric matrix then has a matching of all.
//
// Costs are whole, of powers of two, since scales are such as well. Many ties make the
// matching quick to find. An entry a(i,j) whose square is at most |a(i,i) a(j,j)| is left out: symmetric
// duals that allow for both diagonal entries allow for it.
#include "symbolic/symmetric_matching.h"

#include "symbolic/weighted_matching.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vyr {

namespace {

/// Looking at every entry so often costs about what an ordering does.
constexpr std::int64_t STEPS_AN_ENTRY = 60;
constexpr std::int64_t STEPS_ALWAYS = 10000000;

/// Row maxima of a scaling that has served earlier values.
constexpr double MOST_DRIFT = 8;

constexpr double INFINITE = std::numeric_limits<double>::infinity();

/// Entries of either triangle far from 1 would need more than a double holds.
constexpr int MOST_EXPONENT = 1000;

/// The largest power of two up to |value|, as its negative exponent.
double cost_of(double value) noexcept {
    return -std::ilogb(value);
}

/// Both triangles of the equations at hand as costs, and the diagonal's apart.
struct Costs {
    Buffer<std::int32_t> col_ptr, row_ind;
    Buffer<double> cost;
    Buffer<double> diagonal; ///< n; infinite where there is none

    CostMatrix matrix(std::int32_t n) const noexcept {
        return {{n, col_ptr.get(), row_ind.get()}, cost.get()};
    }
};

/// Calls visit(i, j, value) for each entry that is not zero.
template <typename Visit>
void for_each_nonzero(const Matrix& a, Visit visit) noexcept {
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t e = a.col_ptr[j]; e < a.col_ptr[j + 1]; ++e)
            if (a.values[e] != 0) visit(a.row_ind[e], j, a.values[e]);
}

class Symmetrizer {
public:
    Symmetrizer(Context& context, const Matrix& a, SymmetricMatching& made) noexcept
        : context_(context), a_(a), made_(made) {}

    Status run() noexcept;

private:
    Status allocate() noexcept;
    void look_at_diagonal() noexcept;
    bool diagonal_suffices() const noexcept;
    /// True for an entry cheaper than the diagonals of its two equations.
    bool tempting(std::int32_t i, std::int32_t j, double cost) const noexcept {
        return 2 * cost < costs_.diagonal[i] + costs_.diagonal[j];
    }
    Status make_costs() noexcept;
    Status match() noexcept;
    void pair_along(std::int32_t first, std::int32_t length, bool cycle) noexcept;
    void pair() noexcept;
    void set_scale(std::int32_t i, double exponent) noexcept {
        const double within = std::clamp(std::floor(exponent), -1.0 * MOST_EXPONENT, 1.0 * MOST_EXPONENT);
        made_.scale[i] = std::ldexp(1.0, static_cast<int>(within));
    }
    Status set_scales() noexcept;

    Context& context_;
    const Matrix& a_;
    SymmetricMatching& made_;
    Costs costs_;
    WeightedMatching matching_;
    Buffer<std::uint8_t> in_; ///< n: 1 for the equations that are matched
};

Status Symmetrizer::allocate() noexcept {
    Accounting& memory = context_.memory;
    made_ = SymmetricMatching();
    made_.partner = Buffer<std::int32_t>(memory, a_.n);
    made_.scale = Buffer<double>(memory, a_.n, 1.0);
    costs_.diagonal = Buffer<double>(memory, a_.n, INFINITE);
    in_ = Buffer<std::uint8_t>(memory, a_.n, std::uint8_t{1});
    if (!made_.partner || !made_.scale || !costs_.diagonal || !in_)
        return out_of_memory(context_, Status::FACTOR_STORAGE);
    for (std::int32_t i = 0; i < a_.n; ++i) made_.partner[i] = i;
    made_.structural_rank = a_.n;
    return Status::OK;
}

void Symmetrizer::look_at_diagonal() noexcept {
    for (std::int32_t j = 0; j < a_.n; ++j) {
        const std::int32_t first = a_.col_ptr[j];
        const bool stored = first < a_.col_ptr[j + 1] && a_.row_ind[first] == j;
        if (stored && a_.values[first] != 0) costs_.diagonal[j] = cost_of(a_.values[first]);
    }
}

/// Half the costs of the diagonal are duals that prove it the best choice when no entry tempts.
bool Symmetrizer::diagonal_suffices() const noexcept {
    for (std::int32_t j = 0; j < a_.n; ++j)
        if (costs_.diagonal[j] == INFINITE) return false;
    for (std::int32_t j = 0; j < a_.n; ++j)
        for (std::int32_t e = a_.col_ptr[j]; e < a_.col_ptr[j + 1]; ++e)
            if (a_.values[e] != 0 && tempting(a_.row_ind[e], j, cost_of(a_.values[e]))) return false;
    return true;
}

Status Symmetrizer::make_costs() noexcept {
    Accounting& memory = context_.memory;
    // Counted two places ahead, so that filling moves every start to where it belongs.
    costs_.col_ptr = Buffer<std::int32_t>::zeroed(memory, std::int64_t{a_.n} + 2);
    if (!costs_.col_ptr) return out_of_memory(context_, Status::FACTOR_STORAGE);
    const auto for_each_in = [&](auto visit) {
        for_each_nonzero(a_, [&](std::int32_t i, std::int32_t j, double value) {
            if (in_[i] == 0 || in_[j] == 0) return;
            const double cost = cost_of(value);
            if (i == j || tempting(i, j, cost)) visit(i, j, cost);
        });
    };
    std::int32_t* const ahead = costs_.col_ptr.get() + 1;
    for_each_in([&](std::int32_t i, std::int32_t j, double) {
        ++ahead[j + 1];
        if (i != j) ++ahead[i + 1];
    });
    for (std::int32_t j = 0; j < a_.n; ++j) ahead[j + 1] += ahead[j];
    costs_.row_ind = Buffer<std::int32_t>(memory, ahead[a_.n]);
    costs_.cost = Buffer<double>(memory, ahead[a_.n]);
    if (!costs_.row_ind || !costs_.cost) return out_of_memory(context_, Status::FACTOR_STORAGE);
    for_each_in([&](std::int32_t i, std::int32_t j, double cost) {
        const auto put = [&](std::int32_t row, std::int32_t column) {
            const std::int32_t place = ahead[column]++;
            costs_.row_ind[place] = row;
            costs_.cost[place] = cost;
        };
        put(i, j);
        if (i != j) put(j, i);
    });
    return Status::OK;
}

/// Matches the equations in_, and once more without those that have no match.
Status Symmetrizer::match() noexcept {
    for (std::int32_t n_in = a_.n;;) {
        if (const Status status = make_costs(); status != Status::OK) return status;
        const std::int64_t entries = costs_.col_ptr[a_.n];
        const Status status = mf_weighted_matching(
            context_, costs_.matrix(a_.n), std::max(STEPS_ALWAYS, STEPS_AN_ENTRY * entries), matching_);
        if (status != Status::OK) return status;
        made_.structural_rank = matching_.complete ? matching_.n_matched : -1;
        if (!matching_.complete || matching_.n_matched == n_in) return Status::OK;
        n_in = matching_.n_matched;
        for (std::int32_t i = 0; i < a_.n; ++i) in_[i] = matching_.column_of[i] >= 0;
    }
}

/// Pairs neighbours along `length` equations first, row_of[first], ... Of an odd cycle the one with the
/// largest diagonal entry stays single; any choice has the same product, as all entries of the cycle are
/// scaled to 1.
void Symmetrizer::pair_along(std::int32_t first, std::int32_t length, bool cycle) noexcept {
    const std::int32_t* row_of = matching_.row_of.get();
    if (cycle && length % 2 != 0) {
        double best = INFINITE;
        std::int32_t single = first;
        for (std::int32_t i = first, k = 0; k < length; ++k, i = row_of[i]) {
            const double cost = costs_.diagonal[i] - matching_.row_dual[i] - matching_.column_dual[i];
            if (cost >= best) continue;
            best = cost;
            single = i;
        }
        first = row_of[single];
    }
    for (std::int32_t k = 0; k + 1 < length; k += 2) {
        const std::int32_t other = row_of[first];
        made_.partner[first] = other;
        made_.partner[other] = first;
        ++made_.n_pairs;
        first = row_of[other];
    }
}

/// Goes along the cycles of the matching, and along the paths that it has where it is not one of all.
void Symmetrizer::pair() noexcept {
    Buffer<std::uint8_t>& waiting = in_;
    waiting.fill(1);
    const auto walk = [&](std::int32_t first) {
        std::int32_t length = 0, i = first;
        for (; i >= 0 && waiting[i] != 0; i = matching_.row_of[i]) {
            waiting[i] = 0;
            ++length;
        }
        pair_along(first, length, i >= 0);
    };
    for (std::int32_t i = 0; i < a_.n; ++i)
        if (matching_.column_of[i] < 0) walk(i); // where a path begins
    for (std::int32_t i = 0; i < a_.n; ++i)
        if (waiting[i] != 0) walk(i);
}

/// By the duals. Excess equations follow those that have a match; among each other they are held to 1 at
/// most.
Status Symmetrizer::set_scales() noexcept {
    for (std::int32_t i = 0; i < a_.n; ++i)
        if (in_[i] != 0) set_scale(i, 0.5 * (matching_.row_dual[i] + matching_.column_dual[i]));
    if (made_.structural_rank == a_.n) return Status::OK;
    Buffer<double> largest(context_.memory, a_.n, 0.0);
    if (!largest) return out_of_memory(context_, Status::FACTOR_STORAGE);
    const auto raise = [&](std::int32_t i, double magnitude) {
        largest[i] = std::max(largest[i], magnitude);
    };
    for_each_nonzero(a_, [&](std::int32_t i, std::int32_t j, double value) {
        const double magnitude = std::fabs(value);
        if (in_[i] == 0) raise(i, in_[j] != 0 ? magnitude * made_.scale[j] : std::sqrt(magnitude));
        if (in_[j] == 0) raise(j, in_[i] != 0 ? magnitude * made_.scale[i] : std::sqrt(magnitude));
    });
    for (std::int32_t i = 0; i < a_.n; ++i)
        if (largest[i] > 0) set_scale(i, -std::log2(largest[i]));
    return Status::OK;
}

Status Symmetrizer::run() noexcept {
    Status status = allocate();
    if (status != Status::OK) return status;
    look_at_diagonal();
    if (diagonal_suffices()) {
        for (std::int32_t i = 0; i < a_.n; ++i) set_scale(i, 0.5 * costs_.diagonal[i]);
        return Status::OK;
    }
    status = match();
    if (status == Status::OK) status = set_scales();
    if (status == Status::OK) pair();
    return status;
}

} // namespace

Status mf_symmetric_matching(Context& context, const Matrix& a, SymmetricMatching& matching) noexcept {
    return Symmetrizer(context, a, matching).run();
}

bool mf_scaling_fits(const Matrix& a, const double* scale, double* largest) noexcept {
    std::fill_n(largest, a.n, 0.0);
    for_each_nonzero(a, [&](std::int32_t i, std::int32_t j, double value) {
        const double magnitude = std::fabs(value) * scale[i] * scale[j];
        largest[i] = std::max(largest[i], magnitude);
        largest[j] = std::max(largest[j], magnitude);
    });
    for (std::int32_t i = 0; i < a.n; ++i)
        if (largest[i] > 0 && !(largest[i] >= 1 / MOST_DRIFT && largest[i] <= MOST_DRIFT)) return false;
    return true;
}

} // namespace vyr
