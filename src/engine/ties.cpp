#include "engine/ties.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vyr {

Status Ties::mirror(Context& context, const Matrix& a) noexcept {
    Accounting& memory = context.memory;
    // Counted two places ahead, so that filling moves every start to where it belongs.
    start_ = Buffer<std::int64_t>::zeroed(memory, std::int64_t{a.n} + 2);
    if (!start_) return out_of_memory(context);
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t k = a.col_ptr[j]; k < a.col_ptr[j + 1]; ++k) {
            const std::int64_t i = a.row_ind[k];
            if (i != j) ++start_[i + 2], ++start_[std::int64_t{j} + 2];
        }
    for (std::int64_t j = 1; j <= a.n; ++j) start_[j + 1] += start_[j];
    const std::int64_t n_neighbours = start_[std::int64_t{a.n} + 1];
    neighbour_ = Buffer<std::int32_t>(memory, n_neighbours);
    weight_ = Buffer<double>(memory, n_neighbours);
    largest_ = Buffer<double>::zeroed(memory, a.n);
    if (!neighbour_ || !weight_ || !largest_) return out_of_memory(context);
    const auto add = [&](std::int32_t i, std::int32_t j, double magnitude) {
        const std::int64_t k = start_[std::int64_t{j} + 1]++;
        neighbour_[k] = i;
        weight_[k] = magnitude;
        largest_[j] = std::max(largest_[j], magnitude);
    };
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t k = a.col_ptr[j]; k < a.col_ptr[j + 1]; ++k) {
            const std::int32_t i = a.row_ind[k];
            if (i == j) continue;
            add(i, j, std::fabs(a.values[k]));
            add(j, i, std::fabs(a.values[k]));
        }
    return Status::OK;
}

/// The free neighbour with the entry that is largest beside its column's others; strong ones before weak
/// ones, of equals the one with the fewest neighbours, which costs the least fill. -1 when there is none.
std::int32_t Ties::best_free(std::int32_t c) const noexcept {
    std::int32_t best = -1;
    double best_score = 0.0;
    for (std::int64_t k = start_[c]; k < start_[c + 1]; ++k) {
        const std::int32_t p = neighbour_[k];
        if (p == c || !free(p) || weight_[k] == 0.0) continue;
        const double score = weight_[k] / largest_[p] + (weak(p) ? 0.0 : 1.0);
        // The first one counts whatever its score: next to a far larger entry it vanishes.
        if (best < 0 || score > best_score || (score == best_score && degree(p) < degree(best))) {
            best = p;
            best_score = score;
        }
    }
    return best;
}

/// Ties c to a neighbour whose own partner, weak too, can turn to someone else.
void Ties::take_over(std::int32_t c) noexcept {
    for (std::int64_t k = start_[c]; k < start_[c + 1]; ++k) {
        const std::int32_t p = neighbour_[k], other = next_[p];
        if (weight_[k] == 0.0 || other == p || !weak(other)) continue;
        next_[c] = p; // not free while the other one looks around
        const std::int32_t second = best_free(other);
        next_[c] = c;
        if (second < 0) continue;
        tie(other, second);
        tie(c, p);
        return;
    }
}

/// A pair of two weak equations stays in one node for sure only behind a third, strong one: the partition
/// always lets a node of one column grow by the next one, and may end it there.
void Ties::lead_with_strong(std::int32_t c) noexcept {
    const std::int32_t p = next_[c];
    for (const std::int32_t member : {c, p})
        for (std::int64_t k = start_[member]; k < start_[member + 1]; ++k) {
            const std::int32_t s = neighbour_[k];
            if (weak(s) || !free(s)) continue;
            next_[p] = s;
            next_[s] = c;
            return;
        }
}

Status Ties::find(Context& context, const Matrix& a, std::int32_t n_weak) noexcept {
    n_ = a.n;
    n_weak_ = n_weak;
    const Status status = mirror(context, a);
    if (status != Status::OK) return status;
    next_ = Buffer<std::int32_t>(context.memory, n_);
    Buffer<std::int32_t> by_degree(context.memory, n_weak);
    if (!next_ || !by_degree) return out_of_memory(context);
    for (std::int32_t j = 0; j < n_; ++j) next_[j] = j;
    std::copy_n(next_.get(), n_weak, by_degree.get());
    std::int32_t* const begin = by_degree.get();
    std::int32_t* const end = begin + n_weak;
    std::sort(begin, end, [&](std::int32_t i, std::int32_t j) {
        return degree(i) != degree(j) ? degree(i) < degree(j) : i < j;
    });
    for (const std::int32_t* c = begin; c < end; ++c) {
        const std::int32_t p = free(*c) ? best_free(*c) : -1;
        if (p >= 0) tie(*c, p);
    }
    for (const std::int32_t* c = begin; c < end; ++c)
        if (free(*c)) take_over(*c);
    for (const std::int32_t* c = begin; c < end; ++c)
        if (!free(*c) && weak(next_[*c]) && next_[next_[*c]] == *c) lead_with_strong(*c);
    return Status::OK;
}

template <typename Visit>
void Ties::for_each_tied(std::int32_t j, Visit visit) const noexcept {
    visit(j);
    for (std::int32_t i = next_[j]; i != j; i = next_[i]) visit(i);
}

/// Calls visit once for each row >= j of column j, in no order.
template <typename Visit>
void Ties::for_each_row(std::int32_t j, Visit visit) noexcept {
    const auto add = [&](std::int32_t i) {
        if (i < j || mark_[i] == j) return;
        mark_[i] = j;
        visit(i);
    };
    for_each_tied(j, [&](std::int32_t member) {
        add(member);
        for (std::int64_t k = start_[member]; k < start_[member + 1]; ++k) for_each_tied(neighbour_[k], add);
    });
}

Status Ties::pattern(Context& context, Buffer<std::int32_t>& col_ptr,
                     Buffer<std::int32_t>& row_ind) noexcept {
    mark_ = Buffer<std::int32_t>(context.memory, n_, -1);
    col_ptr = Buffer<std::int32_t>(context.memory, std::int64_t{n_} + 1);
    if (!mark_ || !col_ptr) return out_of_memory(context);
    std::int64_t n_entries = 0;
    col_ptr[0] = 0;
    for (std::int32_t j = 0; j < n_; ++j) {
        for_each_row(j, [&](std::int32_t) { ++n_entries; });
        if (n_entries > std::numeric_limits<std::int32_t>::max())
            return fail(context, Status::FACTOR_STORAGE,
                        "tying the equations with a weak diagonal entry takes more than %d entries",
                        std::numeric_limits<std::int32_t>::max());
        col_ptr[j + 1] = static_cast<std::int32_t>(n_entries);
    }
    row_ind = Buffer<std::int32_t>(context.memory, n_entries);
    if (!row_ind) return out_of_memory(context);
    mark_.fill(-1);
    for (std::int32_t j = 0; j < n_; ++j) {
        std::int32_t* end = row_ind.get() + col_ptr[j];
        for_each_row(j, [&](std::int32_t i) { *end++ = i; });
        std::sort(row_ind.get() + col_ptr[j], end);
    }
    return Status::OK;
}

} // namespace vyr
