#include "tools/vyr/generators.h"

#include "tools/vyr/size_check.h"

#include <stdexcept>

namespace vyr::tool {

namespace {

/// Grid Laplacian in `dimensions` dimensions: `diagonal` on the diagonal, -1 towards each neighbour.
SparseMatrix grid_laplacian(std::int32_t side, int dimensions, double diagonal) {
    require_side(side, 1);
    SparseMatrix a;
    const double points = dimensions == 2 ? 1.0 * side * side : 1.0 * side * side * side;
    reserve_lower(a, points, points * (1 + dimensions));
    const std::int32_t stride[3] = {1, side, dimensions == 2 ? 0 : side * side};
    for (std::int32_t j = 0; j < a.n; ++j) {
        a.row_ind.push_back(j);
        a.values.push_back(diagonal);
        for (int d = 0; d < dimensions; ++d) {
            if (j / stride[d] % side == side - 1) continue;
            a.row_ind.push_back(j + stride[d]);
            a.values.push_back(-1.0);
        }
        a.col_ptr.push_back(a.nnz());
    }
    return a;
}

} // namespace

SparseMatrix poisson2d(std::int32_t side) {
    return grid_laplacian(side, 2, 4.0);
}

SparseMatrix poisson3d(std::int32_t side) {
    return grid_laplacian(side, 3, 6.0);
}

SparseMatrix shifted3d(std::int32_t side) {
    require_side(side, 2);
    // The eigenvalues are 6 - 2 (c1 + c2 + c3) - shift with c = cos(pi i / (side + 1)). Where such a sum of
    // cosines is rational it is a multiple of 1/2, so that 1.25, which a shift of 3.5 needs, is never met.
    return grid_laplacian(side, 3, 6.0 - 3.5);
}

SparseMatrix shifted3d_middle(std::int32_t side) {
    return grid_laplacian(side, 3, 6.0 - 5.7); // as above: 0.15 is no multiple of 1/2
}

SparseMatrix helmholtz2d(std::int32_t side) {
    return grid_laplacian(side, 2, 4.0 - 0.395);
}

SparseMatrix helmholtz3d(std::int32_t side) {
    return grid_laplacian(side, 3, 6.0 - 0.395);
}

SparseMatrix kkt(std::int32_t side) {
    const SparseMatrix k = poisson2d(side);
    const std::int32_t constraints = k.n / 2;
    SparseMatrix a;
    reserve_lower(a, 1.0 * k.n + constraints, 1.0 * k.nnz() + 2.0 * constraints);
    for (std::int32_t j = 0; j < k.n; ++j) {
        const std::int32_t begin = k.col_ptr[static_cast<std::size_t>(j)];
        const std::int32_t end = k.col_ptr[static_cast<std::size_t>(j) + 1];
        a.row_ind.insert(a.row_ind.end(), k.row_ind.begin() + begin, k.row_ind.begin() + end);
        a.values.insert(a.values.end(), k.values.begin() + begin, k.values.begin() + end);
        if (j / 2 < constraints) {
            a.row_ind.push_back(k.n + j / 2);
            a.values.push_back(j % 2 == 0 ? 1.0 : -1.0);
        }
        a.col_ptr.push_back(a.nnz());
    }
    a.col_ptr.resize(static_cast<std::size_t>(a.n) + 1, a.nnz());
    return a;
}

SparseMatrix elasticity3d(std::int32_t side) {
    return elasticity_brick(side, side, side);
}

SparseMatrix plate(std::int32_t side) {
    return elasticity_brick(side, side, 2);
}

const std::vector<Generator>& generators() {
    static const std::vector<Generator> all = {
        {"poisson2d", "five-point grid of N^2 points, positive definite", poisson2d},
        {"poisson3d", "seven-point grid of N^3 points, positive definite", poisson3d},
        {"elasticity3d", "elastic cube of N^3 elements clamped at one face, positive definite", elasticity3d},
        {"plate", "elastic plate of N x N x 2 elements clamped at one side, positive definite", plate},
        {"triangulation2d", "triangles on N^2 points numbered at random, positive definite", triangulation2d},
        {"triangulation3d", "tetrahedra on N^3 points numbered at random, positive definite",
         triangulation3d},
        {"shifted3d", "seven-point grid less 3.5 on the diagonal, indefinite", shifted3d},
        {"shifted3d_middle", "seven-point grid less 5.7 on the diagonal, indefinite", shifted3d_middle},
        {"helmholtz2d", "waves on N^2 points, ten a wave length, indefinite", helmholtz2d},
        {"helmholtz3d", "waves on N^3 points, ten a wave length, indefinite", helmholtz3d},
        {"stokes2d", "flow in a box of N^2 cells, indefinite", stokes2d},
        {"stokes3d", "flow in a box of N^3 cells, indefinite", stokes3d},
        {"mixed_poisson3d", "fluxes and potentials of N^3 cells, indefinite", mixed_poisson3d},
        {"kkt", "saddle point problem on N^2 points, indefinite", kkt},
        {"interior_point", "N^2 constraints, diagonal from 1e-8 to 1e8, indefinite", interior_point},
        {"scaled_saddle", "the N-th random saddle point, scaled by 1e-6 to 1e6, indefinite", scaled_saddle},
        {"zero_grid", "neighbours in a grid of N x N points, zero diagonal, singular", zero_grid},
        {"zero_grid_oblong", "neighbours in a grid of N x (N+1) points, zero diagonal", zero_grid_oblong},
        {"zero_grid_weighted", "zero_grid with random weights, singular for odd N", zero_grid_weighted},
        {"zero_arrow", "diagonal and a full last row with a zero corner, N+1 equations", zero_arrow},
        {"neumann2d", "five-point grid of N^2 points without flow over the border, singular", neumann2d},
        {"nearly_singular", "neumann2d plus 1e-10 on the diagonal", nearly_singular},
    };
    return all;
}

SparseMatrix generate(const std::string& name, std::int32_t side) {
    for (const Generator& generator : generators())
        if (name == generator.name) return generator.make(side);
    throw std::invalid_argument("there is no matrix of the kind '" + name + "'");
}

} // namespace vyr::tool
