// The crossing to METIS.
#include "platform/process.h"
#include "symbolic/ordering.h"

#include <metis.h>

#include <type_traits>

// Algorithm: G. Karypis and V. Kumar, "A fast and high quality multilevel scheme for partitioning irregular
// graphs", SIAM J. Sci. Comput. 20 (1998).

namespace vyr {

static_assert(std::is_same_v<idx_t, std::int32_t>, "METIS must be built with 32-bit indices");

namespace {

Status order(std::int32_t n, std::int32_t* xadj, std::int32_t* adjacency, std::int32_t* weights,
             bool compress, std::int32_t* perm, std::int32_t* inverse) noexcept {
    idx_t options[METIS_NOPTIONS];
    METIS_SetDefaultOptions(options);
    options[METIS_OPTION_NUMBERING] = 0;
    if (!compress) options[METIS_OPTION_COMPRESS] = 0;
    const platform::OrderingLock one_at_a_time;
    const int outcome = METIS_NodeND(&n, xadj, adjacency, weights, options, perm, inverse);
    return outcome == METIS_OK ? Status::OK : Status::MEMORY;
}

} // namespace

Status METIS_NodeND_order(std::int32_t n, std::int32_t* xadj, std::int32_t* adjacency, std::int32_t* perm,
                          std::int32_t* inverse) noexcept {
    return order(n, xadj, adjacency, nullptr, true, perm, inverse);
}

Status METIS_NodeWND_order(std::int32_t n, std::int32_t* xadj, std::int32_t* adjacency, std::int32_t* weights,
                           std::int32_t* perm, std::int32_t* inverse) noexcept {
    return order(n, xadj, adjacency, weights, false, perm, inverse);
}

} // namespace vyr
