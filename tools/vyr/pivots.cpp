#include "tools/vyr/pivots.h"

#include "tools/vyr/library.h"
#include "tools/vyr/ticker.h"

#include <algorithm>
#include <cmath>

namespace vyr::tool {

namespace {

/// Marks what explains the failure: every pivot that is too small, or the two extremes that spread too far.
void mark_failed(PivotResult& result) {
    result.marks.assign(result.pivots.size(), 0);
    for (std::size_t i = 0; i < result.pivots.size(); ++i) {
        if (std::isnan(result.pivots[i]))
            result.marks[i] = -1;
        else if (result.status == VYR_STATUS_NOT_POSITIVE && result.pivots[i] <= result.smallest)
            result.marks[i] = 1;
    }
    if (result.status != VYR_STATUS_OK || !(result.growth > 1)) return;
    const auto low = extreme_pivots(result, 1, false), high = extreme_pivots(result, 1, true);
    if (low.empty()) return;
    const auto least = static_cast<std::size_t>(low[0]), most = static_cast<std::size_t>(high[0]);
    result.spread = std::fabs(result.pivots[most]) > result.growth * std::fabs(result.pivots[least]);
    if (result.spread) result.marks[least] = result.marks[most] = 1;
}

} // namespace

PivotResult find_pivots(const SparseMatrix& a, double smallest, double growth, std::int32_t threads,
                        bool live) {
    PivotResult result;
    result.smallest = smallest;
    result.growth = growth;
    vyr_options options;
    vyr_options_default(&options, sizeof options);
    options.pivot_min = smallest;
    options.threads = threads;
    const vyr_matrix matrix = library_matrix(a);
    const Ticker ticker("factorise", live);
    Analysis analysis;
    result.status = analysis.make(matrix, options);
    result.message = analysis.message();
    if (result.status != VYR_STATUS_OK) return result;
    Factor factor;
    result.status = factor.make(analysis, options);
    if (result.status == VYR_STATUS_OK) result.status = vyr_factorise(factor.get(), &matrix);
    result.message = vyr_factor_message(factor.get());
    result.pivots.resize(static_cast<std::size_t>(a.n));
    if (vyr_factor_pivots(factor.get(), result.pivots.data()) != VYR_STATUS_OK) result.pivots.clear();
    mark_failed(result);
    return result;
}

std::vector<std::int32_t> extreme_pivots(const PivotResult& result, int count, bool largest) {
    std::vector<std::int32_t> equations;
    for (std::size_t i = 0; i < result.pivots.size(); ++i)
        if (!std::isnan(result.pivots[i])) equations.push_back(static_cast<std::int32_t>(i));
    const auto magnitude = [&](std::int32_t i) {
        return std::fabs(result.pivots[static_cast<std::size_t>(i)]);
    };
    const auto before = [&](std::int32_t i, std::int32_t j) {
        if (magnitude(i) == magnitude(j)) return i < j;
        return largest == (magnitude(i) > magnitude(j));
    };
    const auto kept = std::min(static_cast<std::ptrdiff_t>(count), std::ssize(equations));
    std::partial_sort(equations.begin(), equations.begin() + kept, equations.end(), before);
    equations.resize(static_cast<std::size_t>(kept));
    return equations;
}

} // namespace vyr::tool
