// Indefinite test matrices as the tool prepares them for the factorization.
#pragma once

#include "support/matrices.h"
#include "tools/vyr/pivot_pairs.h"

namespace vyr::test {

inline tool::SparseMatrix to_tool(const Csc& a) {
    return {a.n, a.colptr, a.rowind, a.values};
}

inline Csc to_test(const tool::SparseMatrix& a) {
    return {a.n, a.col_ptr, a.row_ind, a.values};
}

/// Equations with a weak diagonal entry share the pattern of a partner, which keeps them in one node when the
/// analysis runs with CTRL_BLOCKED.
inline Csc paired(const Csc& a) {
    return to_test(tool::pair_weak_diagonals(to_tool(a)).matrix);
}

} // namespace vyr::test
