#include "numeric/lu_init_check.h"

#include "report/console.h"

#include <cinttypes>

namespace vyr {

void mf_lu_init_check(const mf_solver& solver) noexcept {
    for (std::int64_t k = 0; solver.lu_values != nullptr && k < solver.factor_entries; ++k) {
        const double value = solver.lu_values[k];
        if (value != value) mf_message("INVALID!!!\tNAN VALUE %g in LU%" PRId64 "\r\n", value, k);
    }
    for (std::int32_t s = 0; s < solver.n_snodes; ++s)
        if (solver.snodes[s].factor_block == nullptr) mf_message("INVALID!!!\tNULL LU at node %d\r\n", s);
    mf_message("\tLU value init OK!\r\n");
}

} // namespace vyr
