// Stokes flow in a closed box by finite differences on a staggered grid (Harlow and Welch, "Numerical
// calculation of time-dependent viscous incompressible flow of fluid with free surface", Phys. Fluids 8,
// 1965).
#include "tools/vyr/generators.h"
#include "tools/vyr/lower_builder.h"
#include "tools/vyr/staggered.h"

#include <cmath>

namespace vyr::tool {

namespace {

SparseMatrix stokes(std::size_t dimensions, std::int32_t side) {
    require_side(side, 2);
    const double d = static_cast<double>(dimensions), cells = std::pow(side, d);
    LowerBuilder a((d + 1) * cells, d * (d + 3) * cells);
    const StaggeredGrid grid(dimensions, side, -1);
    const std::int32_t n = grid.cells.end() - 1; // the pressure of the last cell is 0: it needs a level
    for (std::size_t across = 0; across < dimensions; ++across) {
        const Box& faces = grid.faces[across];
        faces.for_each([&](const Place& p) {
            const std::int32_t face = faces.number(p);
            double diagonal = 2 * d;
            for (std::size_t e = 0; e < dimensions; ++e) {
                const bool at_end = p[e] + 1 == faces.extent[e];
                if (!at_end) a.add(faces.number(neighbour(p, e, 1)), face, -1.0);
                // Along a wall, velocities vanish half a cell away.
                if (e != across) diagonal += at_end + (p[e] == 0);
            }
            a.add(face, face, diagonal);
            const std::int32_t before = grid.cells.number(p);
            const std::int32_t behind = grid.cells.number(neighbour(p, across, 1));
            a.add(before, face, 1.0);
            if (behind < n) a.add(behind, face, -1.0);
        });
    }
    return a.finish(n);
}

} // namespace

SparseMatrix stokes2d(std::int32_t side) {
    return stokes(2, side);
}

SparseMatrix stokes3d(std::int32_t side) {
    return stokes(3, side);
}

} // namespace vyr::tool
