#include "tools/vyr/pivots.h"

#include "engine/system.h"
#include "tools/vyr/ticker.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace vyr::tool {

namespace {

constexpr double NOT_COMPUTED = -DBL_MAX;

/// Marks what explains the failure: every pivot that is too small, or the two extremes that spread too far.
void mark_failed(PivotResult& result) {
    for (std::size_t i = 0; i < result.pivots.size(); ++i) {
        const bool computed = result.pivots[i] != NOT_COMPUTED;
        const bool too_small = result.status == Status::SMALL_PIVOT && result.pivots[i] <= result.smallest;
        result.marks[i] = !computed ? -1 : too_small ? 1 : 0;
    }
    if (result.status != Status::GROWTH) return;
    for (const bool largest : {false, true})
        for (const std::int32_t i : extreme_pivots(result, 1, largest))
            result.marks[static_cast<std::size_t>(i)] = 1;
}

} // namespace

PivotResult find_pivots(const SparseMatrix& a, double smallest, double growth, bool live) {
    PivotResult result;
    result.smallest = smallest;
    result.growth = growth;
    Accounting memory;
    Context context(memory);
    context.settings.pivot_min = smallest;
    context.settings.growth_limit = growth;
    System system(memory);
    const Matrix matrix{{a.n, a.col_ptr.data(), a.row_ind.data()}, a.values.data()};
    const Ticker ticker("factorise", live);
    result.status = mf_analyse_system(context, matrix, 0, system);
    const bool analysed = result.status == Status::OK;
    if (analysed) result.status = mf_factorise_system(context, matrix, system);
    if (result.status != Status::OK) result.bytes_needed = memory.refused.load();
    if (!analysed) return result;
    result.pivots.resize(static_cast<std::size_t>(a.n));
    result.marks.resize(static_cast<std::size_t>(a.n));
    for (std::int32_t k = 0; k < a.n; ++k)
        result.pivots[static_cast<std::size_t>(system.analysis.perm[k])] = system.factor.diag_values[k];
    mark_failed(result);
    return result;
}

std::vector<std::int32_t> extreme_pivots(const PivotResult& result, int count, bool largest) {
    std::vector<std::int32_t> equations;
    for (std::size_t i = 0; i < result.pivots.size(); ++i)
        if (result.marks[i] != -1 && !std::isnan(result.pivots[i]))
            equations.push_back(static_cast<std::int32_t>(i));
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
