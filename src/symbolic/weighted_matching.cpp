// I. S. Duff and J. Koster, "On algorithms for permuting large entries to the diagonal of a sparse matrix",
// SIAM J. Matrix Anal. Appl. 22 (2001): shortest augmenting paths by reduced costs, each found by Dijkstra's
// algorithm, from a start that the entries of reduced cost 0 give. Here a column that no path leads from
// takes all rows it reached out of later searches (they lead nowhere for anybody).
#include "symbolic/weighted_matching.h"

#include "symbolic/distance_heap.h"

#include <algorithm>
#include <limits>

namespace vyr {

namespace {

constexpr double FAR = std::numeric_limits<double>::infinity();
constexpr std::int64_t STEPS_BETWEEN_LOOKS = 1 << 18; ///< entries between two looks at the wish to stop

class Matcher {
public:
    Matcher(Context& context, const CostMatrix& a, std::int64_t most_steps, WeightedMatching& made) noexcept
        : context_(context), a_(a), most_steps_(most_steps), m_(made), heap_(context.memory, a.n) {}

    Status run() noexcept {
        if (const Status status = allocate(); status != Status::OK) return status;
        start_duals();
        match_directly();
        match_by_one_exchange();
        for (std::int32_t j = 0; j < a_.n; ++j) {
            if (m_.row_of[j] >= 0) continue;
            if (steps_ > most_steps_) m_.complete = false;
            if (!m_.complete) break;
            if (const Status status = search(j); status != Status::OK) return status;
        }
        tighten();
        return Status::OK;
    }

private:
    enum RowState : std::uint8_t { OPEN, REACHED, SETTLED, DEAD };

    Status allocate() noexcept {
        const std::int32_t n = a_.n;
        Accounting& memory = context_.memory;
        m_ = WeightedMatching();
        m_.row_of = Buffer<std::int32_t>(memory, n, -1);
        m_.column_of = Buffer<std::int32_t>(memory, n, -1);
        m_.row_dual = Buffer<double>(memory, n, FAR);
        m_.column_dual = Buffer<double>(memory, n, 0.0);
        came_from_ = Buffer<std::int32_t>(memory, n);
        touched_ = Buffer<std::int32_t>(memory, n);
        near_ = Buffer<std::int32_t>(memory, n);
        distance_ = Buffer<double>(memory, n, FAR);
        state_ = Buffer<RowState>(memory, n, OPEN);
        if (!m_.row_of || !m_.column_of || !m_.row_dual || !m_.column_dual || !came_from_ || !touched_ ||
            !near_ || !distance_ || !state_ || !heap_)
            return out_of_memory(context_, Status::FACTOR_STORAGE);
        return Status::OK;
    }

    double reduced(std::int32_t j, std::int32_t e) const noexcept {
        return (a_.cost[e] - m_.column_dual[j]) - m_.row_dual[a_.row_ind[e]];
    }
    void match(std::int32_t i, std::int32_t j) noexcept {
        m_.column_of[i] = j;
        m_.row_of[j] = i;
    }

    void start_duals() noexcept;
    void match_directly() noexcept;
    void match_by_one_exchange() noexcept;
    std::int32_t free_row(std::int32_t j, std::int32_t& from) const noexcept;
    Status search(std::int32_t root) noexcept;
    void scan(std::int32_t j, double to_column) noexcept;
    std::int32_t next_row(double reached) noexcept;
    void reach(std::int32_t i, double distance, double reached) noexcept;
    void augment(std::int32_t root) noexcept;
    void forget() noexcept;
    void tighten() noexcept;

    Context& context_;
    const CostMatrix& a_;
    std::int64_t most_steps_;
    std::int64_t steps_ = 0;
    WeightedMatching& m_;

