// Saddle points of optimisation, [H J^T; J 0]: as interior point methods meet them, and badly scaled ones.
#include "tools/vyr/generators.h"
#include "tools/vyr/lower_builder.h"
#include "tools/vyr/random_numbers.h"

namespace vyr::tool {

namespace {

constexpr std::int32_t WINDOW = 6; ///< shared variables that a constraint chooses from

/// n_rows constraints from equation n_columns on: each has a variable of its own and three shared ones that
/// lie near each other, as those of one time or one place do.
void add_constraints(LowerBuilder& a, std::int32_t n_columns, std::int32_t n_rows, RandomNumbers& random) {
    for (std::int32_t i = 0; i < n_rows; ++i) {
        a.add(n_columns + i, i, random.between(1, 2));
        for (int k = 0; k < 3; ++k)
            a.add(n_columns + i, n_rows + (i + random.below(WINDOW)) % (n_columns - n_rows),
                  random.between(-1, 1));
    }
}

} // namespace

SparseMatrix interior_point(std::int32_t side) {
    require_side(side, 1);
    const double points = 1.0 * side * side;
    LowerBuilder a(3 * points, 6 * points);
    RandomNumbers random(1);
    const std::int32_t n_rows = side * side, n_columns = 2 * n_rows;
    for (std::int32_t j = 0; j < n_columns; ++j) a.add(j, j, random.magnitude(-8, 8));
    add_constraints(a, n_columns, n_rows, random);
    return a.finish();
}

SparseMatrix scaled_saddle(std::int32_t seed) {
    require_side(seed, 1);
    RandomNumbers random(static_cast<std::uint64_t>(seed));
    const std::int32_t n_rows = 10 + random.below(90), n_columns = 2 * n_rows, n = n_rows + n_columns;
    LowerBuilder a(n, 10.0 * n);
    for (std::int32_t j = 0; j < n_columns; ++j) {
        a.add(j, j, random.between(-1, 1));
        for (int k = 0; k < 2; ++k) a.add(j, random.below(n_columns), random.between(-1, 1));
    }
    add_constraints(a, n_columns, n_rows, random);
    SparseMatrix matrix = a.finish();
    std::vector<double> scale(static_cast<std::size_t>(n));
    for (double& s : scale) s = random.magnitude(-6, 6);
    for (std::size_t j = 0; j < scale.size(); ++j)
        for (auto k = static_cast<std::size_t>(matrix.col_ptr[j]);
             k < static_cast<std::size_t>(matrix.col_ptr[j + 1]); ++k)
            matrix.values[k] *= scale[j] * scale[static_cast<std::size_t>(matrix.row_ind[k])];
    return matrix;
}

} // namespace vyr::tool
