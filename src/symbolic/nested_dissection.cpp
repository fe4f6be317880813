// The crossing to METIS.
#include "symbolic/metis_call.h"
#include "symbolic/ordering.h"

#include <metis.h>

#include <type_traits>

// Algorithm: G. Karypis and V. Kumar, "A fast and high quality multilevel scheme for partitioning irregular
// graphs", SIAM J. Sci. Comput. 20 (1998).

namespace vyr {

static_assert(std::is_same_v<idx_t, std::int32_t>, "METIS must be built with 32-bit indices");

namespace {

/// Arguments of METIS_NodeND.
struct NodeND {
    idx_t n;
    idx_t *xadj, *adjacency, *weights, *perm, *inverse;
};

Status node_nd(Context& context, void* arguments) noexcept {
    auto& a = *static_cast<NodeND*>(arguments);
    idx_t options[METIS_NOPTIONS];
    METIS_SetDefaultOptions(options);
    options[METIS_OPTION_NUMBERING] = 0;
    if (a.weights != nullptr) options[METIS_OPTION_COMPRESS] = 0; // weighted graphs have been compressed
    const int outcome = METIS_NodeND(&a.n, a.xadj, a.adjacency, a.weights, options, a.perm, a.inverse);
    if (outcome == METIS_OK) return Status::OK;
    if (outcome == METIS_ERROR_MEMORY)
        return fail(context, Status::FACTOR_STORAGE, "METIS ran out of memory");
    return fail(context, Status::ORDERING, "METIS failed with code %d", outcome);
}

} // namespace

Status mf_nested_dissection(Context& context, const Graph& graph, std::int32_t* perm) noexcept {
    Buffer<std::int32_t> inverse(context.memory, graph.n);
    if (!inverse) return out_of_memory(context, Status::FACTOR_STORAGE);
    NodeND arguments{graph.n, graph.xadj, graph.adjacency, graph.weights, perm, inverse.get()};
    return mf_ordering_call(context, node_nd, &arguments);
}

Status METIS_NodeND_order(Context& context, std::int32_t n, std::int32_t* xadj, std::int32_t* adjacency,
                          std::int32_t* perm, std::int32_t* inverse) noexcept {
    NodeND arguments{n, xadj, adjacency, nullptr, perm, inverse};
    return mf_ordering_call(context, node_nd, &arguments);
}

Status METIS_NodeWND_order(Context& context, std::int32_t n, std::int32_t* xadj, std::int32_t* adjacency,
                           std::int32_t* weights, std::int32_t* perm, std::int32_t* inverse) noexcept {
    NodeND arguments{n, xadj, adjacency, weights, perm, inverse};
    return mf_ordering_call(context, node_nd, &arguments);
}

} // namespace vyr
