// The steps of fronts as the code takes them, in strips that others may take.
#pragma once

#include "bench/event_simulator.h"
#include "bench/schedule_costs.h"
#include "core/analysis.h"
#include "core/tuning.h"

#include <algorithm>

namespace vyr::bench {

/// The update of a node as its ancestors see it.
struct Shares {
    double n_ancestors = 0; ///< that own rows of it; those beyond a subtree are one
    double scattered = 0;   ///< share of the tiles whose rows do not follow each other
};

Shares shares(const Analysis& analysis, std::int32_t s, std::int32_t limit);

/// Steps of one unit; what one core does without a pause is one part.
class Builder {
public:
    Builder(const Analysis& analysis, const Costs& costs, std::int32_t n_threads)
        : analysis_(analysis), costs_(costs), n_threads_(n_threads) {}

    void serial(double seconds, double bytes) {
        if (unit_.steps.empty() || unit_.steps.back().parts.size() > 1 || unit_.steps.back().locked)
            unit_.steps.push_back({{{0, 0}}});
        Part& part = unit_.steps.back().parts.front();
        part.seconds += seconds;
        part.bytes += bytes;
    }
    void locked(double seconds, double bytes) { unit_.steps.push_back({{{seconds, bytes}}, true}); }

    /// cost(begin, end) of each strip of [0, n).
    template <typename Cost>
    void strips(std::int32_t n, std::int32_t width, const Cost& cost) {
        Step step;
        for (std::int32_t begin = 0; begin < n; begin += width)
            step.parts.push_back(cost(begin, std::min(n, begin + width)));
        if (step.parts.size() == 1) return serial(step.parts[0].seconds, step.parts[0].bytes);
        if (step.parts.size() > 1) unit_.steps.push_back(std::move(step));
    }

    void node(std::int32_t s, std::int32_t limit) {
        const mf_snode& node = analysis_.snodes[s];
        const Shares found = shares(analysis_, s, limit);
        const double whole = costs_.node_seconds(node.npiv, node.nupd, found.n_ancestors, found.scattered);
        const double work = static_cast<double>(node.npiv) * node.nupd * (node.npiv + node.nupd);
        const bool shared = work >= tuning::SHARED_FRONT_FLOPS || node.npiv >= tuning::SHARED_PIVOTS;
        if (n_threads_ == 1 || !shared) return serial(whole, 16.0 * static_cast<double>(node.n_entries()));
        cholesky(node.npiv);
        solve(node.npiv, node.nupd);
        if (node.nupd > 0)
            update(node, costs_.update_seconds(node.npiv, node.nupd, found.n_ancestors, found.scattered));
    }

    Unit take() { return std::move(unit_); }

private:
    std::int32_t width(std::int32_t n) const {
        const std::int32_t wanted = n / (tuning::STRIPS_A_THREAD * n_threads_);
        return std::clamp(wanted / 32 * 32, tuning::LEAST_SHARED_COLUMNS, tuning::MOST_SHARED_COLUMNS);
    }

    void solve(std::int32_t n_pivots, std::int32_t n_columns) {
        const double column = costs_.solve_seconds(n_pivots, n_columns) / std::max(1, n_columns);
        strips(n_columns, width(n_columns), [&](std::int32_t begin, std::int32_t end) {
            return Part{column * (end - begin), 16.0 * n_pivots * (end - begin)};
        });
    }

    /// The recursion of the pivot block, shared as the code shares it.
    void cholesky(std::int32_t n) {
        if (n_threads_ == 1 || n < tuning::SHARED_PIVOTS)
            return serial(costs_.cholesky_seconds(n), 8.0 * n * n);
        constexpr std::int32_t base = 8;
        const std::int32_t n1 = (n / 2 + base - 1) / base * base, n2 = n - n1;
        cholesky(n1);
        solve(n1, n2);
        strips(n2, width(n2), [&](std::int32_t begin, std::int32_t end) {
            const double columns = end - begin;
            const double bytes = 16 * columns * (begin + 0.5 * columns);
            return Part{costs_.product_seconds(n1, 2.0 * n1 * columns * (begin + 0.5 * columns)), bytes};
        });
        cholesky(n2);
    }

    void update(const mf_snode& node, double seconds) {
        const double pack = 16.0 * node.npiv * node.nupd / costs_.bandwidth[0];
        const double multiply = std::max(0.0, seconds - pack);
        for (std::int32_t k0 = 0; k0 < node.npiv; k0 += tuning::PRODUCT_DEPTH) {
            const double share = std::min(1.0, static_cast<double>(node.npiv - k0) / tuning::PRODUCT_DEPTH) *
                                 std::min(tuning::PRODUCT_DEPTH, node.npiv) / node.npiv;
            std::int32_t first = 0;
            for (std::int32_t k = 0; first < node.nupd; ++k) {
                const std::int32_t n_rows = k < node.anc_count ? node.anc_rows[k] : node.nupd - first;
                strips(n_rows, tuning::PACKED_ROWS, [&](std::int32_t begin, std::int32_t end) {
                    return Part{pack * share * (end - begin) / node.nupd, 0};
                });
                first += n_rows;
            }
            const double area = 0.5 * node.nupd * node.nupd;
            strips(node.nupd, width(node.nupd), [&](std::int32_t begin, std::int32_t end) {
                const double here =
                    0.5 * (static_cast<double>(end) * end - static_cast<double>(begin) * begin);
                return Part{multiply * share * here / area, 16 * here};
            });
        }
    }

    const Analysis& analysis_;
    const Costs& costs_;
    std::int32_t n_threads_;
    Unit unit_;
};

/// Clearing the factor, and the input entries' way into it.
Unit assembly_unit(const Analysis& analysis, const Costs& costs, std::int32_t n_threads);

} // namespace vyr::bench
