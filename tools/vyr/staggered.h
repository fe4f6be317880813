// Numbers of the faces and cells of a grid of side^d cubes, d = 2 or 3.
#pragma once

#include <array>
#include <cstdint>

namespace vyr::tool {

using Place = std::array<std::int32_t, 3>;

/// The points of a box, x fastest, numbered from `first` on.
struct Box {
    Place extent; ///< points in each direction; 1 where there is no such direction
    std::int32_t first;

    double n_points() const { return 1.0 * extent[0] * extent[1] * extent[2]; }
    std::int32_t end() const { return first + extent[0] * extent[1] * extent[2]; }
    std::int32_t number(const Place& p) const { return first + (p[2] * extent[1] + p[1]) * extent[0] + p[0]; }
    template <typename Visit>
    void for_each(Visit visit) const {
        for (std::int32_t z = 0; z < extent[2]; ++z)
            for (std::int32_t y = 0; y < extent[1]; ++y)
                for (std::int32_t x = 0; x < extent[0]; ++x) visit(Place{x, y, z});
    }
};

inline Place neighbour(Place p, std::size_t direction, std::int32_t step) {
    p[direction] += step;
    return p;
}

/// The cells, as the last unknowns, behind the faces across each direction, of which there are `more` than
/// cells in that direction.
struct StaggeredGrid {
    std::array<Box, 3> faces; ///< the first `dimensions` of them
    Box cells;

    StaggeredGrid(std::size_t dimensions, std::int32_t side, std::int32_t more) {
        const Place extent = {side, side, dimensions == 3 ? side : 1};
        std::int32_t first = 0;
        for (std::size_t d = 0; d < dimensions; ++d) {
            faces[d] = {neighbour(extent, d, more), first};
            first = faces[d].end();
        }
        cells = {extent, first};
    }
};

} // namespace vyr::tool
