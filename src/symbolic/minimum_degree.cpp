// The crossing to AMD.
#include "symbolic/metis_call.h"
#include "symbolic/ordering.h"

#include <amd.h>

// Algorithm: P. R. Amestoy, T. A. Davis and I. S. Duff, "An approximate minimum degree ordering algorithm",
// SIAM J. Matrix Anal. Appl. 17 (1996).

namespace vyr {

namespace {

struct Arguments {
    const Graph& graph;
    std::int32_t* perm;
    double info[AMD_INFO];
};

Status amd(Context& context, void* arguments) noexcept {
    auto& a = *static_cast<Arguments*>(arguments);
    const int outcome = amd_order(a.graph.n, a.graph.xadj, a.graph.adjacency, a.perm, nullptr, a.info);
    if (outcome == AMD_OK) return Status::OK;
    if (outcome == AMD_OUT_OF_MEMORY)
        return fail(context, Status::FACTOR_STORAGE, "AMD cannot hold a graph of %d edges",
                    a.graph.xadj[a.graph.n] / 2);
    return fail(context, Status::ORDERING, "AMD failed with code %d", outcome);
}

} // namespace

Status mf_minimum_degree(Context& context, const Graph& graph, std::int32_t* perm,
                         double& operations) noexcept {
    Arguments arguments{graph, perm, {}};
    const Status status = mf_ordering_call(context, amd, &arguments);
    operations = 2 * arguments.info[AMD_NMULTSUBS_LDL];
    return status;
}

} // namespace vyr
