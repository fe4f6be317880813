#include "tools/vyr/generators.h"
#include "tools/vyr/norms.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

namespace vyr::tool {
namespace {

std::vector<double> dense(const SparseMatrix& a) {
    const std::size_t n = static_cast<std::size_t>(a.n);
    std::vector<double> full(n * n, 0.0);
    for (std::size_t j = 0; j < n; ++j)
        for (std::int32_t k = a.col_ptr[j]; k < a.col_ptr[j + 1]; ++k) {
            const std::size_t i = static_cast<std::size_t>(a.row_ind[static_cast<std::size_t>(k)]);
            full[i * n + j] = full[j * n + i] = a.values[static_cast<std::size_t>(k)];
        }
    return full;
}

/// Number of negative pivots of a symmetric elimination without exchanges, or -1 when a pivot is tiny.
int negative_pivots(const SparseMatrix& a) {
    std::vector<double> m = dense(a);
    const std::size_t n = static_cast<std::size_t>(a.n);
    int negative = 0;
    for (std::size_t k = 0; k < n; ++k) {
        const double pivot = m[k * n + k];
        if (std::abs(pivot) < 1e-10) return -1;
        negative += pivot < 0;
        for (std::size_t i = k + 1; i < n; ++i)
            for (std::size_t j = k + 1; j < n; ++j) m[i * n + j] -= m[i * n + k] * m[k * n + j] / pivot;
    }
    return negative;
}

TEST(Generators, EveryKindIsALowerTriangleInOrder) {
    for (const Generator& generator : generators()) {
        const SparseMatrix a = generate(generator.name, 4);
        const std::size_t n = static_cast<std::size_t>(a.n);
        ASSERT_EQ(a.col_ptr.size(), n + 1) << generator.name;
        ASSERT_EQ(a.col_ptr[n], a.nnz());
        ASSERT_EQ(a.values.size(), a.row_ind.size());
        for (std::int32_t j = 0; j < a.n; ++j) {
            std::int32_t last = j - 1; // the diagonal entry may come first
            for (std::int32_t k = a.col_ptr[static_cast<std::size_t>(j)];
                 k < a.col_ptr[static_cast<std::size_t>(j) + 1]; ++k) {
                const std::int32_t row = a.row_ind[static_cast<std::size_t>(k)];
                ASSERT_GT(row, last) << generator.name << " column " << j;
                ASSERT_LT(row, a.n);
                last = row;
            }
        }
    }
}

TEST(Generators, GridRowsSumToTheNumberOfMissingNeighbours) {
    const SparseMatrix flat = poisson2d(3), cube = poisson3d(3);
    const std::vector<double> ones(27, 1.0);
    EXPECT_EQ(multiply(flat, ones.data()), (std::vector<double>{2, 1, 2, 1, 0, 1, 2, 1, 2}));
    const std::vector<double> sums = multiply(cube, ones.data());
    EXPECT_EQ(sums[0], 3);
    EXPECT_EQ(sums[13], 0);
    EXPECT_EQ(sums[14], 1);
    EXPECT_EQ(poisson2d(1).values, std::vector<double>{4});
    EXPECT_EQ(poisson3d(1).values, std::vector<double>{6});
}

TEST(Generators, AnElasticBrickHasNoForceUnderRigidMotionAwayFromItsClamp) {
    const std::int32_t nx = 4, ny = 2, nz = 3;
    const SparseMatrix a = elasticity_brick(nx, ny, nz);
    ASSERT_EQ(a.n, 3 * nx * (ny + 1) * (nz + 1));
    // Infinitesimal turn about the axis through (1, 2, 3), plus a shift. Nodes next to the clamp feel it.
    std::vector<double> u;
    for (std::int32_t z = 0; z <= nz; ++z)
        for (std::int32_t y = 0; y <= ny; ++y)
            for (std::int32_t x = 1; x <= nx; ++x)
                for (const double displacement :
                     {2.0 * z - 3.0 * y + 1, 3.0 * x - 1.0 * z + 2, 1.0 * y - 2.0 * x + 3})
                    u.push_back(displacement);
    const std::vector<double> force = multiply(a, u.data());
    double at_clamp = 0;
    for (std::size_t i = 0; i < force.size(); ++i) {
        const bool next_to_clamp = i / 3 % static_cast<std::size_t>(nx) == 0;
        if (next_to_clamp)
            at_clamp = std::max(at_clamp, std::abs(force[i]));
        else
            EXPECT_NEAR(force[i], 0.0, 1e-12) << i;
    }
    EXPECT_GT(at_clamp, 0.1);
}

TEST(Generators, AStretchedElementCarriesTheStressOfHookesLaw) {
    // One element, pulled by 1 in x while its sides are held: the face carries E (1 - v) / ((1 + v)(1 - 2
    // v)).
    const SparseMatrix a = elasticity_brick(1, 1, 1);
    std::vector<double> u;
    for (int node = 0; node < 4; ++node) u.insert(u.end(), {1.0, 0.0, 0.0});
    const std::vector<double> force = multiply(a, u.data());
    EXPECT_NEAR(force[0] + force[3] + force[6] + force[9], 0.7 / (1.3 * 0.4), 1e-14);
}

TEST(Generators, DefiniteKindsAreDefiniteAndTheOthersHaveTheirInertia) {
    for (const std::int32_t side : {1, 2, 4}) {
        EXPECT_EQ(negative_pivots(poisson2d(side)), 0);
        EXPECT_EQ(negative_pivots(poisson3d(side)), 0);
        EXPECT_EQ(negative_pivots(elasticity3d(side)), 0);
        EXPECT_EQ(negative_pivots(plate(side)), 0);
        EXPECT_EQ(negative_pivots(kkt(side)), side * side / 2);
    }
    // Eigenvalues of the 2 x 2 x 2 grid are 3, 5, 5, 5, 7, 7, 7, 9, less 3.5.
    EXPECT_EQ(negative_pivots(shifted3d(2)), 1);
    EXPECT_GT(negative_pivots(shifted3d(5)), 1);
}

TEST(Generators, SizesThatMakeNoSenseAreRefused) {
    EXPECT_THROW(generate("poisson4d", 3), std::invalid_argument);
    for (const Generator& generator : generators()) {
        EXPECT_THROW(generator.make(0), std::invalid_argument) << generator.name;
        EXPECT_THROW(generator.make(-5), std::invalid_argument) << generator.name;
        EXPECT_THROW(generator.make(INT32_MAX), std::length_error) << generator.name;
    }
    EXPECT_THROW(shifted3d(1), std::invalid_argument);
    EXPECT_THROW(poisson2d(46341), std::length_error); // the first whose square needs 32 bits
}

} // namespace
} // namespace vyr::tool
