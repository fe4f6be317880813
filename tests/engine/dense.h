// Small dense matrices, by which the tests of this folder judge.
#pragma once

#include "support/matrices.h"

#include <limits>

namespace vyr::test {

using Dense = std::vector<std::vector<double>>;

inline constexpr double INF = std::numeric_limits<double>::infinity();

inline Dense zeros(int n) {
    return Dense(n, std::vector<double>(n));
}

inline Dense dense(const Csc& a) {
    Dense d = zeros(a.n);
    for (int j = 0; j < a.n; ++j)
        for (int k = a.colptr[j]; k < a.colptr[j + 1]; ++k)
            d[a.rowind[k]][j] = d[j][a.rowind[k]] = a.values[k];
    return d;
}

} // namespace vyr::test
