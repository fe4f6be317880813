#include "tools/vyr/pivots.h"

#include "interface/process_state.h"
#include "tools/vyr/scoped_handle.h"
#include "tools/vyr/ticker.h"

#include <algorithm>
#include <cmath>

namespace vyr::tool {

PivotResult find_pivots(const SparseMatrix& a, double smallest, double growth, bool live) {
    PivotResult result;
    result.smallest = smallest;
    result.growth = growth;
    double param[VYR_PARAM_COUNT] = {};
    param[VYR_PARAM_PIVOT_MIN] = smallest;
    param[VYR_PARAM_GROWTH] = growth;
    const int* col_ptr = a.col_ptr.data();
    const int* row_ind = a.row_ind.data();
    const Ticker ticker("factorise", live);
    result.status = VYR_init_ld(a.n, a.n, col_ptr, row_ind, a.values.data(), VYR_TYPE_SPD, param);
    if (result.status != VYR_OK) return result;
    ScopedHandle handle;
    handle.h = VYR_symbol_ld(nullptr, a.n, col_ptr, row_ind);
    if (handle.h == nullptr) {
        result.status = failed_analysis_status(param[VYR_PARAM_STATUS]);
        result.bytes_needed = mem_refused.load();
        return result;
    }
    result.status = VYR_numeric_ld(nullptr, a.n, col_ptr, row_ind, a.values.data(), handle.h);
    if (result.status != VYR_OK) result.bytes_needed = mem_refused.load();
    result.pivots.resize(static_cast<std::size_t>(a.n));
    result.marks.resize(static_cast<std::size_t>(a.n));
    VYR_pivot_ld(handle.h, result.pivots.data(), result.marks.data());
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
