// Test matrices of any size. All are lower triangles with rows strictly ascending.
#pragma once

#include "tools/vyr/sparse_matrix.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vyr::tool {

/// Five-point Laplacian on a grid of side x side points, value 4 on the diagonal. Positive definite.
SparseMatrix poisson2d(std::int32_t side);

/// Seven-point Laplacian on a grid of side^3 points, value 6 on the diagonal. Positive definite.
SparseMatrix poisson3d(std::int32_t side);

/// poisson3d less 3.5 on the diagonal, for side >= 2: indefinite and never singular.
SparseMatrix shifted3d(std::int32_t side);

/// poisson3d less 5.7 on the diagonal: indefinite with the shift in the middle of the spectrum.
SparseMatrix shifted3d_middle(std::int32_t side);

/// Waves of ten points a length, poisson2d and poisson3d less (2 pi / 10)^2 on the diagonal: indefinite from
/// some side on.
SparseMatrix helmholtz2d(std::int32_t side);
SparseMatrix helmholtz3d(std::int32_t side);

/// Stokes flow in a box of side^2 or side^3 cells, velocities first, the pressure of the last cell left out:
/// as many negative eigenvalues as pressures. No zero of the diagonal is stored.
SparseMatrix stokes2d(std::int32_t side);
SparseMatrix stokes3d(std::int32_t side);

/// Fluxes through the faces of a cube of side^3 cells, then a potential in every cell: side^3 eigenvalues are
/// negative. No zero of the diagonal is stored.
SparseMatrix mixed_poisson3d(std::int32_t side);

/// Interior point method for 2 side^2 variables and side^2 constraints: a diagonal from 1e-8 to 1e8, random
/// constraints of full rank. side^2 eigenvalues are negative.
SparseMatrix interior_point(std::int32_t side);

/// A random saddle point matrix of 30 to 297 equations, scaled from both sides by powers of ten from 1e-6 to
/// 1e6.
SparseMatrix scaled_saddle(std::int32_t seed);

/// Ones between the neighbours of a grid, nothing on the diagonal. side x side points: side eigenvalues are
/// 0. side x (side + 1) points: regular, half of the eigenvalues negative. side x side points with random
/// weights: regular for even sides; for odd ones an eigenvalue is 0 by structure.
SparseMatrix zero_grid(std::int32_t side);
SparseMatrix zero_grid_oblong(std::int32_t side);
SparseMatrix zero_grid_weighted(std::int32_t side);

/// `side` diagonal entries, 1 and -2 in turn, a last row of ones, and 0 in its corner.
SparseMatrix zero_arrow(std::int32_t side);

/// Five-point Laplacian without flow over the border: one eigenvalue is 0, the others are positive; with
/// 1e-10 added on the diagonal: the smallest one is 1e-10.
SparseMatrix neumann2d(std::int32_t side);
SparseMatrix nearly_singular(std::int32_t side);

/// Saddle point matrix [K B^T; B 0] with K = poisson2d(side) and one constraint for each pair of
/// consecutive points that makes their values equal. Of its eigenvalues side^2 are positive and
/// side^2 / 2 (rounded down) negative. The zero diagonal is not stored.
SparseMatrix kkt(std::int32_t side);

/// Linear elasticity of a brick of nx x ny x nz unit cubes, trilinear, E = 1, Poisson's ratio 0.3, clamped
/// at the face x = 0, whose equations are left out: 3 nx (ny + 1) (nz + 1) equations, three in a row for a
/// node. Positive definite.
SparseMatrix elasticity_brick(std::int32_t nx, std::int32_t ny, std::int32_t nz);

/// elasticity_brick of side^3 elements.
SparseMatrix elasticity3d(std::int32_t side);

/// elasticity_brick of side x side x 2 elements.
SparseMatrix plate(std::int32_t side);

/// Laplacian, plus 1e-3 on the diagonal, of side x side points numbered at random: a plane triangulation
/// whose squares are halved along one diagonal or the other, and the cubes of side^3 points cut into six
/// tetrahedra. Positive definite.
SparseMatrix triangulation2d(std::int32_t side);
SparseMatrix triangulation3d(std::int32_t side);

/// A generator by the name the command line knows.
struct Generator {
    const char* name;
    const char* meaning; ///< one line for the help text
    SparseMatrix (*make)(std::int32_t side);
};

const std::vector<Generator>& generators();

/// Calls the generator `name`. Throws std::invalid_argument for an unknown name or a side below its minimum,
/// and (as every generator does) std::length_error when an index would not fit into 32 bits.
SparseMatrix generate(const std::string& name, std::int32_t side);

} // namespace vyr::tool
