#include "tools/vyr/pivots.h"
#include "tools/vyr/solve_report.h"

#include <cinttypes>
#include <cmath>
#include <cstdio>

namespace vyr::tool {

namespace {

std::string row(std::int32_t equation, double pivot, const std::string& reason) {
    char text[64];
    std::snprintf(text, sizeof text, "  %12" PRId32 "  %14.6g", equation + 1, pivot);
    return text + (reason.empty() ? "" : "  " + reason) + "\n";
}

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

/// Why the library marked a pivot.
std::string reason(const PivotResult& result, double pivot, bool is_smallest) {
    if (result.spread) return is_smallest ? "smallest in magnitude" : "largest in magnitude";
    if (pivot < 0.0) return "negative: the matrix is not positive definite";
    if (pivot == 0.0) return "zero: nothing holds this equation";
    return "not above the limit " + number(result.smallest);
}

std::string marked_rows(const PivotResult& result) {
    const std::vector<std::int32_t> smallest = extreme_pivots(result, 1, false);
    std::string text;
    for (std::size_t i = 0; i < result.marks.size(); ++i) {
        if (result.marks[i] != 1) continue;
        const auto equation = static_cast<std::int32_t>(i);
        const bool is_smallest = !smallest.empty() && smallest[0] == equation;
        text += row(equation, result.pivots[i], reason(result, result.pivots[i], is_smallest));
    }
    return text.empty() ? text : "Equations that stopped the factorization (counted from 1):\n" + text;
}

std::string extreme_rows(const PivotResult& result, int count, bool largest) {
    std::string text = largest ? "Largest pivots (diagonal of L):\n" : "Smallest pivots (diagonal of L):\n";
    for (const std::int32_t i : extreme_pivots(result, count, largest))
        text += row(i, result.pivots[static_cast<std::size_t>(i)], "");
    return text;
}

std::string failure(const PivotResult& result) {
    if (result.spread)
        return "The pivots spread over more than the allowed ratio " + number(result.growth) + ".\n";
    if (result.status == VYR_STATUS_NOT_POSITIVE)
        return "A pivot is not above the limit " + number(result.smallest) + ".\n";
    SolveResult other;
    other.status = result.status;
    other.message = result.message;
    return failure_sentence(other) + "\n";
}

} // namespace

std::string pivots_text(const PivotResult& result, int count) {
    std::string text = accepted(result) ? "" : failure(result) + marked_rows(result);
    std::size_t n_computed = 0;
    for (const int mark : result.marks) n_computed += mark != -1;
    if (n_computed == 0) return text;
    if (n_computed < result.marks.size())
        text += std::to_string(n_computed) + " of " + std::to_string(result.marks.size()) +
                " pivots were computed before the factorization stopped.\n";
    text += extreme_rows(result, count, false) + extreme_rows(result, count, true);
    const std::vector<std::int32_t> low = extreme_pivots(result, 1, false);
    const std::vector<std::int32_t> high = extreme_pivots(result, 1, true);
    if (accepted(result) && !low.empty())
        text += "Ratio of the largest to the smallest: " +
                number(std::fabs(result.pivots[static_cast<std::size_t>(high[0])] /
                                 result.pivots[static_cast<std::size_t>(low[0])])) +
                "\n";
    return text;
}

} // namespace vyr::tool