    // Of one search.
    DistanceHeap heap_;              ///< rows reached, farther than the column at hand
    Buffer<std::int32_t> near_;      ///< rows reached at the distance of the column at hand: n_near_
    Buffer<std::int32_t> came_from_; ///< column before each row
    Buffer<std::int32_t> touched_;   ///< rows with a distance: n_touched_
    Buffer<double> distance_;
    Buffer<RowState> state_;
    std::int32_t n_near_ = 0, n_touched_ = 0;
    double shortest_ = FAR;      ///< path to a free row so far
    std::int32_t free_end_ = -1; ///< that row
};

/// The least cost of each row, then of each column what is left: searches begin at columns, and every one has
/// an entry of reduced cost 0.
void Matcher::start_duals() noexcept {
    for (std::int32_t e = 0; e < a_.col_ptr[a_.n]; ++e) {
        double& dual = m_.row_dual[a_.row_ind[e]];
        dual = std::min(dual, a_.cost[e]);
    }
    for (std::int32_t i = 0; i < a_.n; ++i)
        if (m_.row_dual[i] == FAR) m_.row_dual[i] = 0; // an empty row
    for (std::int32_t j = 0; j < a_.n; ++j) {
        double least = FAR;
        for (std::int32_t e = a_.col_ptr[j]; e < a_.col_ptr[j + 1]; ++e)
            least = std::min(least, reduced(j, e));
        if (least < FAR) m_.column_dual[j] = least;
    }
}

/// A free row of column j at reduced cost 0, by position from `from` on, which moves behind it; or -1.
std::int32_t Matcher::free_row(std::int32_t j, std::int32_t& from) const noexcept {
    while (from < a_.col_ptr[j + 1]) {
        const std::int32_t e = from++;
        if (m_.column_of[a_.row_ind[e]] < 0 && reduced(j, e) <= 0) return a_.row_ind[e];
    }
    return -1;
}

/// The diagonal first: in a symmetric matrix it splits no pairs.
void Matcher::match_directly() noexcept {
    for (std::int32_t j = 0; j < a_.n; ++j)
        for (std::int32_t e = a_.col_ptr[j]; e < a_.col_ptr[j + 1]; ++e)
            if (a_.row_ind[e] == j && reduced(j, e) <= 0) match(j, j);
    for (std::int32_t j = 0; j < a_.n; ++j) {
        if (m_.row_of[j] >= 0) continue;
        std::int32_t from = a_.col_ptr[j];
        if (const std::int32_t i = free_row(j, from); i >= 0) match(i, j);
    }
}

/// Gives a column the row of another one that finds a free row instead. Rows taken stay taken, so every
/// column is looked through once for all its turns.
void Matcher::match_by_one_exchange() noexcept {
    std::int32_t* from = touched_.get();
    std::copy_n(a_.col_ptr, a_.n, from);
    for (std::int32_t j = 0; j < a_.n; ++j)
        for (std::int32_t e = a_.col_ptr[j]; e < a_.col_ptr[j + 1] && m_.row_of[j] < 0; ++e) {
            if (reduced(j, e) > 0) continue;
            const std::int32_t i = a_.row_ind[e], other = m_.column_of[i];
            const std::int32_t instead = other < 0 ? -1 : free_row(other, from[other]);
            if (other >= 0 && instead < 0) continue;
            if (other >= 0) match(instead, other);
            match(i, j);
        }
}

/// Takes note of a path to row i. `reached` is the distance of the column it goes through.
void Matcher::reach(std::int32_t i, double distance, double reached) noexcept {
    if (state_[i] == OPEN) {
        state_[i] = REACHED;
        touched_[n_touched_++] = i;
    }
    distance_[i] = distance;
    if (distance > reached) return heap_.put(i, distance);
    heap_.take(i);
    near_[n_near_++] = i;
}

/// Follows the entries of column j, `to_column` away from the root.
void Matcher::scan(std::int32_t j, double to_column) noexcept {
    steps_ += a_.col_ptr[j + 1] - a_.col_ptr[j];
    for (std::int32_t e = a_.col_ptr[j]; e < a_.col_ptr[j + 1]; ++e) {
        const std::int32_t i = a_.row_ind[e];
        if (state_[i] >= SETTLED) continue;
        const double distance = to_column + std::max(reduced(j, e), 0.0);
        if (distance >= shortest_ || distance >= distance_[i]) continue;
        came_from_[i] = j;
        if (m_.column_of[i] >= 0) {
            reach(i, distance, to_column);
            continue;
        }
        shortest_ = distance;
        free_end_ = i;
    }
}

/// The nearest row reached, now settled; -1 when none is nearer than the shortest path found.
std::int32_t Matcher::next_row(double reached) noexcept {
    std::int32_t i = -1;
    if (n_near_ > 0) {
        if (reached >= shortest_) return -1;
        i = near_[--n_near_];
    } else {
        if (heap_.empty() || heap_.least() >= shortest_) return -1;
        i = heap_.take_least();
    }
    state_[i] = SETTLED;
    return i;
}

Status Matcher::search(std::int32_t root) noexcept {
    shortest_ = FAR;
    free_end_ = -1;
    double reached = 0;
    std::int64_t next_look = steps_ + STEPS_BETWEEN_LOOKS;
    if (mf_stop(context_)) return Status::CANCELLED;
    scan(root, 0);
    for (std::int32_t i = next_row(reached); i >= 0; i = next_row(reached)) {
        reached = distance_[i];
        scan(m_.column_of[i], reached);
        if (steps_ < next_look) continue;
        if (mf_stop(context_)) return Status::CANCELLED;
        next_look = steps_ + STEPS_BETWEEN_LOOKS;
    }
    if (free_end_ >= 0) augment(root);
    forget();
    return Status::OK;
}

/// Settled rows get cheaper and their columns dearer, by what they are nearer than the end of the path; then
/// every entry of the path has reduced cost 0, and it is turned over.
void Matcher::augment(std::int32_t root) noexcept {
    for (std::int32_t k = 0; k < n_touched_; ++k) {
        const std::int32_t i = touched_[k];
        if (state_[i] != SETTLED) continue;
        const double nearer = shortest_ - distance_[i];
        m_.row_dual[i] -= nearer;
        m_.column_dual[m_.column_of[i]] += nearer;
    }
    m_.column_dual[root] += shortest_;
    for (std::int32_t i = free_end_, j = -1; j != root;) {
        j = came_from_[i];
        const std::int32_t before = m_.row_of[j];
        match(i, j);
        i = before;
    }
}

void Matcher::forget() noexcept {
    heap_.clear();
    n_near_ = 0;
    for (std::int32_t k = 0; k < n_touched_; ++k) {
        const std::int32_t i = touched_[k];
        state_[i] = free_end_ < 0 ? DEAD : OPEN;
        distance_[i] = FAR;
    }
    n_touched_ = 0;
}

/// Rounding has crept into the duals: matched entries get reduced cost 0 again.
void Matcher::tighten() noexcept {
    for (std::int32_t j = 0; j < a_.n; ++j) {
        if (m_.row_of[j] < 0) continue;
        ++m_.n_matched;
        for (std::int32_t e = a_.col_ptr[j]; e < a_.col_ptr[j + 1]; ++e)
            if (a_.row_ind[e] == m_.row_of[j]) m_.column_dual[j] = a_.cost[e] - m_.row_dual[a_.row_ind[e]];
    }
}

} // namespace

Status mf_weighted_matching(Context& context, const CostMatrix& a, std::int64_t most_steps,
                            WeightedMatching& matching) noexcept {
    return Matcher(context, a, most_steps, matching).run();
}

} // namespace vyr
