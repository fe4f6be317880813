#include "bench/schedule_costs.h"

#include "bench/cost_probes.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace vyr::bench {

namespace {

constexpr std::int32_t MOST_PIVOTS = PROBE_PIVOTS[std::size(PROBE_PIVOTS) - 1];
constexpr std::int32_t MOST_ROWS = PROBE_ROWS[std::size(PROBE_ROWS) - 1];

/// Where a value lies between the lines of an axis.
struct Place {
    std::size_t line;
    double share; ///< of the next line
};

/// On a scale of logarithms.
template <std::size_t N>
Place place(const std::int32_t (&axis)[N], double value) {
    const double clamped = std::clamp(value, 1.0 * axis[0], 1.0 * axis[N - 1]);
    std::size_t line = 0;
    while (line + 2 < N && axis[line + 1] <= clamped) ++line;
    return {line, std::log(clamped / axis[line]) / std::log(1.0 * axis[line + 1] / axis[line])};
}

double between(double a, double b, double share) {
    constexpr double LEAST = 1e-10;
    return std::exp((1 - share) * std::log(std::max(a, LEAST)) + share * std::log(std::max(b, LEAST)));
}

double look_up(const Grid& grid, double n_pivots, double n_rows) {
    const Place p = place(PROBE_PIVOTS, n_pivots), r = place(PROBE_ROWS, n_rows);
    const auto row = [&](std::size_t line) {
        const double* values = grid.data() + line * std::size(PROBE_ROWS);
        return between(values[r.line], values[r.line + 1], r.share);
    };
    return between(row(p.line), row(p.line + 1), p.share);
}

template <typename Member>
void for_each_member(Costs& costs, const Member& member) {
    member("cholesky", costs.cholesky);
    member("solve", costs.solve);
    member("node", costs.node);
    member("node_ancestors", costs.node_ancestors);
    member("node_scattered", costs.node_scattered);
    member("product", costs.product);
    member("pass", costs.pass);
    member("bandwidth", costs.bandwidth);
    member("task", costs.task);
    member("serial", costs.serial);
    member("company", costs.company);
}

} // namespace

double Costs::cholesky_seconds(std::int32_t n_pivots) const {
    if (n_pivots > MOST_PIVOTS) { // as the recursion does
        const std::int32_t half = n_pivots / 2, rest = n_pivots - half;
        return cholesky_seconds(half) + solve_seconds(half, rest) +
               product_seconds(half, 1.0 * half * rest * rest) + cholesky_seconds(rest);
    }
    const Place p = place(PROBE_PIVOTS, n_pivots);
    return between(cholesky[p.line], cholesky[p.line + 1], p.share);
}

double Costs::product_seconds(double depth, double flops) const {
    const Place p = place(PRODUCT_DEPTHS, depth);
    return flops * ((1 - p.share) * product[p.line] + p.share * product[p.line + 1]);
}

double Costs::solve_seconds(std::int32_t n_pivots, double n_columns) const {
    if (n_columns == 0) return 0;
    if (n_pivots > MOST_PIVOTS) { // as the recursion does
        const std::int32_t half = n_pivots / 2;
        return solve_seconds(half, n_columns) + solve_seconds(n_pivots - half, n_columns) +
               product_seconds(half, 2.0 * half * (n_pivots - half) * n_columns);
    }
    return look_up(solve, n_pivots, n_columns) * std::max(1.0, n_columns / MOST_ROWS);
}

double Costs::grid_seconds(std::int32_t n_pivots, std::int32_t n_rows, double n_ancestors,
                           double scattered) const {
    const double one = look_up(node, n_pivots, n_rows);
    const double more = std::max(0.0, look_up(node_ancestors, n_pivots, n_rows) - one);
    const double gaps = std::max(0.0, look_up(node_scattered, n_pivots, n_rows) - one);
    return one + more * (n_ancestors - 1) / (PROBE_ANCESTORS - 1) + gaps * scattered;
}

double Costs::update_seconds(std::int32_t n_pivots, std::int32_t n_rows, double n_ancestors,
                             double scattered) const {
    const std::int32_t p = std::min(n_pivots, MOST_PIVOTS), r = std::min(n_rows, MOST_ROWS);
    const double whole = grid_seconds(p, r, n_ancestors, scattered);
    const double update = std::max(0.0, whole - cholesky_seconds(p) - solve_seconds(p, r));
    return update * n_pivots * n_rows * n_rows / (1.0 * p * r * r);
}

double Costs::node_seconds(std::int32_t n_pivots, std::int32_t n_rows, double n_ancestors,
                           double scattered) const {
    if (n_rows == 0) return cholesky_seconds(n_pivots);
    if (n_pivots <= MOST_PIVOTS && n_rows <= MOST_ROWS)
        return grid_seconds(n_pivots, n_rows, n_ancestors, scattered);
    return cholesky_seconds(n_pivots) + solve_seconds(n_pivots, n_rows) +
           update_seconds(n_pivots, n_rows, n_ancestors, scattered);
}

void save_costs(const Costs& costs, const std::string& file) {
    std::ofstream out(file);
    for_each_member(const_cast<Costs&>(costs), [&](const char* name, const std::vector<double>& values) {
        out << name;
        for (const double value : values) out << ' ' << value;
        out << '\n';
    });
    if (!out.flush()) throw std::runtime_error("'" + file + "' cannot be written");
}

Costs load_costs(const std::string& file) {
    std::ifstream in(file);
    Costs costs;
    for_each_member(costs, [&](const char* name, std::vector<double>& values) {
        std::string line, word;
        std::getline(in, line);
        std::istringstream words(line);
        words >> word;
        values.assign(std::istream_iterator<double>(words), {});
        if (word != name || values.empty()) throw std::runtime_error("'" + file + "' holds no costs");
    });
    return costs;
}

} // namespace vyr::bench
