#include "core/strips.h"
#include "numeric/delayed.h"

#include <algorithm>
#include <cstring>

namespace vyr {

namespace {

/// A front as the places of its rows tell it: own columns, those passed on, update rows.
class Assembly {
public:
    Assembly(const DelayedRun& run, std::int32_t s, const Front& front) noexcept
        : run_(run),
          analysis_(*run.factor.analysis),
          s_(s),
          node_(analysis_.snodes[s]),
          front_(front),
          n_passed_(front.n_columns - node_.npiv) {}

    void zero(std::int32_t begin, std::int32_t end) const noexcept;
    void add_input() const noexcept;
    void add_update(std::int32_t child, std::int32_t begin, std::int32_t end) const noexcept;
    void add_passed_on() const noexcept;

private:
    /// Place in the front of row q of the node's row list.
    std::int32_t place(std::int32_t q) const noexcept { return q < node_.npiv ? q : q + n_passed_; }
    /// Column j of the front, by the place of the row.
    double* column(std::int32_t j) const noexcept {
        const std::int32_t n = front_.n_columns;
        if (j < n) return front_.at(0, j);
        return front_.update + static_cast<std::int64_t>(j - n) * front_.n_update() - n;
    }
    void add_column(std::int32_t child, std::int32_t k, std::int32_t to) const noexcept;

    const DelayedRun& run_;
    const Analysis& analysis_;
    std::int32_t s_;
    const mf_snode& node_;
    const Front& front_;
    std::int32_t n_passed_;
};

void Assembly::zero(std::int32_t begin, std::int32_t end) const noexcept {
    const std::int32_t n = front_.n_columns;
    const std::int32_t split = std::clamp(n, begin, end);
    if (begin < split) {
        const auto count = static_cast<std::size_t>(split - begin) * static_cast<std::size_t>(front_.n_rows);
        std::memset(front_.at(0, begin), 0, count * sizeof(double));
    }
    for (std::int32_t j = split; j < end; ++j)
        std::memset(column(j) + j, 0, static_cast<std::size_t>(front_.n_rows - j) * sizeof(double));
}

void Assembly::add_input() const noexcept {
    const FactorWork& work = run_.factor.work;
    for (std::int32_t k = work.entry_offset[s_]; k < work.entry_offset[s_ + 1]; ++k) {
        const std::int32_t e = work.entries[k];
        const std::int64_t position = analysis_.value_map[e] - node_.start;
        const auto row = static_cast<std::int32_t>(position / node_.npiv);
        *front_.at(place(row), static_cast<std::int32_t>(position % node_.npiv)) += run_.values[e];
    }
}

/// target[to[i]] += source[i] for i in [begin, end); `to` ascends, mostly by one.
void add_at(const std::int32_t* to, const double* source, std::int32_t begin, std::int32_t end,
            double* target) noexcept {
    constexpr std::int32_t RUN = 8;
    for (std::int32_t i = begin; i < end;) {
        if (i + RUN <= end && to[i + RUN - 1] == to[i] + RUN - 1) {
            double* run = target + to[i];
            for (std::int32_t q = 0; q < RUN; ++q) run[q] += source[i + q];
            i += RUN;
        } else {
            target[to[i]] += source[i];
            ++i;
        }
    }
}

/// Adds what a child's update has for columns [begin, end) of the front.
void Assembly::add_update(std::int32_t child, std::int32_t begin, std::int32_t end) const noexcept {
    const mf_snode& sender = analysis_.snodes[child];
    const std::int32_t* to = sender.rel_index + sender.npiv;
    const std::int32_t n = sender.nupd;
    const auto before = [this](std::int32_t q, std::int32_t column) noexcept { return place(q) < column; };
    const auto first = static_cast<std::int32_t>(std::lower_bound(to, to + n, begin, before) - to);
    const auto n_own = static_cast<std::int32_t>(std::lower_bound(to, to + n, node_.npiv) - to);
    for (std::int32_t j = first; j < n && place(to[j]) < end; ++j) {
        double* target = column(place(to[j]));
        const double* source = run_.updates[child] + static_cast<std::int64_t>(j) * n;
        add_at(to, source, j, n_own, target);
        add_at(to, source, std::max(j, n_own), n, target + n_passed_);
    }
}

/// The k-th column that a child passes on into column `to`.
void Assembly::add_column(std::int32_t child, std::int32_t k, std::int32_t to) const noexcept {
    const mf_snode& node = analysis_.snodes[child];
    const std::int32_t n_passed = run_.factor.pivoted.nodes[child].n_delayed();
    const double* source = run_.passed[child] + std::int64_t{k} * (n_passed + node.nupd);
    std::copy(source + k, source + n_passed, front_.at(to, to));
    for (std::int32_t i = 0; i < node.nupd; ++i) {
        const std::int32_t row = place(node.rel_index[node.npiv + i]);
        *(row > to ? front_.at(row, to) : front_.at(to, row)) = source[n_passed + i];
    }
}

void Assembly::add_passed_on() const noexcept {
    std::int32_t to = node_.npiv;
    run_.for_children(s_, [&](std::int32_t child) noexcept {
        const PivotedNode& sender = run_.factor.pivoted.nodes[child];
        for (std::int32_t k = 0; k < sender.n_delayed(); ++k, ++to) {
            front_.columns[to] = sender.columns[sender.n_eliminated + k];
            add_column(child, k, to);
        }
    });
}

} // namespace

void mf_assemble_front(const DelayedRun& run, std::int32_t s, const Front& front, bool shared) noexcept {
    const Assembly assembly(run, s, front);
    shared = shared && has_helpers();
    const std::int32_t width = shared ? strip_width(front.n_rows, true) : std::max(front.n_rows, 1);
    for_strips(front.n_rows, width, shared, [&](std::int32_t begin, std::int32_t end) noexcept {
        assembly.zero(begin, end);
        run.for_children(s, [&](std::int32_t child) noexcept { assembly.add_update(child, begin, end); });
    });
    assembly.add_input();
    assembly.add_passed_on();
}

} // namespace vyr
