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
