// Mixed finite elements of lowest order on cubes (Raviart and Thomas, "A mixed finite element method for
// second order elliptic problems", 1977): fluxes through faces, a potential in every cell.
#include "tools/vyr/generators.h"
#include "tools/vyr/lower_builder.h"
#include "tools/vyr/staggered.h"

namespace vyr::tool {

SparseMatrix mixed_poisson3d(std::int32_t side) {
    require_side(side, 1);
    const double cells = 1.0 * side * side * side, faces = 3.0 * side * side * (side + 1.0);
    LowerBuilder a(faces + cells, 2 * faces + 6 * cells);
    const StaggeredGrid grid(3, side, 1);
    for (std::size_t across = 0; across < 3; ++across)
        grid.cells.for_each([&](const Place& p) {
            const std::int32_t cell = grid.cells.number(p);
            const std::int32_t before = grid.faces[across].number(p);
            const std::int32_t behind = grid.faces[across].number(neighbour(p, across, 1));
            a.add(before, before, 1.0 / 3);
            a.add(behind, behind, 1.0 / 3);
            a.add(behind, before, 1.0 / 6);
            a.add(cell, before, -1.0);
            a.add(cell, behind, 1.0);
        });
    return a.finish();
}

} // namespace vyr::tool
