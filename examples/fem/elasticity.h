// Linear elasticity on tetrahedra of linear functions.
#ifndef VYR_EXAMPLES_FEM_ELASTICITY_H
#define VYR_EXAMPLES_FEM_ELASTICITY_H

#include "mesh.h"

#include <vyr/solver.hpp>

struct Material {
    double young = 210e9, poisson = 0.3, density = 7800; ///< pascal, -, kg/m^3: steel
};

/// Stiffness and mass of the free equations, lower triangles by columns that share one pattern.
struct Structure {
    std::vector<std::int32_t> equation; ///< three a node: its number, or -1 where the node is held
    std::vector<std::int64_t> ptr;      ///< n + 1
    std::vector<std::int32_t> ind;      ///< rows of a column ascending, the diagonal first
    std::vector<double> stiffness, mass;

    std::int32_t n() const { return static_cast<std::int32_t>(ptr.size()) - 1; }
    /// A view of values over the pattern.
    vyr::Matrix matrix(const std::vector<double>& values) const {
        return {std::span<const std::int64_t>(ptr), ind, values};
    }
    /// values * x
    std::vector<double> product(const std::vector<double>& values, const std::vector<double>& x) const;
    /// Three a node, 0 where it is held.
    std::vector<double> at_nodes(const std::vector<double>& x) const;
};

/// Assembles; nodes with x = 0 are held. Throws std::runtime_error for a tetrahedron without volume.
Structure assemble(const Mesh& mesh, const Material& material);

#endif
