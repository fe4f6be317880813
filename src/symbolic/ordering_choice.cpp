#include "core/tuning.h"
#include "symbolic/ordering.h"
#include "symbolic/steps.h"

#include <algorithm>

namespace vyr {

bool mf_natural_pays(const Pattern&) noexcept {
    return false;
}

Status mf_order_automatically(Context& context, const Graph& graph, std::int32_t, std::int32_t* perm,
                              int& ordering) noexcept {
    double operations;
    ordering = ORDERING_AMD;
    return mf_minimum_degree(context, graph, perm, operations);
}
} // namespace vyr
