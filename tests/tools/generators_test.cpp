#include "support/matrices.h"
#include "tools/vyr/generators.h"
#include "tools/vyr/norms.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <string>

namespace vyr::tool {
namespace {

test::Dense dense(const SparseMatrix& a) {
    return test::dense({a.n, a.col_ptr, a.row_ind, a.values});
}

TEST(Generators, EveryKindIsALowerTriangleInOrderOfItsInertia) {
    const struct {
        const char* name;
        std::int32_t side, n, negative, zero = 0;
    } rows[] = {{"poisson2d", 1, 1, 0},
                {"poisson2d", 5, 25, 0},
                {"poisson3d", 4, 64, 0},
                {"elasticity3d", 3, 144, 0},
                {"plate", 3, 108, 0},
                {"triangulation2d", 5, 25, 0},
                {"triangulation3d", 4, 64, 0},
                {"kkt", 1, 1, 0},
                {"kkt", 5, 37, 12},
                {"shifted3d", 2, 8, 1}, // eigenvalues 3, 5, 5, 5, 7, 7, 7, 9, less 3.5
                {"helmholtz2d", 8, 64, 1},
                {"helmholtz3d", 8, 512, 1},
                {"stokes2d", 3, 20, 8},
                {"stokes3d", 2, 19, 7},
                {"mixed_poisson3d", 2, 44, 8},
                {"interior_point", 3, 27, 9},
                {"scaled_saddle", 1, 234, -1},
                {"zero_arrow", 5, 6, 3},
                {"zero_grid", 4, 16, 6, 4},
                {"zero_grid_oblong", 4, 20, 10},
                {"zero_grid_weighted", 4, 16, 8},
                {"neumann2d", 4, 16, 0, 1},
                {"nearly_singular", 4, 16, 0},
                {"shifted3d_middle", 2, 8, 4},
                {"shifted3d", 3, 27, 4}}; // 6 - 3 sqrt 2 = 1.76 once, 3.17 three times
    for (const auto& row : rows) {
        const SparseMatrix a = generate(row.name, row.side);
        EXPECT_EQ(a.n, row.n) << row.name;
        const auto below = [&](double t) { return test::eigenvalues_below(dense(a), t); };
        const bool told = row.negative >= 0; // of what is badly scaled nothing is sure
        EXPECT_TRUE(!told || below(-1e-11) == row.negative) << row.name << " " << row.side;
        EXPECT_TRUE(!told || below(1e-11) == row.negative + row.zero) << row.name << " " << row.side;
        ASSERT_EQ(a.values.size(), a.row_ind.size());
        EXPECT_EQ(a.col_ptr.back(), a.nnz());
        for (std::int32_t j = 0; j < a.n; ++j)
            for (std::int32_t k = a.col_ptr[j], last = j - 1; k < a.col_ptr[j + 1]; last = a.row_ind[k++])
                ASSERT_TRUE(a.row_ind[k] > last && a.row_ind[k] < a.n) << row.name << " column " << j;
    }
    EXPECT_EQ(poisson2d(2).row_ind, (std::vector<std::int32_t>{0, 1, 2, 1, 3, 2, 3, 3}));
    EXPECT_EQ(poisson3d(2).row_ind[3], 4);
    EXPECT_EQ(poisson3d(2).values.back(), 6);
    EXPECT_EQ(kkt(2).values, (std::vector<double>{4, -1, -1, 1, 4, -1, -1, 4, -1, 1, 4, -1}));
}

TEST(Generators, AnElasticBrickHasNoForceUnderRigidMotionAndObeysHookesLaw) {
    const std::int32_t nx = 4, ny = 2, nz = 3;
    // Infinitesimal turn about the axis through (1, 2, 3), plus a shift. Nodes next to the clamp feel it.
    std::vector<double> u;
    for (std::int32_t z = 0; z <= nz; ++z)
        for (std::int32_t y = 0; y <= ny; ++y)
            for (std::int32_t x = 1; x <= nx; ++x)
                u.insert(u.end(), {2.0 * z - 3.0 * y + 1, 3.0 * x - 1.0 * z + 2, 1.0 * y - 2.0 * x + 3});
    const SparseMatrix a = elasticity_brick(nx, ny, nz);
    ASSERT_EQ(a.n, u.size());
    const std::vector<double> force = multiply(a, u.data());
    double at_clamp = 0, elsewhere = 0;
    for (std::size_t i = 0; i < force.size(); ++i) {
        double& most = i / 3 % nx == 0 ? at_clamp : elsewhere;
        most = std::max(most, std::abs(force[i]));
    }
    EXPECT_LT(elsewhere, 1e-12);
    EXPECT_GT(at_clamp, 0.1);

    // One element, pulled by 1 in x while its sides are held: Hooke's law gives the force of its face,
    // E (1 - v) / ((1 + v) (1 - 2 v)).
    const std::vector<double> pulled =
        multiply(elasticity_brick(1, 1, 1), std::data({1., 0., 0., 1., 0., 0., 1., 0., 0., 1., 0., 0.}));
    EXPECT_NEAR(pulled[0] + pulled[3] + pulled[6] + pulled[9], 0.7 / (1.3 * 0.4), 1e-14);
}

TEST(Generators, SizesThatMakeNoSenseAreRefused) {
    EXPECT_THROW(generate("poisson4d", 3), std::invalid_argument);
    for (const Generator& generator : generators()) {
        for (const int side : {0, -5}) EXPECT_THROW(generator.make(side), std::invalid_argument) << side;
        if (generator.make == scaled_saddle) continue;
        EXPECT_THROW(generator.make(INT32_MAX), std::length_error) << generator.name;
    }
    EXPECT_THROW(shifted3d(1), std::invalid_argument);
    EXPECT_THROW(poisson2d(46341), std::length_error); // the first whose square needs 32 bits
}

} // namespace
} // namespace vyr::tool
