#include "symbolic/steps.h"

namespace vyr {

// J. W. H. Liu, "A compact row storage scheme for Cholesky factors using elimination trees", ACM Trans. Math.
// Softw. 12 (1986): each row's entries walk towards the root over a path-compressed ancestor forest.
std::int32_t mf_etree(const Pattern& full, const std::int32_t* perm, const std::int32_t* inverse,
                      std::int32_t* parent, std::int32_t* ancestor) noexcept {
    const std::int32_t n = full.n;
    for (std::int32_t k = 0; k < n; ++k) {
        ancestor[k] = -1;
        parent[k] = -1;
        const std::int32_t column = perm[k];
        for (std::int32_t e = full.col_ptr[column]; e < full.col_ptr[column + 1]; ++e) {
            std::int32_t r = inverse[full.row_ind[e]];
            if (r >= k) continue;
            while (ancestor[r] != -1 && ancestor[r] != k) {
                const std::int32_t next = ancestor[r];
                ancestor[r] = k;
                r = next;
            }
            if (ancestor[r] == -1) {
                ancestor[r] = k;
                parent[r] = k;
            }
        }
    }
    parent[n - 1] = -1;
    std::int32_t n_roots = 0;
    for (std::int32_t k = 0; k < n; ++k) n_roots += parent[k] == -1;
    return n_roots;
}

} // namespace vyr
